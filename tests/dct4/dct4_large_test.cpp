// The largest lengths, 2^26 points in single and 2^25 in double precision
// (blocks of 1.3 GB), and the lengths just below. They take seconds natively
// and far longer under an emulator, so they run on demand only: set
// QRBG_DCT4_LARGE=1.
#include <gtest/gtest.h>

#include <cstdlib>

#include "dct4_test_util.h"
#include "test_util.h"

using namespace dct4test;

namespace {

template <class T>
class Dct4Large : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Dct4Large, Precisions);

TYPED_TEST(Dct4Large, LargestLengthsBuildComputeAndFree) {
    using T = TypeParam;
    if (!std::getenv("QRBG_DCT4_LARGE")) GTEST_SKIP() << "set QRBG_DCT4_LARGE=1 to run";
    for (int32_t k = 21; k <= Api<T>::maxLog; ++k) {
        const int32_t N = 1 << k;
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk) << N;
        const auto x = qrbtest::randomReals<T>(N, k);
        std::vector<T> y(N), z(N);
        ASSERT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
        ASSERT_EQ(Api<T>::run(y.data(), z.data(), spec), StatusOk);
        const double err = roundTripError(x, z);
        EXPECT_LT(err, 3 * accuracyBound<T>(N)) << N;
        std::printf("  N = 2^%d  round trip rms error %.3g\n", k, err);
        ASSERT_EQ(Api<T>::free(spec), StatusOk);
    }
}

}  // namespace
