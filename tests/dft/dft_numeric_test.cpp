// What the complex kernels compute: accuracy against the exact sum, the
// scale as the last multiplication under every flag, impulses, constants and
// the round trip, at every built length, both directions and types.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

#include "dft_test_util.h"
#include "tables/plan_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

template <class T>
std::vector<T> run(typename Types<T>::Fn f, const std::vector<T>& x, int flag) {
    std::vector<T> y(x.size());
    using C = typename Types<T>::C;
    EXPECT_EQ(f(reinterpret_cast<const C*>(x.data()), reinterpret_cast<C*>(y.data()), flag), StatusOk);
    return y;
}

template <class T>
double relativeError(const std::vector<T>& y, const std::vector<std::complex<long double>>& ref, long double s) {
    long double maxErr = 0, maxRef = 0;
    for (std::size_t k = 0; k < ref.size(); ++k) {
        std::complex<long double> got(y[2 * k], y[2 * k + 1]);
        maxErr = std::max(maxErr, std::abs(got - ref[k] * s));
        maxRef = std::max(maxRef, std::abs(ref[k] * s));
    }
    return static_cast<double>(maxErr / maxRef);
}

template <class T>
void accuracy(double bound) {
    for (const auto& k : kernels<T>()) {
        for (int trial = 0; trial < 3; ++trial) {
            auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 1000u * k.n + trial);
            for (bool inverse : {false, true}) {
                auto ref = referenceDft(x, k.n, inverse);
                for (int flag : kFlags) {
                    auto y = run<T>(inverse ? k.inv : k.fwd, x, flag);
                    long double s = scaleFor<double>(k.n, inverse, flag);
                    EXPECT_LT(relativeError(y, ref, s), bound)
                        << Types<T>::name << " N=" << k.n << (inverse ? " inverse" : " forward") << " flag " << flag;
                }
            }
        }
    }
}

// Under every flag each output is the ScaleNone output times the kernel's
// scale constant, rounded once: the scale is the last operation.
template <class T>
void scaleIsLast() {
    for (const auto& k : kernels<T>()) {
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 77u * k.n);
        for (bool inverse : {false, true}) {
            auto f = inverse ? k.inv : k.fwd;
            auto plain = run<T>(f, x, ScaleNone);
            for (int flag : kFlags) {
                T s = scaleFor<T>(k.n, inverse, flag);
                auto y = run<T>(f, x, flag);
                for (std::size_t i = 0; i < y.size(); ++i) {
                    T expect = plain[i] * s;
                    ASSERT_TRUE(sameBits(&y[i], &expect, sizeof(T)))
                        << Types<T>::name << " N=" << k.n << " flag " << flag << " element " << i;
                }
            }
            // Flags that mean "no scaling" in this direction give the same bits.
            auto same = run<T>(f, x, inverse ? ScaleFwdByN : ScaleInvByN);
            EXPECT_TRUE(sameBits(same.data(), plain.data(), plain.size() * sizeof(T)));
        }
    }
}

// Whether a 7- or 11-point step is somewhere in the length's network: a
// factor 7 or 11, or a prime factor whose Rader network holds one in its
// inner length p - 1. There the zeros of a constant input are within
// rounding of zero; everywhere else they are exact.
bool hasSevenOrElevenStep(int n) {
    for (int q = 2; q <= n; ++q) {
        if (n % q != 0) continue;
        while (n % q == 0) n /= q;
        if (q == 7 || q == 11 || (q >= 13 && hasSevenOrElevenStep(q - 1))) return true;
    }
    return false;
}

// The chirp kernels of 32fc give these values within rounding only
// (dft_prime_test).
template <class T>
bool chirpForm(int n) {
    return std::is_same_v<T, float> && std::string(qrbgen::plans::planRow(n)->plan32fc).rfind("chirp", 0) == 0;
}

template <class T>
void impulseAndConstant() {
    for (const auto& k : kernels<T>()) {
        if (chirpForm<T>(k.n)) continue;
        const std::size_t n = static_cast<std::size_t>(k.n);
        for (bool inverse : {false, true}) {
            auto f = inverse ? k.inv : k.fwd;
            for (int flag : kFlags) {
                std::vector<T> x(2 * n, T(0));
                x[0] = 1;
                auto y = run<T>(f, x, flag);
                const T s = scaleFor<T>(k.n, inverse, flag);
                for (std::size_t i = 0; i < n; ++i) {
                    EXPECT_EQ(y[2 * i], s) << Types<T>::name << " N=" << k.n << " bin " << i;
                    EXPECT_EQ(y[2 * i + 1], T(0)) << Types<T>::name << " N=" << k.n << " bin " << i;
                }
            }
            // A constant c gives c N s at index 0, the sum being exact, and
            // zeros elsewhere, under every flag: c = 1 at every length, and
            // c = -0.75 + 1.5i too at the primes 13, 17, 19, 31, 37, 41, 53
            // and 61, whose networks cancel a constant exactly.
            const T tol = hasSevenOrElevenStep(k.n) ? T(64) * std::numeric_limits<T>::epsilon() : T(0);
            const bool anyConstant = std::is_same_v<T, double> &&
                                     (k.n == 13 || k.n == 17 || k.n == 19 || k.n == 31 || k.n == 37 || k.n == 41 ||
                                      k.n == 53 || k.n == 61);
            for (T re : {T(1), T(-0.75)}) {
                if (re != T(1) && !anyConstant) continue;
                const T im = re == T(1) ? T(0) : T(1.5);
                std::vector<T> c(2 * n);
                for (std::size_t i = 0; i < n; ++i) {
                    c[2 * i] = re;
                    c[2 * i + 1] = im;
                }
                for (int flag : kFlags) {
                    auto y = run<T>(f, c, flag);
                    const T s = scaleFor<T>(k.n, inverse, flag);
                    EXPECT_EQ(y[0], T(re * T(k.n)) * s) << Types<T>::name << " N=" << k.n << " flag " << flag;
                    EXPECT_EQ(y[1], T(im * T(k.n)) * s) << Types<T>::name << " N=" << k.n << " flag " << flag;
                    for (std::size_t i = 2; i < 2 * n; ++i)
                        EXPECT_LE(std::fabs(y[i]), tol) << Types<T>::name << " N=" << k.n << " slot " << i;
                }
            }
        }
    }
}

template <class T>
void roundTrip(double bound) {
    for (const auto& k : kernels<T>()) {
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 5u * k.n);
        const std::pair<int, int> pairs[] = {
            {ScaleFwdByN, ScaleFwdByN}, {ScaleNone, ScaleInvByN}, {ScaleBySqrtN, ScaleBySqrtN}};
        for (auto [ff, fi] : pairs) {
            auto back = run<T>(k.inv, run<T>(k.fwd, x, ff), fi);
            double err = 0;
            for (std::size_t i = 0; i < x.size(); ++i) err = std::max(err, std::fabs(double(back[i]) - double(x[i])));
            EXPECT_LT(err, bound) << Types<T>::name << " N=" << k.n << " flags " << ff << "," << fi;
        }
    }
}

// Forward and inverse run the same network; the join places each pair the
// other way round, so inverse X[k] is forward X[N-k] bit for bit.
template <class T>
void reversal() {
    for (const auto& k : kernels<T>()) {
        if (!qrbgen::plans::reversalIdentity(sizeof(T) == 4, k.n)) continue;
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 9u * k.n);
        auto f = run<T>(k.fwd, x, ScaleNone), b = run<T>(k.inv, x, ScaleNone);
        for (int i = 0; i < k.n; ++i) {
            int j = (k.n - i) % k.n;
            EXPECT_TRUE(sameBits(&b[2 * i], &f[2 * j], 2 * sizeof(T))) << Types<T>::name << " N=" << k.n << " bin " << i;
        }
    }
}

// Exchange: the inverse equals the forward transform of the input with real
// and imaginary parts exchanged, with the parts of the result exchanged.
template <class T>
void exchange() {
    for (const auto& k : kernels<T>()) {
        if (!qrbgen::plans::exchangeIdentity(sizeof(T) == 4, k.n)) continue;
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 21u * k.n);
        std::vector<T> swapped(x.size());
        for (int i = 0; i < k.n; ++i) {
            swapped[2 * i] = x[2 * i + 1];
            swapped[2 * i + 1] = x[2 * i];
        }
        for (int flag : kFlags) {
            auto inv = run<T>(k.inv, x, flag);
            // the inverse under flag f scales like the forward under the mirrored flag
            const int mirrored = flag == ScaleFwdByN ? ScaleInvByN : flag == ScaleInvByN ? ScaleFwdByN : flag;
            auto fwd = run<T>(k.fwd, swapped, mirrored);
            for (int i = 0; i < k.n; ++i) {
                EXPECT_TRUE(sameBits(&inv[2 * i], &fwd[2 * i + 1], sizeof(T)) && sameBits(&inv[2 * i + 1], &fwd[2 * i], sizeof(T)))
                    << Types<T>::name << " N=" << k.n << " bin " << i << " flag " << flag;
            }
        }
    }
}

}  // namespace

TEST(DftAccuracy, Single) { accuracy<float>(4e-7); }
TEST(DftAccuracy, Double) { accuracy<double>(1e-15); }
TEST(DftScale, IsTheLastMultiplicationSingle) { scaleIsLast<float>(); }
TEST(DftScale, IsTheLastMultiplicationDouble) { scaleIsLast<double>(); }
TEST(DftValues, ImpulseAndConstantSingle) { impulseAndConstant<float>(); }
TEST(DftValues, ImpulseAndConstantDouble) { impulseAndConstant<double>(); }
TEST(DftValues, RoundTripSingle) { roundTrip<float>(2e-6); }
TEST(DftValues, RoundTripDouble) { roundTrip<double>(4e-15); }
TEST(DftValues, ReversalIdentity) {
    reversal<float>();
    reversal<double>();
}
TEST(DftValues, ExchangeIdentity) {
    exchange<float>();
    exchange<double>();
}
