// The exported DCT-IV operations: sizes, statuses and their order, the
// plans Free and compute recognise, memory bounds at every block alignment,
// ownership through InitAlloc and Free (the program's own qrbMalloc and
// qrbFree count, fail and hold blocks: alloc_hook.h), and the invariants of
// compute (in place, any alignment, repeatable). Plans shared between
// threads: concurrency_test.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "alloc_hook.h"
#include "dct4_test_util.h"
#include "test_util.h"

using namespace dct4test;
using qrbtest::allocLog;

namespace {

template <class T>
class Dct4Api : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Dct4Api, Precisions);

template <class T>
bool allEqual(const std::vector<T>& v, T x) {
    return std::all_of(v.begin(), v.end(), [x](T a) { return a == x; });
}

// Up to 32 points a plan is the root alone; up to 2048 the tree has no split
// of the first stage, so the size grows by two scratch-sized areas (the last
// stage's table and the root's scratch). The 32-bit build has the record
// sizes of the documented figures, which it must give exactly. The size
// pointer is tested before the length and may sit at any address.
TYPED_TEST(Dct4Api, Sizes) {
    using T = TypeParam;
    int32_t s2 = 0, s64 = 0;
    ASSERT_EQ(Api<T>::getSize(2, &s2), StatusOk);
    ASSERT_EQ(Api<T>::getSize(64, &s64), StatusOk);
    for (int32_t N = 4; N <= 2048; N *= 2) {
        int32_t s = 0;
        ASSERT_EQ(Api<T>::getSize(N, &s), StatusOk);
        if (N <= 32) EXPECT_EQ(s, s2) << N;
        else EXPECT_EQ(s - s64, 2 * int32_t(sizeof(T)) * (N - 64)) << N;
    }
    if (sizeof(void*) == 4) {
        const int64_t f32[] = {224,      224,      224,      224,       224,       1632,      2144,      3168,
                               5216,     9312,     17504,    52768,     103968,    206112,    410912,    820000,
                               2164960,  4327648,  8652768,  17303520,  34604512,  85986208,  171969440, 343935648,
                               687868576, 1375733920};
        const int64_t f64[] = {224,      224,      224,      224,       224,       2144,      3168,      5216,
                               9312,     17504,    33888,    101920,    202272,    402720,    804128,    1606432,
                               4262112,  8521952,  17041376, 34080736,  68158944,  169872288, 339741600, 679479968,
                               1358957216};
        for (int32_t k = 1; k <= Api<T>::maxLog; ++k) {
            int32_t s = -1;
            ASSERT_EQ(Api<T>::getSize(1 << k, &s), StatusOk) << k;
            EXPECT_EQ(s, (sizeof(T) == 4 ? f32 : f64)[k - 1]) << "N = 2^" << k;
        }
    }
    EXPECT_EQ(Api<T>::getSize(64, nullptr), StatusNullPointer);
    EXPECT_EQ(Api<T>::getSize(3, nullptr), StatusNullPointer) << "the pointer is tested before the length";
    alignas(16) unsigned char raw[32] = {};
    ASSERT_EQ(Api<T>::getSize(64, reinterpret_cast<int32_t*>(raw + 3)), StatusOk);
    int32_t size = 0;
    std::memcpy(&size, raw + 3, sizeof size);
    EXPECT_EQ(size, s64);
    ASSERT_EQ(Api<T>::initAlloc(reinterpret_cast<Dct4Spec**>(raw + 9), 64), StatusOk);
    Dct4Spec* spec = nullptr;
    std::memcpy(&spec, raw + 9, sizeof spec);
    EXPECT_EQ(Api<T>::free(spec), StatusOk);
}

// Null pointers come first, then the length; a refused call writes no
// output, touches no block and keeps no allocation, also when qrbMalloc
// fails (StatusNullPointer). A failed Init leaves the block fit for the
// next one.
TYPED_TEST(Dct4Api, RefusedArguments) {
    using T = TypeParam;
    std::vector<int32_t> refused = {0, 1, 3, 6, 12, 33, 48, 65, 96, 100, -4, -64, 1 << 27, 1 << 28, 1 << 29,
                                    1 << 30, INT_MAX, INT_MIN, 3 << 10, (1 << 20) + 2};
    if (sizeof(T) == 8) refused.push_back(1 << 26);
    std::vector<unsigned char> block(1 << 18, 0x5A);  // holds a plan of 4096 points
    Dct4Spec* const marker = reinterpret_cast<Dct4Spec*>(&block);
    Dct4Spec* spec = marker;
    const long live = allocLog().live;
    for (int32_t N : refused) {
        int32_t s = 12345;
        EXPECT_EQ(Api<T>::getSize(N, &s), StatusBadSize) << N;
        EXPECT_EQ(s, 12345) << N;
        EXPECT_EQ(Api<T>::init(&spec, N, block.data()), StatusBadSize) << N;
        EXPECT_EQ(Api<T>::initAlloc(&spec, N), StatusBadSize) << N;
        EXPECT_EQ(spec, marker) << N;
        EXPECT_EQ(allocLog().live, live) << "allocated for " << N;
    }
    std::fill(block.begin(), block.end(), 0x5A);
    for (int32_t N : {64, 3}) {
        EXPECT_EQ(Api<T>::init(nullptr, N, block.data()), StatusNullPointer);
        EXPECT_EQ(Api<T>::init(&spec, N, nullptr), StatusNullPointer);
        EXPECT_EQ(Api<T>::initAlloc(nullptr, N), StatusNullPointer);
    }
    EXPECT_TRUE(allEqual(block, static_cast<unsigned char>(0x5A)));
    EXPECT_EQ(Api<T>::free(nullptr), StatusNullPointer);
    allocLog().failNext = 1;
    EXPECT_EQ(Api<T>::initAlloc(&spec, 1024), StatusNullPointer);
    allocLog().failNext = 0;
    EXPECT_EQ(spec, marker);
    EXPECT_EQ(allocLog().live, live);

    for (int32_t N : {16, 64, 4096}) {
        ASSERT_EQ(Api<T>::init(&spec, N, block.data()), StatusOk);
        std::vector<T> x(N, T(1)), y(N, T(7));
        EXPECT_EQ(Api<T>::run(nullptr, y.data(), spec), StatusNullPointer);
        EXPECT_EQ(Api<T>::run(x.data(), nullptr, spec), StatusNullPointer);
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), nullptr), StatusNullPointer);
        EXPECT_TRUE(allEqual(y, T(7)));
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
    }
}

// Free and compute take only a plan of their own precision that Init left
// as it is: a plan of the other precision, memory that holds no plan (zeros,
// random bytes at any offset, a copy of a plan at another address), a plan
// already freed (while the test's allocator holds the memory back) and what
// a failed Init left over a plan are all StatusBadRule, with nothing read
// from the source, written, or released.
TYPED_TEST(Dct4Api, OnlyLivePlansOfItsOwnPrecisionAreTaken) {
    using T = TypeParam;
    using U = std::conditional_t<sizeof(T) == 4, double, float>;
    std::vector<T> x(1 << 13, T(1)), y(1 << 13, T(7));
    // bytes: the memory at mem that must stay as it is.
    const auto refused = [&](void* spec, const unsigned char* mem, std::size_t bytes, const std::string& what) {
        const std::vector<unsigned char> before(mem, mem + bytes);
        const long frees = allocLog().frees;
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), static_cast<Dct4Spec*>(spec)), StatusBadRule) << what;
        EXPECT_EQ(Api<T>::run(y.data(), y.data(), static_cast<Dct4Spec*>(spec)), StatusBadRule) << what;
        EXPECT_EQ(Api<T>::free(static_cast<Dct4Spec*>(spec)), StatusBadRule) << what;
        EXPECT_EQ(allocLog().frees, frees) << what << ": released";
        EXPECT_TRUE(std::equal(before.begin(), before.end(), mem)) << what << ": touched";
        EXPECT_TRUE(allEqual(y, T(7))) << what << ": written";
    };
    for (int32_t N : {16, 64, 4096}) {
        int32_t size = 0;
        ASSERT_EQ(Api<U>::getSize(N, &size), StatusOk);
        std::vector<unsigned char> block(size);
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<U>::init(&spec, N, block.data()), StatusOk);
        refused(spec, block.data(), block.size(), "plan of the other precision, N " + std::to_string(N));
        std::vector<U> u(N, U(1)), v(N);
        EXPECT_EQ(Api<U>::run(u.data(), v.data(), spec), StatusOk) << "the plan still works in its own precision";
    }
    alignas(64) unsigned char zeros[256] = {};
    refused(zeros, zeros, sizeof zeros, "zeros");
    alignas(64) unsigned char garbage[512];
    std::mt19937 gen(17);
    for (int round = 0; round < 200; ++round) {
        for (auto& c : garbage) c = static_cast<unsigned char>(gen());
        refused(garbage + 32 * (round % 2) + (round % 3 == 0 ? 0 : 4 * (round % 8)), garbage, sizeof garbage,
                "random bytes");
    }
    int32_t size = 0;
    ASSERT_EQ(Api<T>::getSize(4096, &size), StatusOk);
    std::vector<unsigned char> block(size + 64), copy(size + 64);
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(Api<T>::init(&spec, 4096, block.data()), StatusOk);
    copy = block;  // its records still point into the original block, which a plan never does
    refused(copy.data() + (reinterpret_cast<unsigned char*>(spec) - block.data()), copy.data(), copy.size(),
            "moved plan");
    Dct4Spec* again = nullptr;
    for (int32_t bad : {48, 3 << 10, 1 << 27}) {
        ASSERT_EQ(Api<T>::init(&again, bad, block.data()), StatusBadSize);
        EXPECT_EQ(again, nullptr);
        refused(spec, block.data(), block.size(), "plan left by a failed Init of " + std::to_string(bad));
    }
    allocLog().holdFrees = true;
    for (int32_t N : {2, 32, 64, 1 << 13}) {
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        ASSERT_EQ(Api<T>::free(spec), StatusOk);
        refused(spec, nullptr, 0, "freed plan, N " + std::to_string(N));
    }
    qrbtest::releaseHeld();
}

// InitAlloc takes one block, 32-byte aligned, and Free gives back the whole
// tree: the arena cursor (the block's first word) is at the arena's start
// when the block is released.
TYPED_TEST(Dct4Api, FreeReleasesTheWholeTree) {
    using T = TypeParam;
    const long live = allocLog().live;
    allocLog().holdFrees = true;
    for (int32_t N = 2; N <= (1 << 17); N *= 2) {
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        EXPECT_EQ(allocLog().live, live + 1);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(spec) % 32, 0u);
        EXPECT_EQ(Api<T>::free(spec), StatusOk);
        const auto block = reinterpret_cast<std::uintptr_t>(allocLog().lastFreed);
        std::uintptr_t cursor;
        std::memcpy(&cursor, allocLog().lastFreed, sizeof cursor);
        EXPECT_EQ(cursor, block + 64 - block % 32) << "N = " << N << ": teardown did not bring the cursor back";
    }
    qrbtest::releaseHeld();
    EXPECT_EQ(allocLog().live, live);
}

// Init at every remainder modulo 32, with the block's reported size ending
// where a few guard bytes and then an inaccessible page begin: no byte past
// the reported size is touched, by Init or by compute. Every alignment of
// the block, repeated calls, src and dst at other element offsets and in
// place give the same bits.
TYPED_TEST(Dct4Api, SameBitsAtAnyPlaceWithinReportedSize) {
    using T = TypeParam;
    std::vector<int32_t> lengths;
    for (int32_t N = 2; N <= (1 << 14); N *= 2) lengths.push_back(N);
    lengths.push_back(1 << 17);
    for (int32_t N : lengths) {
        int32_t size = 0;
        ASSERT_EQ(Api<T>::getSize(N, &size), StatusOk);
        const auto x = qrbtest::randomReals<T>(N, 5 + N);
        const std::size_t bytes = N * sizeof(T);
        std::vector<T> ref;
        for (int r = 0; r < 32; r += (N > 4096 ? 7 : 1)) {
            const int slack = (32 - r) % 32;
            qrbtest::PageEndBuffer buf(static_cast<std::size_t>(size) + slack);
            unsigned char* mem = buf.data();
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(mem) % 32, static_cast<std::uintptr_t>(r));
            std::memset(mem + size, 0xC3, slack);
            Dct4Spec* spec = nullptr;
            ASSERT_EQ(Api<T>::init(&spec, N, mem), StatusOk);
            const auto off = reinterpret_cast<unsigned char*>(spec) - mem;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(spec) % 32, 0u);
            EXPECT_TRUE(off >= 33 && off <= 64 && (r != 0 || off == 64)) << off;
            std::vector<T> y(N);
            ASSERT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
            for (int i = 0; i < slack; ++i) ASSERT_EQ(mem[size + i], 0xC3) << "byte past the block written";
            if (ref.empty()) ref = y;
            EXPECT_TRUE(qrbtest::sameBits(ref.data(), y.data(), bytes)) << "N " << N << " r " << r;
            if (r != 0) continue;
            std::vector<T> again(N), inplace = x;
            ASSERT_EQ(Api<T>::run(x.data(), again.data(), spec), StatusOk);
            ASSERT_EQ(Api<T>::run(inplace.data(), inplace.data(), spec), StatusOk);
            EXPECT_TRUE(qrbtest::sameBits(ref.data(), again.data(), bytes)) << N;
            EXPECT_TRUE(qrbtest::sameBits(ref.data(), inplace.data(), bytes)) << N;
            for (std::size_t so : {1, 3})
                for (std::size_t dof : {0, 2}) {
                    qrbtest::Buffer sb(bytes, so * sizeof(T)), db(bytes, dof * sizeof(T));
                    std::memcpy(sb.data(), x.data(), bytes);
                    ASSERT_EQ(Api<T>::run(sb.as<T>(), db.as<T>(), spec), StatusOk);
                    EXPECT_TRUE(qrbtest::sameBits(ref.data(), db.data(), bytes) && db.guardsIntact()) << N;
                }
        }
    }
}

// From 4 MiB of data on, compute writes whole cache lines around the
// caches, and only where the lines are whole: a plan block or a destination
// off a line boundary takes ordinary stores. Both ways give the same bits,
// with nothing written outside the destination.
TYPED_TEST(Dct4Api, StreamedLengthsGiveSameBitsAtEveryLineOffset) {
    using T = TypeParam;
    const int32_t N = static_cast<int32_t>((4 << 20) / sizeof(T));
    int32_t size = 0;
    ASSERT_EQ(Api<T>::getSize(N, &size), StatusOk);
    const std::size_t bytes = N * sizeof(T);
    const auto x = qrbtest::randomReals<T>(N, 77);
    std::vector<T> ref;
    for (std::size_t blockOff : {0, 32})
        for (std::size_t dstOff : {0, 16, 32}) {
            if (blockOff != 0 && dstOff != 0) continue;
            qrbtest::Buffer block(static_cast<std::size_t>(size), blockOff), dst(bytes, dstOff);
            Dct4Spec* spec = nullptr;
            ASSERT_EQ(Api<T>::init(&spec, N, block.data()), StatusOk);
            ASSERT_EQ(Api<T>::run(x.data(), dst.as<T>(), spec), StatusOk);
            EXPECT_TRUE(dst.guardsIntact()) << blockOff << " " << dstOff;
            if (ref.empty()) ref.assign(dst.as<T>(), dst.as<T>() + N);
            EXPECT_TRUE(qrbtest::sameBits(ref.data(), dst.data(), bytes)) << blockOff << " " << dstOff;
        }
}

}  // namespace
