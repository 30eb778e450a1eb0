// The real kinds: forward real kernels into the three spectrum layouts.
// One network per length; the layouts differ only in store addresses and
// in the two zero stores of CCS.
#include <algorithm>
#include <stdexcept>

#include "ir/merge.h"
#include "ir/transpose.h"
#include "rules/kernel.h"
#include "rules/network.h"
#include "rules/real.h"
#include "rules/real_forward.h"
#include "tables/real_tables.h"

namespace qrbgen::plans {


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
    opt.raderFamily = RaderFamily::Real;
    Network net(d, opt);
    RW w = net.R(plan, x, 1);
    // Prime networks chain products in their second transform: merging them
    // saves products.
    if (hasPrimeNetwork(plan)) {
        std::vector<Ref> roots = w.C;
        roots.insert(roots.end(), w.S.begin(), w.S.end());
        mergeConstantChains(d, roots, ConstPrecision::Double);
        std::copy(roots.begin(), roots.begin() + static_cast<long>(w.C.size()), w.C.begin());
        std::copy(roots.begin() + static_cast<long>(w.C.size()), roots.end(), w.S.begin());
    }
    return w;
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
    RW w = forwardRealNetwork(d, parsePlanFor(row->plan, N), x);
    d.markOutputSide();
    // R(k) is the cosine sum, I(k) the negated sine sum. Where the network
    // carries the value negated, the kernel stores 0 - s*v.
    for (int kk = 0; kk <= N / 2; ++kk) {
        d.output(map.re[kk], d.scale(w.C[kk]));
        if (map.im[kk] >= 0) d.output(map.im[kk], d.scale(-w.S[kk]));
    }
    return kd;
}

PlanNode mirrored(const PlanNode& plan) {
    PlanNode p = plan;
    for (PlanNode& k : p.kids) k = mirrored(k);
    if (p.kids.size() == 2) std::swap(p.kids[0], p.kids[1]);
    return p;
}

std::vector<Ref> inverseRealNetwork(Dag& d, const PlanNode& plan, const std::vector<Ref>& re,
                                    const std::vector<Ref>& im) {
    const int N = plan.n;
    // The forward network of the mirrored plan, in a DAG of its own: the
    // prime networks in it take the rows whose duals are the inverse ones.
    Dag forward;
    std::vector<Ref> x(static_cast<std::size_t>(N));
    for (int i = 0; i < N; ++i) x[i] = forward.input(i);
    NetOptions opt;
    opt.leaves = LeafForm::RealQuadratic;
    opt.raderFamily = RaderFamily::RealInverse;
    Network net(forward, opt);
    const RW w = net.R(mirrored(plan), x, 1);
    // Its roots R(k) = C[k] and I(k) = -S[k], and what enters there.
    std::vector<Ref> roots, values;
    for (int k = 0; 2 * k <= N; ++k) {
        roots.push_back(w.C[k]);
        values.push_back(re[k]);
        if (k > 0 && 2 * k < N) {
            roots.push_back(-w.S[k]);
            values.push_back(im[k]);
        }
    }
    return transposeInto(forward, N, roots, d, values);
}

KernelDag buildRealInverse(const KernelDesc& k) {
    const int N = k.n;
    const InverseRealRow* row = inverseRealRow(N);
    if (row == nullptr) throw std::invalid_argument("no inverse real plan of length " + std::to_string(N));
    const SpectrumMap map = spectrumMap(k.kind, N);
    KernelDag kd{k, row->plan, Dag{}, Layout::identity(map.elems, N)};
    Dag& d = kd.dag;
    // The stored values, R(k) and I(k) doubled but R(0) and R(N/2): the
    // inverse network sums each bin and its conjugate once.
    std::vector<Ref> re(static_cast<std::size_t>(N / 2 + 1)), im(static_cast<std::size_t>(N / 2 + 1));
    for (int q = 0; 2 * q <= N; ++q) {
        const bool edge = q == 0 || 2 * q == N;
        re[q] = edge ? d.input(map.re[q]) : d.mulC(2.0, d.input(map.re[q]));
        if (!edge) im[q] = d.mulC(2.0, d.input(map.im[q]));
    }
    const std::vector<Ref> y = inverseRealNetwork(d, parsePlanFor(row->plan, N), re, im);
    d.markOutputSide();
    for (int n = 0; n < N; ++n) d.output(n, d.scale(y[n]));
    // A doubling whose only consumer is a constant product merges into it.
    std::vector<Ref> none;
    mergeConstantChains(d, none, ConstPrecision::Double);
    return kd;
}

KernelDag buildHartley(const KernelDesc& k) {
    const int N = k.n;
    const HartleyRow* hr = hartleyRow(N);
    if (hr == nullptr) throw std::invalid_argument("no Hartley plan of length " + std::to_string(N));
    KernelDag kd{k, "", Dag{}, Layout::identity(N, N)};
    Dag& d = kd.dag;
    std::vector<Ref> x(static_cast<std::size_t>(N));
    for (int i = 0; i < N; ++i) x[i] = d.input(i);
    std::vector<Ref> y(static_cast<std::size_t>(N));
    if (hr->form == HartleyForm::A) {
        const ForwardRealRow* row = forwardRealRow(N);
        kd.plan = row->plan;
        // y[k] = R(k) - I(k) = C[k] + S[k], y[N-k] = R(k) + I(k) = C[k] - S[k].
        const RW w = forwardRealNetwork(d, parsePlanFor(row->plan, N), x);
        y[0] = w.C[0];
        if (N % 2 == 0) y[static_cast<std::size_t>(N / 2)] = w.C[static_cast<std::size_t>(N / 2)];
        for (int q = 1; 2 * q < N; ++q) {
            y[static_cast<std::size_t>(q)] = d.add(w.C[q], w.S[q]);
            y[static_cast<std::size_t>(N - q)] = d.sub(w.C[q], w.S[q]);
        }
    } else {
        const InverseRealRow* row = inverseRealRow(N);
        kd.plan = row->plan;
        // The folded input takes the place of the doubled spectrum.
        std::vector<Ref> re(static_cast<std::size_t>(N / 2 + 1)), im(static_cast<std::size_t>(N / 2 + 1));
        re[0] = x[0];
        if (N % 2 == 0) re[static_cast<std::size_t>(N / 2)] = x[static_cast<std::size_t>(N / 2)];
        for (int q = 1; 2 * q < N; ++q) {
            re[q] = d.add(x[q], x[N - q]);
            im[q] = d.sub(x[N - q], x[q]);
        }
        y = inverseRealNetwork(d, parsePlanFor(row->plan, N), re, im);
    }
    d.markOutputSide();
    for (int n = 0; n < N; ++n) d.output(n, d.scale(y[n]));
    if (hr->form == HartleyForm::B) {
        // The inverse network's rotations followed by a constant merge as
        // there; there is no doubling to merge.
        std::vector<Ref> none;
        mergeConstantChains(d, none, ConstPrecision::Double);
    }
    return kd;
}

}  // namespace qrbgen::plans
