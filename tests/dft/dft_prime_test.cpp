// The stand-alone prime kernels of 32fc: the complex Rader form, whose
// inverse is its forward kernel mirrored bit for bit and whose exact inputs
// give exact outputs, and the chirp form, which gives them within rounding;
// both against the defining sum.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>

#include "dft_test_util.h"
#include "tables/plan_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

using Fn = Types<float>::Fn;

bool isPrime(int n) {
    if (n < 2) return false;
    for (int d = 2; d * d <= n; ++d)
        if (n % d == 0) return false;
    return true;
}

bool chirpForm(int n) { return std::string(qrbgen::plans::planRow(n)->plan32fc).rfind("chirp", 0) == 0; }

// The 32fc kernels of the primes from 7 on, in one form or the other.
std::vector<Kernel<float>> primes(bool chirp) {
    std::vector<Kernel<float>> v;
    for (const auto& k : kernels<float>())
        if (k.n >= 7 && isPrime(k.n) && chirpForm(k.n) == chirp) v.push_back(k);
    return v;
}

std::vector<float> run(Fn f, const std::vector<float>& x, int flag) {
    std::vector<float> y(x.size());
    EXPECT_EQ(f(reinterpret_cast<const Qrbg32fc*>(x.data()), reinterpret_cast<Qrbg32fc*>(y.data()), flag), StatusOk);
    return y;
}

std::vector<float> constant(int n, float re, float im) {
    std::vector<float> x(2 * static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        x[2 * i] = re;
        x[2 * i + 1] = im;
    }
    return x;
}

// The flag under which the other direction takes the same scale.
int mirrored(int flag) { return flag == ScaleFwdByN ? ScaleInvByN : flag == ScaleInvByN ? ScaleFwdByN : flag; }

}  // namespace

TEST(PrimeKernels, EveryPrimeHasAForm) {
    EXPECT_EQ(primes(false).size(), 13u);
    EXPECT_EQ(primes(true).size(), 2u);
}

// The inverse runs the forward operations with the constants of the odd
// bins negated: its output p - k is the forward output k, output 0 the
// same, under every flag paired with the one that scales alike.
TEST(PrimeKernels, RaderInverseMirrorsTheForward) {
    for (const auto& k : primes(false)) {
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            const auto x = randomReals<float>(2 * static_cast<std::size_t>(k.n), 31u * k.n + seed);
            for (int flag : kFlags) {
                const auto f = run(k.fwd, x, flag), b = run(k.inv, x, mirrored(flag));
                for (int i = 0; i < k.n; ++i) {
                    const int j = (k.n - i) % k.n;
                    ASSERT_TRUE(sameBits(&b[2 * i], &f[2 * j], 2 * sizeof(float)))
                        << "N=" << k.n << " flag " << flag << " bin " << i;
                }
            }
        }
    }
}

// A constant c transforms to c p s at index 0 and exact zeros elsewhere
// wherever every step cancels a constant exactly: c = 1 at the primes
// whose halves have no 7- or 11-point step, any c where no 5-point step
// either (its products by cos 2pi/5 and cos 4pi/5 round for most c).
TEST(PrimeKernels, RaderConstantsCancelExactly) {
    const std::complex<float> cs[] = {{1.0f, 0.0f}, {-0.75f, 1.5f}};
    for (const auto& k : primes(false)) {
        const bool one = k.n == 13 || k.n == 17 || k.n == 19 || k.n == 31 || k.n == 37 || k.n == 41 || k.n == 53 ||
                         k.n == 61;
        const bool any = k.n == 13 || k.n == 17 || k.n == 19 || k.n == 37 || k.n == 53;
        for (const auto& c : cs) {
            if (!(c == cs[0] ? one : any)) continue;
            const auto x = constant(k.n, c.real(), c.imag());
            for (bool inverse : {false, true})
                for (int flag : kFlags) {
                    const auto y = run(inverse ? k.inv : k.fwd, x, flag);
                    const float s = scaleFor<float>(k.n, inverse, flag);
                    EXPECT_EQ(y[0], c.real() * static_cast<float>(k.n) * s) << "N=" << k.n << " flag " << flag;
                    EXPECT_EQ(y[1], c.imag() * static_cast<float>(k.n) * s) << "N=" << k.n << " flag " << flag;
                    for (std::size_t i = 2; i < y.size(); ++i) EXPECT_EQ(y[i], 0.0f) << "N=" << k.n << " slot " << i;
                }
        }
    }
}

// The chirp form runs two transforms of length L and three products
// between: a unit impulse and a constant give their exact values within a
// few units of the last place, relative to the largest output, at s = 1.
TEST(PrimeKernels, ChirpImpulseAndConstantWithinRounding) {
    for (const auto& k : primes(true)) {
        for (bool inverse : {false, true}) {
            const Fn f = inverse ? k.inv : k.fwd;
            std::vector<float> x(2 * static_cast<std::size_t>(k.n), 0.0f);
            x[0] = 1.0f;
            auto y = run(f, x, ScaleNone);
            for (int i = 0; i < k.n; ++i)
                EXPECT_LT(std::hypot(y[2 * i] - 1.0, static_cast<double>(y[2 * i + 1])), 2.5e-7) << "N=" << k.n << " bin " << i;
            for (const std::complex<float> c : {std::complex<float>(1.0f, 0.0f), std::complex<float>(-0.75f, 1.5f)}) {
                y = run(f, constant(k.n, c.real(), c.imag()), ScaleNone);
                const double top = k.n * std::abs(std::complex<double>(c));
                EXPECT_LT(std::abs(std::complex<double>(y[0], y[1]) - std::complex<double>(c) * double(k.n)), 3.2e-7 * top)
                    << "N=" << k.n;
                for (int i = 1; i < k.n; ++i)
                    EXPECT_LT(std::hypot(double(y[2 * i]), double(y[2 * i + 1])), 3.2e-7 * top) << "N=" << k.n << " bin " << i;
            }
        }
    }
}

// Random input against the exact sum, relative to the largest output, in
// both directions and under every flag: the Rader form about 2.4e-7, the
// chirp form, with its longer chain of roundings, up to 3.2e-7.
TEST(PrimeKernels, AccuracyAgainstTheDefiningSum) {
    for (bool chirp : {false, true}) {
        const double bound = chirp ? 3.2e-7 : 2.8e-7;
        for (const auto& k : primes(chirp)) {
            double worst = 0;
            for (std::uint32_t seed = 1; seed <= 16; ++seed) {
                const auto x = randomReals<float>(2 * static_cast<std::size_t>(k.n), 7919u * k.n + seed);
                for (bool inverse : {false, true}) {
                    const auto ref = referenceDft(x, k.n, inverse);
                    for (int flag : kFlags) {
                        const auto y = run(inverse ? k.inv : k.fwd, x, flag);
                        const long double s = scaleFor<double>(k.n, inverse, flag);
                        long double err = 0, top = 0;
                        for (int i = 0; i < k.n; ++i) {
                            err = std::max(err, std::abs(std::complex<long double>(y[2 * i], y[2 * i + 1]) - ref[i] * s));
                            top = std::max(top, std::abs(ref[i] * s));
                        }
                        worst = std::max(worst, static_cast<double>(err / top));
                    }
                }
            }
            EXPECT_LT(worst, bound) << "N=" << k.n;
        }
    }
}
