// The complex kernels of the pair and scalar schemes, and the dispatch of a
// kernel to the builder of its kind and scheme.
#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include "rules/cvec.h"
#include "rules/kernel.h"
#include "ir/merge.h"
#include "rules/network.h"
#include "rules/real.h"
#include "tables/plan_table.h"

namespace qrbgen::plans {

Layout Layout::identity(int inputs, int outputs) {
    Layout l;
    for (int i = 0; i < inputs; ++i) l.loads.push_back(Move{i, -1});
    for (int i = 0; i < outputs; ++i) l.stores.push_back(Move{i, -1});
    return l;
}

KernelDag buildKernel(const KernelDesc& k, const SchemeRow& scheme) {
    switch (k.kind) {
        case Kind::CToC: break;
        case Kind::RToCCS:
        case Kind::RToPack:
        case Kind::RToPerm: return buildRealForward(k);
        case Kind::CCSToR:
        case Kind::PackToR:
        case Kind::PermToR: return buildRealInverse(k);
        case Kind::Hartley: return buildHartley(k);
        default: throw std::logic_error("no builder for " + kernelName(k));
    }
    const PlanRow* row = planRow(k.n);
    if (row == nullptr) throw std::invalid_argument("no plan for length " + std::to_string(k.n));
    switch (scheme.id) {
        case SchemeId::Pair64fc: return buildPair64fc(k, scheme, row->plan64fc);
        case SchemeId::Scalar32fc: return buildScalar32fc(k, scheme, row->plan32fc);
        case SchemeId::Split32fc: return buildSplit32fc(k, scheme, row->plan32fc);
        default: break;
    }
    throw std::logic_error("unknown register scheme");
}

bool hasPrimeNetwork(const PlanNode& plan) {
    if (plan.kind == PlanNode::Rader || plan.realRader) return true;
    for (const PlanNode& k : plan.kids)
        if (hasPrimeNetwork(k)) return true;
    return false;
}

int distinctConstantMagnitudes(const Dag& d) {
    const std::vector<bool> lv = d.live();
    std::set<double> mags;
    for (std::size_t i = 0; i < d.nodes().size(); ++i) {
        const Node& n = d.nodes()[i];
        if (!lv[i] || n.op != Op::Mul || d.node(n.a).op != Op::Const) continue;
        for (double v : d.constants()[static_cast<std::size_t>(d.node(n.a).imm)].lanes)
            if (v != 0.0) mags.insert(std::fabs(v));
    }
    return static_cast<int>(mags.size()) + 1;
}

namespace {

bool isConstProduct(const Dag& d, int id) {
    const Node& n = d.node(id);
    return n.op == Op::Mul && d.node(n.a).op == Op::Const;
}

// A leaf's sine sum that is one product, or the sum or difference of two
// products, is turned into i*S by exchanging the lanes of the products'
// operands and multiplying with the pair (-c, +c): the sign mask is then
// not needed.
bool preExchangeable(const Dag& d, Ref s) {
    const Node& n = d.node(s.id);
    if (isConstProduct(d, s.id)) return true;
    return (n.op == Op::Add || n.op == Op::Sub) && isConstProduct(d, n.a) && isConstProduct(d, n.b);
}

Ref iTimesProduct(Dag& d, int id) {
    const Node& n = d.node(id);
    const double c = d.constValue(n.a);
    return d.mulK({-c, c}, d.xchg(Ref{n.b, false}));
}

// i * S: lane exchange and sign mask, or the exchanged-operand form.
Ref iTimes(Dag& d, bool leafSine, Ref s) {
    if (!leafSine || !preExchangeable(d, s)) return d.mask(d.xchg(s));
    const Node n = d.node(s.id);
    Ref r;
    if (n.op == Op::Mul) {
        r = iTimesProduct(d, s.id);
    } else {
        // The later operand first: a call's arguments have no fixed order,
        // and the network must not depend on the compiler.
        const Ref b = iTimesProduct(d, n.b);
        r = n.op == Op::Add ? d.add(iTimesProduct(d, n.a), b) : d.sub(iTimesProduct(d, n.a), b);
    }
    return s.neg ? -r : r;
}

}  // namespace

KernelDag buildPair64fc(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    const int n = k.n;
    KernelDag kd{k, planText, Dag{}, Layout::identity(n, n)};
    PlanNode plan = parsePlanFor(planText, n);
    Dag& d = kd.dag;
    d.splatScale(s.splatMoves);
    std::vector<Ref> x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) x[i] = d.input(i);
    Network net(d, NetOptions{ConstPrecision::Double, s.five0Left});
    RW w = net.R(plan, x, 1);
    // The tags are read before merging, which rebuilds the DAG.
    std::vector<bool> leafSine(w.S.size());
    for (std::size_t i = 0; i < w.S.size(); ++i) leafSine[i] = d.hasTag(w.S[i], TagLeafSine);
    // Prime networks chain products (the spectrum constants and those of the
    // second half): merging them, before the join, saves products.
    if (hasPrimeNetwork(plan)) {
        std::vector<Ref> roots = w.C;
        roots.insert(roots.end(), w.S.begin(), w.S.end());
        mergeConstantChains(d, roots, ConstPrecision::Double);
        std::copy(roots.begin(), roots.begin() + static_cast<long>(w.C.size()), w.C.begin());
        std::copy(roots.begin() + static_cast<long>(w.C.size()), roots.end(), w.S.begin());
    }
    d.markOutputSide();
    const auto h = static_cast<std::size_t>(n / 2);
    std::vector<Ref> X = joinTop<Ref>(n, k.inverse, w.C[0], w.C[h], [&](int kk) {
        Ref t = iTimes(d, leafSine[static_cast<std::size_t>(kk)], w.S[kk]);
        Ref minus = d.sub(w.C[kk], t);
        return std::pair{minus, d.add(w.C[kk], t)};
    });
    for (int i = 0; i < n; ++i) d.output(i, d.scale(X[i]));
    return kd;
}

KernelDag buildScalar32fc(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    const int n = k.n;
    KernelDag kd{k, planText, Dag{}, Layout::identity(2 * n, 2 * n)};
    PlanNode plan = parsePlanFor(planText, n);
    if (!plan.isLeaf()) throw std::invalid_argument("the scalar scheme computes base kernels only: " + planText);
    Dag& d = kd.dag;
    std::vector<Ref> re(static_cast<std::size_t>(n)), im(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        re[i] = d.input(2 * i);
        im[i] = d.input(2 * i + 1);
    }
    Network net(d, NetOptions{ConstPrecision::Double, s.five0Left});
    RW wr = net.R(plan, re, 1);
    RW wi = net.R(plan, im, 1);
    d.markOutputSide();
    std::vector<CVec> X = splitJoin(d, n, k.inverse, wr, wi);
    for (int i = 0; i < n; ++i) {
        d.output(2 * i, d.scale(X[i].re));
        d.output(2 * i + 1, d.scale(X[i].im));
    }
    return kd;
}

}  // namespace qrbgen::plans
