// The real kinds: forward real kernels into the three spectrum layouts.
// One network per length; the layouts differ only in store addresses and
// in the two zero stores of CCS.
#include <stdexcept>

#include "rules/kernel.h"
#include "rules/network.h"
#include "rules/real.h"
#include "rules/real_forward.h"
#include "tables/real_tables.h"

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

PlanNode parseRealPlan(const std::string& text, int n) {
    PlanNode p = parsePlanFor(text, n);
    expandEight(p);
    return p;
}

namespace {

bool holdsRader(const PlanNode& p) {
    if (p.kind == PlanNode::Rader || p.kind == PlanNode::Chirp || p.realRader) return true;
    for (const PlanNode& k : p.kids)
        if (holdsRader(k)) return true;
    return false;
}

}  // namespace

RW forwardRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& x) {
    // Leaves and splits are built on complex values; a plan with a prime
    // network goes through the real-weighted rules.
    if (!holdsRader(plan)) return complexFormRealNetwork(d, plan, x);
    NetOptions opt;
    opt.leaves = LeafForm::RealQuadratic;
    Network net(d, opt);
    return net.R(plan, x, 1);
}

SpectrumMap spectrumMap(Kind kind, int N) {
    const int h = N / 2, m = (N - 1) / 2;
    SpectrumMap s;
    s.re.assign(static_cast<std::size_t>(h + 1), -1);
    s.im.assign(static_cast<std::size_t>(h + 1), -1);
    switch (kind) {
        case Kind::RToCCS:
        case Kind::CCSToR:
            // index 2k holds R(k), 2k+1 holds I(k); I(0) and I(N/2) are zeros
            for (int k = 0; k <= h; ++k) s.re[k] = 2 * k;
            for (int k = 1; k <= m; ++k) s.im[k] = 2 * k + 1;
            s.zeros.push_back(1);
            if (N % 2 == 0) s.zeros.push_back(N + 1);
            s.elems = 2 * h + 2;
            return s;
        case Kind::RToPerm:
        case Kind::PermToR:
            if (N % 2 == 0) {
                // R(0), R(N/2), then the pairs
                s.re[0] = 0;
                s.re[h] = 1;
                for (int k = 1; k <= m; ++k) {
                    s.re[k] = 2 * k;
                    s.im[k] = 2 * k + 1;
                }
                s.elems = N;
                return s;
            }
            [[fallthrough]];  // odd N: the same as Pack
        case Kind::RToPack:
        case Kind::PackToR:
            // R(0), the pairs, and R(N/2) last for even N
            s.re[0] = 0;
            for (int k = 1; k <= m; ++k) {
                s.re[k] = 2 * k - 1;
                s.im[k] = 2 * k;
            }
            if (N % 2 == 0) s.re[h] = N - 1;
            s.elems = N;
            return s;
        default: throw std::logic_error("a kind without a spectrum layout");
    }
}

KernelDag buildRealForward(const KernelDesc& k) {
    const int N = k.n;
    const ForwardRealRow* row = forwardRealRow(N);
    if (row == nullptr) throw std::invalid_argument("no forward real plan of length " + std::to_string(N));
    const SpectrumMap map = spectrumMap(k.kind, N);
    KernelDag kd{k, row->plan, Dag{}, Layout::identity(N, map.elems)};
    kd.layout.zeros = map.zeros;
    Dag& d = kd.dag;
    std::vector<Ref> x(static_cast<std::size_t>(N));
    for (int i = 0; i < N; ++i) x[i] = d.input(i);
    RW w = forwardRealNetwork(d, parseRealPlan(row->plan, N), x);
    d.markOutputSide();
    // R(k) is the cosine sum, I(k) the negated sine sum. Where the network
    // carries the value negated, the kernel stores 0 - s*v.
    for (int kk = 0; kk <= N / 2; ++kk) {
        d.output(map.re[kk], d.scale(w.C[kk]));
        if (map.im[kk] >= 0) d.output(map.im[kk], d.scale(-w.S[kk]));
    }
    return kd;
}

}  // namespace qrbgen::plans
