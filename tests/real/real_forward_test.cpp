// What the forward real kernels compute, at every built length, layout and
// precision: the half spectrum against the exact sum, the three layouts
// from one network, the structural zeros, exact values of impulses and of
// zero input, and the small kernels evaluated by hand in the stated
// precisions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "kernel_table.h"
#include "real_by_hand.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

bool forward(const KernelInfo& k) { return k.kind == Kind::RToCCS || k.kind == Kind::RToPack || k.kind == Kind::RToPerm; }

// Where R(k) and I(k) stand in each layout, written out apart from the
// generator: CCS holds R(k), I(k) at 2k, 2k+1; Pack holds R(0), then the
// pairs from index 1, then R(N/2) last for even N; Perm holds R(0), R(N/2)
// (even N) and then the pairs, and is Pack for odd N.
int reIndex(Kind kind, int n, int k) {
    if (kind == Kind::RToCCS) return 2 * k;
    if (k == 0) return 0;
    if (2 * k == n) return kind == Kind::RToPerm ? 1 : n - 1;
    return kind == Kind::RToPerm && n % 2 == 0 ? 2 * k : 2 * k - 1;
}
int imIndex(Kind kind, int n, int k) { return reIndex(kind, n, k) + 1; }

template <class T>
std::vector<T> call(const KernelInfo& k, const std::vector<T>& x, int flag) {
    std::vector<T> y(static_cast<std::size_t>(k.dstElems), T(-7));
    EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
    return y;
}

template <class T>
std::vector<T> gaussian(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> dist;
    std::vector<T> v(static_cast<std::size_t>(n));
    for (T& x : v) x = static_cast<T>(dist(gen));
    return v;
}

template <class T>
void accuracy(double limit) {
    constexpr long double kPi = 3.141592653589793238462643383279502884L;
    for (const KernelInfo& k : allKernels()) {
        if (!forward(k) || k.single() != (sizeof(T) == 4)) continue;
        const int n = k.n;
        const auto x = gaussian<T>(n, 31u * static_cast<unsigned>(n));
        for (int flag : kFlags) {
            const auto y = call(k, x, flag);
            const long double s = scaleValue(k, flag);
            long double peak = 0, err = 0;
            for (int q = 0; 2 * q <= n; ++q) {
                long double re = 0, im = 0;
                for (int t = 0; t < n; ++t) {
                    const long double a = 2 * kPi * ((static_cast<long>(t) * q) % n) / n;
                    re += x[t] * std::cos(a);
                    im -= x[t] * std::sin(a);
                }
                re *= s;
                im *= s;
                peak = std::max(peak, std::hypot(re, im));
                err = std::max(err, std::fabs(y[reIndex(k.kind, n, q)] - re));
                if (2 * q != n && q != 0) err = std::max(err, std::fabs(y[imIndex(k.kind, n, q)] - im));
            }
            EXPECT_LT(static_cast<double>(err / peak), limit) << k.name << " flag " << flag;
        }
    }
}

}  // namespace

TEST(RealForward, AccuracyDouble) { accuracy<double>(6e-16); }
TEST(RealForward, AccuracySingle) { accuracy<float>(2.5e-7); }

// The three layouts run one network: for the same input their values agree
// bit for bit, and CCS stores +0.0 at I(0) and I(N/2).
TEST(RealForward, LayoutsAgreeBitForBit) {
    std::map<std::pair<int, bool>, std::vector<const KernelInfo*>> byLength;
    for (const KernelInfo& k : allKernels())
        if (forward(k)) byLength[{k.n, k.single()}].push_back(&k);
    for (const auto& [key, ks] : byLength) {
        const int n = key.first;
        ASSERT_EQ(ks.size(), 3u) << n;
        const auto x = gaussian<double>(n, 7u * static_cast<unsigned>(n));
        std::vector<float> xf(x.begin(), x.end());
        for (int flag : kFlags) {
            std::vector<std::vector<double>> re(3), im(3);
            for (std::size_t i = 0; i < 3; ++i) {
                const KernelInfo& k = *ks[i];
                std::vector<double> y;
                if (k.single()) {
                    auto yf = call(k, xf, flag);
                    y.assign(yf.begin(), yf.end());
                } else {
                    y = call(k, x, flag);
                }
                for (int q = 0; 2 * q <= n; ++q) {
                    re[i].push_back(y[reIndex(k.kind, n, q)]);
                    if (q != 0 && 2 * q != n) im[i].push_back(y[imIndex(k.kind, n, q)]);
                }
                if (k.kind == Kind::RToCCS) {
                    EXPECT_TRUE(!std::signbit(y[1]) && y[1] == 0.0) << k.name;
                    if (n % 2 == 0) {
                        EXPECT_TRUE(!std::signbit(y[n + 1]) && y[n + 1] == 0.0) << k.name;
                    }
                }
            }
            for (std::size_t i = 1; i < 3; ++i) {
                EXPECT_TRUE(sameBits(re[0].data(), re[i].data(), re[0].size() * sizeof(double))) << ks[i]->name;
                EXPECT_TRUE(sameBits(im[0].data(), im[i].data(), im[0].size() * sizeof(double))) << ks[i]->name;
            }
        }
    }
}

// All-zero input gives +0.0 in every stored element (no -0.0 from a
// negated output), and an impulse under ScaleFwdByN gives exactly the
// nearest 1/N in every real part and zeros in the imaginary parts.
TEST(RealForward, ZeroInputAndImpulse) {
    for (const KernelInfo& k : allKernels()) {
        if (!forward(k)) continue;
        const int n = k.n;
        std::vector<double> x(static_cast<std::size_t>(n), 0.0), y(static_cast<std::size_t>(k.dstElems + 1));
        std::vector<float> xf(static_cast<std::size_t>(n), 0.0f), yf(y.size());
        for (int flag : kFlags) {
            if (k.single()) ASSERT_EQ(k.call(xf.data(), yf.data(), flag), StatusOk);
            else ASSERT_EQ(k.call(x.data(), y.data(), flag), StatusOk);
            for (int i = 0; i < k.dstElems; ++i) {
                const bool negZero = k.single() ? std::signbit(yf[i]) || yf[i] != 0 : std::signbit(y[i]) || y[i] != 0;
                EXPECT_FALSE(negZero) << k.name << " element " << i << " flag " << flag;
            }
        }
        x[0] = 1.0;
        xf[0] = 1.0f;
        if (k.single()) ASSERT_EQ(k.call(xf.data(), yf.data(), ScaleFwdByN), StatusOk);
        else ASSERT_EQ(k.call(x.data(), y.data(), ScaleFwdByN), StatusOk);
        for (int q = 0; 2 * q <= n; ++q) {
            const int r = reIndex(k.kind, n, q);
            if (k.single()) EXPECT_EQ(yf[r], static_cast<float>(1.0L / n)) << k.name << " bin " << q;
            else EXPECT_EQ(y[r], static_cast<double>(1.0L / n)) << k.name << " bin " << q;
            if (q != 0 && 2 * q != n) {
                const int i = imIndex(k.kind, n, q);
                EXPECT_EQ(k.single() ? double(yf[i]) : y[i], 0.0) << k.name << " bin " << q;
            }
        }
    }
}

// Lengths 2, 3, 4, 5 and 8 against their formulas evaluated by hand: the
// double kernels in double, the single kernels by the single-precision rule.
TEST(RealForward, SmallKernelsAsEvaluatedByHand) {
    std::mt19937 gen(5);
    std::normal_distribution<double> dist;
    for (const KernelInfo& k : allKernels()) {
        if (k.kind != Kind::RToPack || (k.n != 2 && k.n != 3 && k.n != 4 && k.n != 5 && k.n != 8)) continue;
        for (int trial = 0; trial < 500; ++trial) {
            std::vector<double> x(static_cast<std::size_t>(k.n));
            for (double& v : x) v = std::ldexp(dist(gen), trial % 20 - 10);
            for (int flag : kFlags) {
                if (k.single()) {
                    std::vector<float> xf(x.begin(), x.end());
                    const auto want = byHand<float, double>(k.n, xf, scaleConstant<float>(k, flag));
                    const auto got = call(k, xf, flag);
                    ASSERT_TRUE(sameBits(want.data(), got.data(), want.size() * 4)) << k.name << " flag " << flag;
                } else {
                    const auto want = byHand<double, double>(k.n, x, scaleConstant<double>(k, flag));
                    const auto got = call(k, x, flag);
                    ASSERT_TRUE(sameBits(want.data(), got.data(), want.size() * 8)) << k.name << " flag " << flag;
                }
            }
        }
    }
}
