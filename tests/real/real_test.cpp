// What the real and Hartley kernels compute, at every built length, layout
// and precision: the definitions against exact sums, the three forward
// layouts from one network, the round trip, the elements a CCS spectrum
// never reads, exact values, and the small forward kernels evaluated by
// hand in the stated precisions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "kernel_table.h"
#include "real_by_hand.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

bool forward(const KernelInfo& k) { return k.kind == Kind::RToCCS || k.kind == Kind::RToPack || k.kind == Kind::RToPerm; }
bool inverse(const KernelInfo& k) { return k.kind == Kind::CCSToR || k.kind == Kind::PackToR || k.kind == Kind::PermToR; }

// Calls a kernel on reals held as long doubles, in its precision.
std::vector<long double> run(const KernelInfo& k, const std::vector<long double>& in, int flag) {
    std::vector<long double> out(static_cast<std::size_t>(k.dstElems));
    if (k.single()) {
        std::vector<float> x(in.begin(), in.end()), y(out.size(), -7.0f);
        EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
        std::copy(y.begin(), y.end(), out.begin());
    } else {
        std::vector<double> x(in.begin(), in.end()), y(out.size(), -7.0);
        EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
        std::copy(y.begin(), y.end(), out.begin());
    }
    return out;
}

// Normal values exact in both precisions.
std::vector<long double> gaussian(std::size_t n, unsigned seed) {
    const auto v = gaussianReals<float>(n, seed);
    return {v.begin(), v.end()};
}

long double maxAbs(const std::vector<long double>& v) {
    long double m = 0;
    for (long double x : v) m = std::max(m, std::fabs(x));
    return m;
}

// Equal values with equal signs (the outputs here are never NaN).
bool sameValues(const std::vector<long double>& a, const std::vector<long double>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] || std::signbit(a[i]) != std::signbit(b[i])) return false;
    return true;
}

long double cosOf(int t, int q, int n) { return std::cos(2 * kPi * ((static_cast<long>(t) * q) % n) / n); }
long double sinOf(int t, int q, int n) { return std::sin(2 * kPi * ((static_cast<long>(t) * q) % n) / n); }

}  // namespace

// Random input against the exact sums, relative to the largest output:
// the forward kernels R(k) + i I(k) = sum x[t] e^(-2 pi i t k / N) in every
// layout and under every flag; the inverse kernels x[t] = s (R(0) +
// (-1)^t R(N/2) + 2 sum (R(k) cos - I(k) sin)) from a random half spectrum;
// the Hartley kernels y[k] = sum x[t] (cos + sin)(2 pi t k / N).
TEST(RealKernels, DefinitionsAgainstExactSums) {
    for (const KernelInfo& k : allKernels()) {
        if (k.complexKind()) continue;
        const int n = k.n;
        std::vector<long double> x;
        if (forward(k) && !k.single()) {
            const auto d = gaussianReals<double>(static_cast<std::size_t>(n), 31u * n);
            x.assign(d.begin(), d.end());
        } else {
            x = gaussian(static_cast<std::size_t>(k.srcElems), (forward(k) ? 31u : inverse(k) ? 3u : 11u) * n);
        }
        double bound = k.single() ? 2.5e-7 : 1e-15;
        if (forward(k) && !k.single()) bound = 6e-16;
        if (inverse(k) && k.single()) bound = 3e-7;
        for (int flag : kFlags) {
            if (k.kind == Kind::Hartley && flag != ScaleNone) continue;
            const long double s = scaleValue(k, flag);
            const auto y = run(k, x, flag);
            long double err = 0, peak = 0;
            if (forward(k)) {
                for (int q = 0; 2 * q <= n; ++q) {
                    long double re = 0, im = 0;
                    for (int t = 0; t < n; ++t) re += x[t] * cosOf(t, q, n), im -= x[t] * sinOf(t, q, n);
                    peak = std::max(peak, std::hypot(re * s, im * s));
                    err = std::max(err, std::fabs(y[reIndex(k.kind, n, q)] - re * s));
                    if (2 * q != n && q != 0) err = std::max(err, std::fabs(y[reIndex(k.kind, n, q) + 1] - im * s));
                }
            } else {
                std::vector<long double> want(static_cast<std::size_t>(n));
                for (int t = 0; t < n; ++t) {
                    long double v = 0;
                    if (k.kind == Kind::Hartley) {
                        for (int q = 0; q < n; ++q) v += x[q] * (cosOf(t, q, n) + sinOf(t, q, n));
                    } else {
                        v = x[0] + (n % 2 == 0 ? (t % 2 ? -1 : 1) * x[reIndex(k.kind, n, n / 2)] : 0);
                        for (int q = 1; 2 * q < n; ++q) {
                            const int r = reIndex(k.kind, n, q);
                            v += 2 * (x[r] * cosOf(t, q, n) - x[r + 1] * sinOf(t, q, n));
                        }
                    }
                    want[t] = v * s;
                    err = std::max(err, std::fabs(y[t] - want[t]));
                }
                peak = maxAbs(want);
            }
            EXPECT_LT(static_cast<double>(err / peak), bound) << k.name << " flag " << flag;
        }
    }
}

// The three forward layouts run one network: for the same input their
// values agree bit for bit, and CCS stores +0.0 at I(0) and I(N/2).
TEST(RealKernels, ForwardLayoutsAgreeBitForBit) {
    std::map<std::pair<int, bool>, std::vector<const KernelInfo*>> byLength;
    for (const KernelInfo& k : allKernels())
        if (forward(k)) byLength[{k.n, k.single()}].push_back(&k);
    for (const auto& [key, ks] : byLength) {
        const int n = key.first;
        ASSERT_EQ(ks.size(), 3u) << n;
        const auto x = gaussianReals<double>(static_cast<std::size_t>(n), 7u * n);
        for (int flag : kFlags) {
            std::vector<std::vector<long double>> values(3);
            for (std::size_t i = 0; i < 3; ++i) {
                const KernelInfo& k = *ks[i];
                const auto y = run(k, {x.begin(), x.end()}, flag);
                for (int q = 0; 2 * q <= n; ++q) {
                    values[i].push_back(y[reIndex(k.kind, n, q)]);
                    if (q != 0 && 2 * q != n) values[i].push_back(y[reIndex(k.kind, n, q) + 1]);
                }
                if (k.kind == Kind::RToCCS) {
                    EXPECT_TRUE(!std::signbit(y[1]) && y[1] == 0) << k.name;
                    if (n % 2 == 0) {
                        EXPECT_TRUE(!std::signbit(y[n + 1]) && y[n + 1] == 0) << k.name;
                    }
                }
            }
            for (std::size_t i = 1; i < 3; ++i) EXPECT_TRUE(sameValues(values[0], values[i])) << ks[i]->name << " flag " << flag;
        }
    }
}

// Forward all-zero input gives +0.0 in every stored element (no -0.0 from
// a negated output); a forward impulse gives exactly s in every real part
// and zeros in the imaginary parts; an inverse spectrum with only R(0) = 1
// gives exactly s everywhere.
TEST(RealKernels, ZeroImpulseAndConstantSpectrum) {
    for (const KernelInfo& k : allKernels()) {
        if (!forward(k) && !inverse(k)) continue;
        const int n = k.n;
        std::vector<long double> x(static_cast<std::size_t>(k.srcElems), 0);
        for (int flag : kFlags) {
            const long double s = k.single() ? scaleConstant<float>(k, flag) : scaleConstant<double>(k, flag);
            if (forward(k)) {
                x[0] = 0;
                for (long double v : run(k, x, flag)) EXPECT_TRUE(!std::signbit(v) && v == 0) << k.name << " flag " << flag;
            }
            x[0] = 1;
            const auto y = run(k, x, flag);
            if (inverse(k)) {
                for (int t = 0; t < n; ++t) ASSERT_EQ(y[t], s) << k.name << " flag " << flag << " at " << t;
                continue;
            }
            for (int q = 0; 2 * q <= n; ++q) {
                EXPECT_EQ(y[reIndex(k.kind, n, q)], s) << k.name << " flag " << flag << " bin " << q;
                if (q != 0 && 2 * q != n) {
                    EXPECT_EQ(y[reIndex(k.kind, n, q) + 1], 0) << k.name << " bin " << q;
                }
            }
        }
    }
}

// Forward then inverse with the same flag returns the input, N times it
// under ScaleNone, in every layout; the Hartley kernel is its own inverse,
// and under ScaleFwdByN and ScaleInvByN gives the same bits.
TEST(RealKernels, RoundTrip) {
    const std::map<Kind, Kind> pair = {{Kind::CCSToR, Kind::RToCCS}, {Kind::PackToR, Kind::RToPack},
                                       {Kind::PermToR, Kind::RToPerm}, {Kind::Hartley, Kind::Hartley}};
    for (const KernelInfo& inv : allKernels()) {
        if (!pair.count(inv.kind)) continue;
        const KernelInfo& fwd = *findKernel(pair.at(inv.kind), inv.type, inv.n, false);
        const auto x = gaussian(static_cast<std::size_t>(inv.n), 5u * inv.n);
        for (int flag : kFlags) {
            const auto back = run(inv, run(fwd, x, flag), flag);
            const long double f = inv.n * scaleValue(fwd, flag) * scaleValue(inv, flag);
            long double err = 0;
            for (int t = 0; t < inv.n; ++t) err = std::max(err, std::fabs(back[t] - f * x[t]));
            EXPECT_LT(static_cast<double>(err / (f * maxAbs(x))), inv.single() ? 2e-6 : 4e-15) << inv.name << " flag " << flag;
        }
        if (inv.kind == Kind::Hartley) {
            EXPECT_TRUE(sameValues(run(inv, x, ScaleFwdByN), run(inv, x, ScaleInvByN))) << inv.name;
        }
    }
}

// A CCS spectrum's I(0) and I(N/2) are never read: anything there, NaN and
// infinity included, leaves every bit of the output.
TEST(RealKernels, UnreadElementsOfACcsSpectrum) {
    for (const KernelInfo& k : allKernels()) {
        if (k.kind != Kind::CCSToR) continue;
        auto x = gaussian(static_cast<std::size_t>(k.srcElems), 9u);
        x[1] = 0;
        if (k.n % 2 == 0) x[static_cast<std::size_t>(k.n + 1)] = 0;
        const auto ref = run(k, x, ScaleNone);
        x[1] = std::numeric_limits<long double>::quiet_NaN();
        if (k.n % 2 == 0) x[static_cast<std::size_t>(k.n + 1)] = std::numeric_limits<long double>::infinity();
        EXPECT_EQ(run(k, x, ScaleNone), ref) << k.name;
    }
}

// Lengths 2, 3, 4, 5 and 8 against their formulas evaluated by hand: the
// double kernels in double, the single kernels by the single-precision rule.
TEST(RealKernels, SmallForwardKernelsAsEvaluatedByHand) {
    std::mt19937 gen(5);
    std::normal_distribution<double> dist;
    for (const KernelInfo& k : allKernels()) {
        if (k.kind != Kind::RToPack || (k.n != 2 && k.n != 3 && k.n != 4 && k.n != 5 && k.n != 8)) continue;
        for (int trial = 0; trial < 500; ++trial) {
            std::vector<double> x(static_cast<std::size_t>(k.n));
            for (double& v : x) v = std::ldexp(dist(gen), trial % 20 - 10);
            std::vector<float> xf(x.begin(), x.end());
            for (int flag : kFlags) {
                std::vector<long double> want, got;
                if (k.single()) {
                    const auto w = byHand<float, double>(k.n, xf, scaleConstant<float>(k, flag));
                    want.assign(w.begin(), w.end());
                    got = run(k, {xf.begin(), xf.end()}, flag);
                } else {
                    const auto w = byHand<double, double>(k.n, x, scaleConstant<double>(k, flag));
                    want.assign(w.begin(), w.end());
                    got = run(k, {x.begin(), x.end()}, flag);
                }
                ASSERT_TRUE(sameValues(want, got)) << k.name << " flag " << flag;
            }
        }
    }
}
