#include "kernel.h"

#include <cmath>
#include <set>
#include <stdexcept>

#include "merge.h"
#include "network.h"

namespace qrbgen::plans {
namespace {

bool isConstProduct(const Dag& d, int id) {
    const Node& n = d.node(id);
    return n.op == Op::Mul && d.node(n.a).op == Op::Const;
}

// A sine sum that is one product, or the sum or difference of two products,
// is turned into i*S by exchanging the lanes of the products' operands and
// multiplying with the pair (-c, +c): the sign mask is then not needed.
bool preExchangeable(const Dag& d, bool leafSine, Ref s) {
    if (!leafSine) return false;
    const Node& n = d.node(s.id);
    if (isConstProduct(d, s.id)) return true;
    return (n.op == Op::Add || n.op == Op::Sub) && isConstProduct(d, n.a) && isConstProduct(d, n.b);
}

Ref iTimesProduct(Dag& d, int id) {
    const Node& n = d.node(id);
    double c = d.constants()[static_cast<std::size_t>(d.node(n.a).imm)].lanes.at(0);
    return d.mulK({-c, c}, d.xchg(Ref{n.b, false}));
}

// i * S: lane exchange and sign mask, or the exchanged-operand form.
Ref iTimes(Dag& d, bool leafSine, Ref s) {
    if (!preExchangeable(d, leafSine, s)) return d.mask(d.xchg(s));
    const Node n = d.node(s.id);
    Ref r;
    if (n.op == Op::Mul) r = iTimesProduct(d, s.id);
    else if (n.op == Op::Add) r = d.add(iTimesProduct(d, n.a), iTimesProduct(d, n.b));
    else r = d.sub(iTimesProduct(d, n.a), iTimesProduct(d, n.b));
    return s.neg ? -r : r;
}

}  // namespace

int distinctConstantMagnitudes(const Dag& d) {
    std::vector<bool> lv = d.live();
    std::set<double> mags;
    for (std::size_t i = 0; i < d.nodes().size(); ++i) {
        const Node& n = d.nodes()[i];
        if (!lv[i] || n.op != Op::Mul || d.node(n.a).op != Op::Const) continue;
        for (double v : d.constants()[static_cast<std::size_t>(d.node(n.a).imm)].lanes)
            if (v != 0.0) mags.insert(std::fabs(v));
    }
    return static_cast<int>(mags.size()) + 1;
}

bool hasPrimeNetwork(const PlanNode& plan) {
    if (plan.kind == PlanNode::Rader || plan.realRader) return true;
    for (const PlanNode& k : plan.kids)
        if (hasPrimeNetwork(k)) return true;
    return false;
}

KernelDag buildPair64fc(int n, const std::string& planText, bool inverse) {
    KernelDag k{Elem::C64, n, inverse, planText, Dag{}, {}, {}, 0};
    PlanNode plan = parsePlanFor(planText, n, Elem::C64);
    Dag& d = k.dag;
    std::vector<Ref> x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) x[i] = d.input(i);
    Network net(d, NetOptions{});
    RW w = net.R(plan, x, 1);
    std::vector<bool> leafSine(w.S.size());
    for (std::size_t i = 0; i < w.S.size(); ++i) leafSine[i] = net.isLeafSine(w.S[i]);
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
    std::vector<Ref> X(static_cast<std::size_t>(n));
    X[0] = w.C[0];
    if (n % 2 == 0) X[n / 2] = w.C[n / 2];
    for (int kk = 1; 2 * kk < n; ++kk) {
        Ref t = iTimes(d, leafSine[static_cast<std::size_t>(kk)], w.S[kk]);
        Ref minus = d.sub(w.C[kk], t), plus = d.add(w.C[kk], t);
        X[kk] = inverse ? plus : minus;
        X[n - kk] = inverse ? minus : plus;
    }
    for (int i = 0; i < n; ++i) d.output(i, d.scale(X[i]));
    return k;
}

KernelDag buildScalar32fc(int n, const std::string& planText, bool inverse) {
    KernelDag k{Elem::C32, n, inverse, planText, Dag{}, {}, {}, 0};
    PlanNode plan = parsePlanFor(planText, n, Elem::C32);
    if (!plan.isLeaf() || n > 5) throw UnsupportedPlan("scalar 32fc kernels exist for lengths 2 to 5");
    Dag& d = k.dag;
    std::vector<Ref> re(static_cast<std::size_t>(n)), im(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        re[i] = d.input(2 * i);
        im[i] = d.input(2 * i + 1);
    }
    NetOptions opt;
    opt.five0Left = true;  // X[0] = (x[0] + a) + b in the 32fc kernel of length 5
    Network net(d, opt);
    RW wr = net.R(plan, re, 1);
    RW wi = net.R(plan, im, 1);
    d.markOutputSide();
    std::vector<Ref> Xr(static_cast<std::size_t>(n)), Xi(static_cast<std::size_t>(n));
    Xr[0] = wr.C[0];
    Xi[0] = wi.C[0];
    if (n % 2 == 0) {
        Xr[n / 2] = wr.C[n / 2];
        Xi[n / 2] = wi.C[n / 2];
    }
    for (int kk = 1; 2 * kk < n; ++kk) {
        // C - i S = (C.re + S.im, C.im - S.re); C + i S the other way.
        Ref mr = d.add(wr.C[kk], wi.S[kk]), mi = d.sub(wi.C[kk], wr.S[kk]);
        Ref pr = d.sub(wr.C[kk], wi.S[kk]), pi = d.add(wi.C[kk], wr.S[kk]);
        Xr[kk] = inverse ? pr : mr;
        Xi[kk] = inverse ? pi : mi;
        Xr[n - kk] = inverse ? mr : pr;
        Xi[n - kk] = inverse ? mi : pi;
    }
    for (int i = 0; i < n; ++i) {
        d.output(2 * i, d.scale(Xr[i]));
        d.output(2 * i + 1, d.scale(Xi[i]));
    }
    return k;
}

}  // namespace qrbgen::plans
