// What the inverse real and the Hartley kernels compute, at every length,
// layout and precision: the definitions against exact sums, the round trip
// with the forward kernels, the elements a CCS spectrum never reads, and
// exact values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>

#include "kernel_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

bool inverse(const KernelInfo& k) { return k.kind == Kind::CCSToR || k.kind == Kind::PackToR || k.kind == Kind::PermToR; }

// The kernel of a kind, length and precision.
const KernelInfo& find(Kind kind, int n, bool single) {
    for (const KernelInfo& k : allKernels())
        if (k.kind == kind && k.n == n && k.single() == single) return k;
    throw std::runtime_error("kernel not built");
}

// Where R(k) and I(k) stand in each layout (see the forward test).
int reIndex(Kind kind, int n, int k) {
    const bool ccs = kind == Kind::CCSToR || kind == Kind::RToCCS;
    const bool perm = kind == Kind::PermToR || kind == Kind::RToPerm;
    if (ccs) return 2 * k;
    if (k == 0) return 0;
    if (2 * k == n) return perm ? 1 : n - 1;
    return perm && n % 2 == 0 ? 2 * k : 2 * k - 1;
}

// Calls a kernel on reals held as long doubles, in its precision.
std::vector<long double> run(const KernelInfo& k, const std::vector<long double>& in, int flag) {
    std::vector<long double> out(static_cast<std::size_t>(k.dstElems));
    if (k.single()) {
        std::vector<float> x(in.begin(), in.end()), y(out.size());
        EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
        std::copy(y.begin(), y.end(), out.begin());
    } else {
        std::vector<double> x(in.begin(), in.end()), y(out.size());
        EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
        std::copy(y.begin(), y.end(), out.begin());
    }
    return out;
}

std::vector<long double> gaussian(std::size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> dist;
    std::vector<long double> v(n);
    for (auto& x : v) x = static_cast<float>(dist(gen));  // exact in both precisions
    return v;
}

long double maxAbs(const std::vector<long double>& v) {
    long double m = 0;
    for (long double x : v) m = std::max(m, std::fabs(x));
    return m;
}

}  // namespace

// x[n] = s (R(0) + (-1)^n R(N/2) + 2 sum (R(k) cos - I(k) sin)) for a random
// half spectrum, in every layout.
TEST(RealInverse, DefinitionAtEveryLengthAndLayout) {
    for (const KernelInfo& k : allKernels()) {
        if (!inverse(k)) continue;
        const int n = k.n;
        auto spec = gaussian(static_cast<std::size_t>(k.srcElems), 3u * static_cast<unsigned>(n));
        std::vector<long double> R(static_cast<std::size_t>(n / 2 + 1)), I(R.size(), 0);
        for (int q = 0; 2 * q <= n; ++q) {
            R[q] = spec[reIndex(k.kind, n, q)];
            if (q != 0 && 2 * q != n) I[q] = spec[reIndex(k.kind, n, q) + 1];
        }
        for (int flag : kFlags) {
            const auto y = run(k, spec, flag);
            std::vector<long double> want(static_cast<std::size_t>(n));
            for (int t = 0; t < n; ++t) {
                long double v = R[0] + (n % 2 == 0 ? (t % 2 ? -R[n / 2] : R[n / 2]) : 0);
                for (int q = 1; 2 * q < n; ++q) {
                    const long double a = 2 * kPi * ((static_cast<long>(t) * q) % n) / n;
                    v += 2 * (R[q] * std::cos(a) - I[q] * std::sin(a));
                }
                want[t] = v * scaleValue(k, flag);
            }
            long double err = 0;
            for (int t = 0; t < n; ++t) err = std::max(err, std::fabs(y[t] - want[t]));
            EXPECT_LT(static_cast<double>(err / maxAbs(want)), k.single() ? 3e-7 : 1e-15) << k.name << " flag " << flag;
        }
    }
}

// Forward then inverse with the same flag returns the input, N times it
// under ScaleNone; the forward layout and the inverse layout match.
TEST(RealInverse, RoundTripWithTheForwardKernels) {
    const std::map<Kind, Kind> pair = {{Kind::CCSToR, Kind::RToCCS}, {Kind::PackToR, Kind::RToPack}, {Kind::PermToR, Kind::RToPerm}};
    for (const KernelInfo& inv : allKernels()) {
        if (!inverse(inv)) continue;
        const KernelInfo& fwd = find(pair.at(inv.kind), inv.n, inv.single());
        const auto x = gaussian(static_cast<std::size_t>(inv.n), 5u * static_cast<unsigned>(inv.n));
        for (int flag : kFlags) {
            auto spec = run(fwd, x, flag);
            const auto back = run(inv, spec, flag);
            const long double f = flag == ScaleNone ? inv.n : 1;
            long double err = 0;
            for (int t = 0; t < inv.n; ++t) err = std::max(err, std::fabs(back[t] - f * x[t]));
            EXPECT_LT(static_cast<double>(err / (f * maxAbs(x))), inv.single() ? 2e-6 : 4e-15) << inv.name << " flag " << flag;
        }
    }
}

// A CCS spectrum's I(0) and I(N/2) are never read: anything there, NaN and
// infinity included, leaves every bit of the output; and a spectrum with
// only R(0) = 1 gives exactly s everywhere.
TEST(RealInverse, UnreadElementsAndTheConstantSpectrum) {
    for (const KernelInfo& k : allKernels()) {
        if (!inverse(k)) continue;
        std::vector<long double> spec(static_cast<std::size_t>(k.srcElems), 0);
        spec[0] = 1;
        for (int flag : kFlags) {
            const auto y = run(k, spec, flag);
            const long double s = k.single() ? static_cast<float>(scaleValue(k, flag)) : static_cast<double>(scaleValue(k, flag));
            for (int t = 0; t < k.n; ++t) ASSERT_EQ(y[t], s) << k.name << " flag " << flag << " at " << t;
        }
        if (k.kind != Kind::CCSToR) continue;
        auto x = gaussian(static_cast<std::size_t>(k.srcElems), 9u);
        x[1] = 0;
        if (k.n % 2 == 0) x[static_cast<std::size_t>(k.n + 1)] = 0;
        const auto ref = run(k, x, ScaleNone);
        x[1] = std::numeric_limits<long double>::quiet_NaN();
        if (k.n % 2 == 0) x[static_cast<std::size_t>(k.n + 1)] = std::numeric_limits<long double>::infinity();
        const auto got = run(k, x, ScaleNone);
        for (int t = 0; t < k.n; ++t) EXPECT_TRUE(sameBits(&got[t], &ref[t], sizeof(long double)) || got[t] == ref[t]) << k.name;
    }
}

// The Hartley transform: y[k] = s sum x[n] (cos + sin)(2 pi n k / N), equal
// to R(k) - I(k) of the forward kernel to rounding; ScaleFwdByN and
// ScaleInvByN are the same 1/N; two passes under ScaleBySqrtN return the
// input.
TEST(Hartley, DefinitionAndInverse) {
    for (const KernelInfo& k : allKernels()) {
        if (k.kind != Kind::Hartley) continue;
        const int n = k.n;
        const auto x = gaussian(static_cast<std::size_t>(n), 11u * static_cast<unsigned>(n));
        const auto y = run(k, x, ScaleNone);
        std::vector<long double> want(static_cast<std::size_t>(n));
        for (int q = 0; q < n; ++q) {
            long double v = 0;
            for (int t = 0; t < n; ++t) {
                const long double a = 2 * kPi * ((static_cast<long>(t) * q) % n) / n;
                v += x[t] * (std::cos(a) + std::sin(a));
            }
            want[q] = v;
        }
        long double err = 0;
        for (int q = 0; q < n; ++q) err = std::max(err, std::fabs(y[q] - want[q]));
        EXPECT_LT(static_cast<double>(err / maxAbs(want)), k.single() ? 2.5e-7 : 1e-15) << k.name;
        const auto a = run(k, x, ScaleFwdByN), b = run(k, x, ScaleInvByN);
        EXPECT_EQ(a, b) << k.name;
        const auto back = run(k, run(k, x, ScaleBySqrtN), ScaleBySqrtN);
        long double rt = 0;
        for (int t = 0; t < n; ++t) rt = std::max(rt, std::fabs(back[t] - x[t]));
        EXPECT_LT(static_cast<double>(rt / maxAbs(x)), k.single() ? 2e-6 : 4e-15) << k.name;
    }
}
