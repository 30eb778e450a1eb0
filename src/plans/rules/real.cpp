// The real kinds: forward real kernels into the three spectrum layouts.
// One network per length; the layouts differ only in store addresses and
// in the two zero stores of CCS.
#include <stdexcept>

#include "rules/kernel.h"
#include "rules/network.h"
#include "rules/real.h"

namespace qrbgen::plans {

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

KernelDag buildRealForward(const KernelDesc& k, const SchemeRow& s, const std::string& planText) {
    const int N = k.n;
    const SpectrumMap map = spectrumMap(k.kind, N);
    KernelDag kd{k, planText, Dag{}, Layout::identity(N, map.elems)};
    kd.layout.zeros = map.zeros;
    PlanNode plan = parsePlanFor(planText, N);
    Dag& d = kd.dag;
    std::vector<Ref> x(static_cast<std::size_t>(N));
    for (int i = 0; i < N; ++i) x[i] = d.input(i);
    Network net(d, NetOptions{ConstPrecision::Double, s.five0Left});
    RW w = net.R(plan, x, 1);
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
