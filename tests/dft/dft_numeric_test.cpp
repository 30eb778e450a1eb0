// What the complex kernels compute, at every built length, both directions
// and types: accuracy against the exact sum, exact values of impulses and
// constants, the round trip, and the mirror identities between forward and
// inverse. The 32fc primes from 7 on are built in Rader form, or in chirp
// form (47, 59), which gives exact values only within rounding.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>

#include "kernel_table.h"
#include "tables/plan_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

template <class T>
constexpr Type kType = sizeof(T) == 4 ? Type::C32 : Type::C64;

template <class T>
std::vector<T> run(const KernelInfo& k, const std::vector<T>& x, int flag) {
    std::vector<T> y(x.size());
    EXPECT_EQ(k.call(x.data(), y.data(), flag), StatusOk) << k.name;
    return y;
}

std::vector<float> constant(int n, std::complex<float> c) {
    std::vector<float> x(2 * static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) x[2 * i] = c.real(), x[2 * i + 1] = c.imag();
    return x;
}

bool isPrime(int n) {
    for (int d = 2; d * d <= n; ++d)
        if (n % d == 0) return false;
    return n >= 2;
}

template <class T>
bool chirpForm(int n) {
    return sizeof(T) == 4 && std::string(qrbgen::plans::planRow(n)->plan32fc).rfind("chirp", 0) == 0;
}

// The flag under which the other direction takes the same scale.
int mirrored(int flag) { return flag == ScaleFwdByN ? ScaleInvByN : flag == ScaleInvByN ? ScaleFwdByN : flag; }

// Random input against the exact sum, relative to the largest output, in
// both directions and under every flag. The 32fc primes from 7 on are held
// tighter, on more inputs: the Rader form to 2.8e-7, the chirp form, with
// its longer chain of roundings, to 3.2e-7.
template <class T>
void accuracy() {
    for (auto [fwd, inv] : complexPairs(kType<T>)) {
        const int n = fwd->n;
        const bool prime32 = sizeof(T) == 4 && n >= 7 && isPrime(n);
        const double bound = sizeof(T) == 8 ? 1e-15 : !prime32 ? 4e-7 : chirpForm<T>(n) ? 3.2e-7 : 2.8e-7;
        for (std::uint32_t trial = 0; trial < (prime32 ? 16u : 3u); ++trial) {
            const std::uint32_t seed = prime32 ? 7919u * n + trial + 1 : 1000u * n + trial;
            const auto x = randomReals<T>(2 * static_cast<std::size_t>(n), seed);
            for (bool inverse : {false, true}) {
                const auto ref = referenceDft(x, n, inverse);
                for (int flag : kFlags) {
                    const KernelInfo& k = inverse ? *inv : *fwd;
                    const auto y = run<T>(k, x, flag);
                    const long double s = scaleConstant<double>(k, flag);
                    long double err = 0, top = 0;
                    for (int i = 0; i < n; ++i) {
                        err = std::max(err, std::abs(std::complex<long double>(y[2 * i], y[2 * i + 1]) - ref[i] * s));
                        top = std::max(top, std::abs(ref[i] * s));
                    }
                    EXPECT_LT(static_cast<double>(err / top), bound) << k.name << " flag " << flag;
                }
            }
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

// A unit impulse gives s in every bin. A constant c gives c N s at index 0,
// the sum being exact, and zeros elsewhere, under every flag: c = 1 at
// every length, and c = -0.75 + 1.5i too at the primes whose networks
// cancel any constant exactly (in 32fc not those with a 5-point step in
// their halves, whose products by cos 2pi/5 and cos 4pi/5 round for most c).
template <class T>
void impulseAndConstant() {
    for (auto [fwd, inv] : complexPairs(kType<T>)) {
        const int n = fwd->n;
        if (chirpForm<T>(n)) continue;
        const bool anyConstant = sizeof(T) == 8 ? n == 13 || n == 17 || n == 19 || n == 31 || n == 37 || n == 41 ||
                                                      n == 53 || n == 61
                                                : n == 13 || n == 17 || n == 19 || n == 37 || n == 53;
        const T tol = hasSevenOrElevenStep(n) ? T(64) * std::numeric_limits<T>::epsilon() : T(0);
        for (const KernelInfo* k : {fwd, inv}) {
            for (int flag : kFlags) {
                const T s = scaleConstant<T>(*k, flag);
                std::vector<T> x(2 * static_cast<std::size_t>(n), T(0));
                x[0] = 1;
                auto y = run<T>(*k, x, flag);
                for (int i = 0; i < n; ++i) {
                    EXPECT_EQ(y[2 * i], s) << k->name << " bin " << i;
                    EXPECT_EQ(y[2 * i + 1], T(0)) << k->name << " bin " << i;
                }
                for (std::complex<T> c : {std::complex<T>(1, 0), std::complex<T>(-0.75, 1.5)}) {
                    if (c.imag() != 0 && !anyConstant) continue;
                    for (int i = 0; i < n; ++i) x[2 * i] = c.real(), x[2 * i + 1] = c.imag();
                    y = run<T>(*k, x, flag);
                    EXPECT_EQ(y[0], T(c.real() * T(n)) * s) << k->name << " flag " << flag;
                    EXPECT_EQ(y[1], T(c.imag() * T(n)) * s) << k->name << " flag " << flag;
                    for (std::size_t i = 2; i < y.size(); ++i) EXPECT_LE(std::fabs(y[i]), tol) << k->name << " slot " << i;
                }
            }
        }
    }
}

template <class T>
void roundTrip(double bound) {
    for (auto [fwd, inv] : complexPairs(kType<T>)) {
        auto x = randomReals<T>(2 * static_cast<std::size_t>(fwd->n), 5u * fwd->n);
        const std::pair<int, int> pairs[] = {
            {ScaleFwdByN, ScaleFwdByN}, {ScaleNone, ScaleInvByN}, {ScaleBySqrtN, ScaleBySqrtN}};
        for (auto [ff, fi] : pairs) {
            auto back = run<T>(*inv, run<T>(*fwd, x, ff), fi);
            double err = 0;
            for (std::size_t i = 0; i < x.size(); ++i) err = std::max(err, std::fabs(double(back[i]) - double(x[i])));
            EXPECT_LT(err, bound) << fwd->name << " flags " << ff << "," << fi;
        }
    }
}

// Forward and inverse run the same network; the join places each pair the
// other way round (the Rader kernels negate the constants of the odd bins),
// so inverse X[k] is forward X[N-k] bit for bit, under every flag paired
// with the one that scales alike.
template <class T>
void reversal() {
    for (auto [fwd, inv] : complexPairs(kType<T>)) {
        const int n = fwd->n;
        if (!qrbgen::plans::reversalIdentity(sizeof(T) == 4, n)) continue;
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            const auto x = randomReals<T>(2 * static_cast<std::size_t>(n), 31u * n + seed);
            for (int flag : kFlags) {
                const auto f = run<T>(*fwd, x, flag), b = run<T>(*inv, x, mirrored(flag));
                for (int i = 0; i < n; ++i)
                    ASSERT_TRUE(sameBits(&b[2 * i], &f[2 * ((n - i) % n)], 2 * sizeof(T)))
                        << fwd->name << " flag " << flag << " bin " << i;
            }
        }
    }
}

// Exchange: the inverse equals the forward transform of the input with real
// and imaginary parts exchanged, with the parts of the result exchanged.
template <class T>
void exchange() {
    for (auto [fwd, inv] : complexPairs(kType<T>)) {
        const int n = fwd->n;
        if (!qrbgen::plans::exchangeIdentity(sizeof(T) == 4, n)) continue;
        auto x = randomReals<T>(2 * static_cast<std::size_t>(n), 21u * n);
        std::vector<T> swapped(x.size());
        for (int i = 0; i < n; ++i) swapped[2 * i] = x[2 * i + 1], swapped[2 * i + 1] = x[2 * i];
        for (int flag : kFlags) {
            const auto b = run<T>(*inv, x, flag), f = run<T>(*fwd, swapped, mirrored(flag));
            for (int i = 0; i < n; ++i)
                EXPECT_TRUE(sameBits(&b[2 * i], &f[2 * i + 1], sizeof(T)) && sameBits(&b[2 * i + 1], &f[2 * i], sizeof(T)))
                    << inv->name << " bin " << i << " flag " << flag;
        }
    }
}

}  // namespace

TEST(DftAccuracy, Single) { accuracy<float>(); }
TEST(DftAccuracy, Double) { accuracy<double>(); }
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

// The chirp form runs two transforms of length L and three products
// between: a unit impulse and a constant give their exact values within a
// few units of the last place, relative to the largest output, at s = 1.
TEST(DftValues, ChirpImpulseAndConstantWithinRounding) {
    int checked = 0;
    for (auto [fwd, inv] : complexPairs(Type::C32)) {
        if (!chirpForm<float>(fwd->n)) continue;
        ++checked;
        const int n = fwd->n;
        for (const KernelInfo* k : {fwd, inv}) {
            std::vector<float> x(2 * static_cast<std::size_t>(n), 0.0f);
            x[0] = 1.0f;
            auto y = run<float>(*k, x, ScaleNone);
            for (int i = 0; i < n; ++i)
                EXPECT_LT(std::hypot(y[2 * i] - 1.0, static_cast<double>(y[2 * i + 1])), 2.5e-7) << k->name << " bin " << i;
            for (const std::complex<float> c : {std::complex<float>(1.0f, 0.0f), std::complex<float>(-0.75f, 1.5f)}) {
                y = run<float>(*k, constant(n, c), ScaleNone);
                const double top = n * std::abs(std::complex<double>(c));
                EXPECT_LT(std::abs(std::complex<double>(y[0], y[1]) - std::complex<double>(c) * double(n)), 3.2e-7 * top)
                    << k->name;
                for (int i = 1; i < n; ++i)
                    EXPECT_LT(std::hypot(double(y[2 * i]), double(y[2 * i + 1])), 3.2e-7 * top) << k->name << " bin " << i;
            }
        }
    }
    EXPECT_EQ(checked, 2);
}
