// Numerical results of the DCT-IV: against an exact reference, at the edge
// values, and through its own inverse.
#include <gtest/gtest.h>

#include <cstdio>

#include "dct4_test_util.h"
#include "test_util.h"

#ifdef QRBGEN_HAVE_FFTWL
#include <fftw3.h>
#endif

using namespace dct4test;

namespace {

template <class T>
class Dct4Accuracy : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Dct4Accuracy, Precisions);

template <class T>
std::vector<T> transform(const std::vector<T>& x) {
    Dct4Spec* spec = nullptr;
    EXPECT_EQ(Api<T>::initAlloc(&spec, static_cast<int32_t>(x.size())), StatusOk);
    std::vector<T> y(x.size());
    EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
    EXPECT_EQ(Api<T>::free(spec), StatusOk);
    return y;
}

// The error figures are root-mean-square values over many inputs: short
// lengths are measured on enough random vectors for the mean to settle.
TYPED_TEST(Dct4Accuracy, MatchesReferenceUpTo4096) {
    using T = TypeParam;
    for (int32_t N = 2; N <= 4096; N *= 2) {
        std::vector<T> got;
        std::vector<long double> want;
        for (int t = 0; t < (N >= 1024 ? 1 : 2048 / N); ++t) {
            const auto x = qrbtest::randomReals<T>(N, 1000 * t + N);
            const auto y = transform(x);
            const auto ref = referenceDct4(x);
            got.insert(got.end(), y.begin(), y.end());
            want.insert(want.end(), ref.begin(), ref.end());
        }
        const double err = relRms(got, want);
        EXPECT_LT(err, accuracyBound<T>(N)) << "N = " << N;
        std::printf("  N = %5d  relative rms error %.3g\n", N, err);
    }
}

TYPED_TEST(Dct4Accuracy, EdgeValuesOfTheSmallestLengths) {
    using T = TypeParam;
    const double tol = sizeof(T) == 4 ? 1e-6 : 1e-14;
    const auto y2 = transform<T>({1, 0});
    EXPECT_NEAR(y2[0], 0.9238795325112867, tol);
    EXPECT_NEAR(y2[1], 0.3826834323650898, tol);
    const auto y2b = transform<T>({0, 1});
    EXPECT_NEAR(y2b[0], 0.3826834323650898, tol);
    EXPECT_NEAR(y2b[1], -0.9238795325112867, tol);
    const auto y4 = transform<T>({1, 0, 0, 0});
    const double e4[] = {0.9807852804032304, 0.8314696123025452, 0.5555702330196022, 0.1950903220161283};
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(y4[k], e4[k], tol) << k;
}

// The transform is its own inverse up to N/2: a wrong index map or twiddle
// anywhere in the tree breaks this at once, at lengths where an O(N^2)
// reference would be too slow.
TYPED_TEST(Dct4Accuracy, AppliedTwiceGivesHalfNTimesTheInput) {
    using T = TypeParam;
    for (int32_t N = 2; N <= (1 << 16); N *= 2) {
        const auto x = qrbtest::randomReals<T>(N, 7 * N);
        EXPECT_LT(roundTripError(x, transform(transform(x))), 3 * accuracyBound<T>(N)) << "N = " << N;
    }
}

// Up to 2^20 on every build: the double-precision transform is the reference
// of the single-precision one (its own error is a billionth of the bound).
TEST(Dct4AccuracyLong, SingleAgainstDoubleUpTo2To20) {
    for (int32_t N = 8192; N <= (1 << 20); N *= 2) {
        const auto x = qrbtest::randomReals<float>(N, 99 + N);
        const std::vector<double> xd(x.begin(), x.end());
        const auto yd = transform(xd);
        const double err = relRms(transform(x), std::vector<long double>(yd.begin(), yd.end()));
        EXPECT_LT(err, accuracyBound<float>(N)) << "N = " << N;
        std::printf("  N = %8d  relative rms error %.3g\n", N, err);
    }
}

#ifdef QRBGEN_HAVE_FFTWL
// FFTW's long-double REDFT11 is twice this transform.
TYPED_TEST(Dct4Accuracy, MatchesLongDoubleFftwUpTo2To20) {
    using T = TypeParam;
    for (int32_t N = 64; N <= (1 << 20); N *= 2) {
        const auto x = qrbtest::randomReals<T>(N, 77 + N);
        std::vector<long double> in(x.begin(), x.end()), out(N);
        fftwl_plan p = fftwl_plan_r2r_1d(N, in.data(), out.data(), FFTW_REDFT11, FFTW_ESTIMATE);
        fftwl_execute(p);
        fftwl_destroy_plan(p);
        for (auto& v : out) v /= 2;
        const double err = relRms(transform(x), out);
        EXPECT_LT(err, accuracyBound<T>(N)) << "N = " << N;
        std::printf("  N = %8d  relative rms error %.3g\n", N, err);
    }
}
#endif

}  // namespace
