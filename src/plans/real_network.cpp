#include "real_network.h"

#include <stdexcept>

#include "network.h"
#include "real_tables.h"

namespace qrbgen::plans {
namespace {

// The real tables write the 8-point network as a leaf; it is C(4,2).
void expandEight(PlanNode& p) {
    if (p.isLeaf() && p.n == 8 && !p.sumDiff && !p.realRader) {
        PlanNode four, two;
        four.n = 4;
        two.n = 2;
        p.kind = PlanNode::CT;
        p.kids = {four, two};
        return;
    }
    for (PlanNode& k : p.kids) expandEight(k);
}

}  // namespace

bool hasRaderPart(const std::string& plan) { return plan.find('R') != std::string::npos; }

PlanNode parseRealPlan(const std::string& text, int n) {
    PlanNode p = parsePlanFor(text, n, Elem::C64);
    expandEight(p);
    return p;
}

RealSpectrum forwardRealSpectrum(Dag& d, const PlanNode& plan, const std::vector<Ref>& x) {
    NetOptions opt;
    opt.leaves = LeafForm::RealQuadratic;
    Network net(d, opt);
    RW w = net.R(plan, x, 1);
    // X[k] = C[k] - i S[k].
    RealSpectrum s;
    s.re = w.C;
    s.im.resize(w.S.size());
    for (std::size_t k = 0; k < w.S.size(); ++k) s.im[k] = -w.S[k];
    return s;
}

int packSlotRe(int n, int k) {
    if (k == 0) return 0;
    if (2 * k == n) return n - 1;
    return 2 * k - 1;
}
int packSlotIm(int n, int k) {
    if (k <= 0 || 2 * k >= n) throw std::logic_error("bin " + std::to_string(k) + " has no imaginary part");
    return 2 * k;
}

ForwardRealKernel buildForwardReal(int n) {
    const ForwardRealRow* row = forwardRealRow(n);
    if (!row) throw std::invalid_argument("no forward real plan of length " + std::to_string(n));
    if (hasRaderPart(row->plan)) throw UnsupportedPlan("real Rader networks are built with the prime kernels");
    ForwardRealKernel k;
    k.n = n;
    k.plan = row->plan;
    Dag& d = k.dag;
    std::vector<Ref> x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) x[i] = d.input(i);
    const RealSpectrum s = forwardRealSpectrum(d, parseRealPlan(row->plan, n), x);
    d.markOutputSide();
    // The scale multiplies the value as the network holds it; a negated
    // value then becomes the subtraction 0 - s*v of the store.
    auto store = [&](int slot, Ref v) {
        const Ref scaled = d.scale(v.neg ? -v : v);
        d.output(slot, v.neg ? -scaled : scaled);
    };
    for (int kk = 0; 2 * kk <= n; ++kk) {
        store(packSlotRe(n, kk), s.re[kk]);
        if (kk > 0 && 2 * kk < n) store(packSlotIm(n, kk), s.im[kk]);
    }
    return k;
}

}  // namespace qrbgen::plans
