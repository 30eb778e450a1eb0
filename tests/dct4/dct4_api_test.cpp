// The exported DCT-IV operations: sizes, statuses and their order, memory
// bounds at every block alignment, ownership through InitAlloc and Free, and
// the invariants of compute (in place, any alignment, repeatable, shareable
// up to 32 points).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

#include "dct4_test_util.h"
#include "test_util.h"

using namespace dct4test;

// ---- Allocation service seen from the library -----------------------------------
// The test program exports its own qrbMalloc and qrbFree, which the library
// binds to before the companion library: they count blocks, can be told to
// fail, look at the arena cursor of every block given back, and can hold
// released blocks back from the allocator, so that what a stale pointer
// reads is still the plan's memory.
namespace {
int gFailNext = 0;
long gLive = 0;
long gFrees = 0;
bool gCursorAtStartOnFree = true;
bool gHoldFrees = false;
std::vector<void*> gHeld;
using MallocFn = void* (*)(int32_t);
using FreeFn = void (*)(void*);
MallocFn realMalloc() { return reinterpret_cast<MallocFn>(dlsym(RTLD_NEXT, "qrbMalloc")); }
FreeFn realFree() { return reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "qrbFree")); }
std::uintptr_t arenaStart(const void* block) {
    const auto a = reinterpret_cast<std::uintptr_t>(block);
    return a + 64 - a % 32;
}
std::uintptr_t cursorOf(const void* block) {
    std::uintptr_t c;
    std::memcpy(&c, block, sizeof c);
    return c;
}
}  // namespace

extern "C" __attribute__((visibility("default"))) void* qrbMalloc(int32_t size) {
    if (gFailNext > 0) {
        --gFailNext;
        return nullptr;
    }
    void* p = realMalloc()(size);
    if (p) ++gLive;
    return p;
}
extern "C" __attribute__((visibility("default"))) void qrbFree(void* p) {
    ++gFrees;
    if (p) {
        --gLive;
        if (cursorOf(p) != arenaStart(p)) gCursorAtStartOnFree = false;
    }
    if (gHoldFrees && p)
        gHeld.push_back(p);
    else
        realFree()(p);
}

namespace {

template <class T>
class Dct4Api : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Dct4Api, Precisions);

constexpr int32_t kRefused[] = {0, 1, 3, 6, 12, 33, 48, 65, 96, 100, -4, -64, 1 << 27, 1 << 28, 1 << 29, 1 << 30,
                                INT_MAX, INT_MIN, 3 << 10, (1 << 20) + 2};

template <class T>
std::vector<int32_t> refusedLengths() {
    std::vector<int32_t> v(std::begin(kRefused), std::end(kRefused));
    if (sizeof(T) == 8) v.push_back(1 << 26);
    return v;
}

TYPED_TEST(Dct4Api, GetSizeOfSmallLengthsAndTheFlatRegion) {
    using T = TypeParam;
    int32_t s2 = 0;
    ASSERT_EQ(Api<T>::getSize(2, &s2), StatusOk);
    for (int32_t N = 4; N <= 32; N *= 2) {
        int32_t s = 0;
        ASSERT_EQ(Api<T>::getSize(N, &s), StatusOk);
        EXPECT_EQ(s, s2) << "lengths up to 32 need the root alone";
    }
    // Up to 2048 the tree has no split of the first stage: two scratch-sized
    // areas (the last stage's table and the root's scratch) plus nodes.
    int32_t s64 = 0;
    ASSERT_EQ(Api<T>::getSize(64, &s64), StatusOk);
    for (int32_t N = 128; N <= 2048; N *= 2) {
        int32_t s = 0;
        ASSERT_EQ(Api<T>::getSize(N, &s), StatusOk);
        EXPECT_EQ(s - s64, 2 * int32_t(sizeof(T)) * (N - 64)) << N;
    }
    if (sizeof(void*) == 4) {
        EXPECT_EQ(s2, 224);
        EXPECT_EQ(s64, sizeof(T) == 4 ? 1632 : 2144);
    }
}

// The figures of the 32-bit build, which has the record sizes they count.
TYPED_TEST(Dct4Api, GetSizeTableOf32BitBuild) {
    using T = TypeParam;
    if (sizeof(void*) != 4) GTEST_SKIP() << "figures are those of 32-bit pointers";
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

TYPED_TEST(Dct4Api, RefusedLengths) {
    using T = TypeParam;
    std::vector<unsigned char> block(1 << 18);  // holds a plan of 4096 points
    for (int32_t N : refusedLengths<T>()) {
        int32_t s = 12345;
        EXPECT_EQ(Api<T>::getSize(N, &s), StatusBadSize) << N;
        EXPECT_EQ(s, 12345) << N;
        Dct4Spec* spec = reinterpret_cast<Dct4Spec*>(&s);  // a marker: must stay
        EXPECT_EQ(Api<T>::init(&spec, N, block.data()), StatusBadSize) << N;
        EXPECT_EQ(spec, reinterpret_cast<Dct4Spec*>(&s)) << N;
        const long live = gLive;
        EXPECT_EQ(Api<T>::initAlloc(&spec, N), StatusBadSize) << N;
        EXPECT_EQ(gLive, live) << "nothing allocated for " << N;
        EXPECT_EQ(spec, reinterpret_cast<Dct4Spec*>(&s)) << N;
    }
    // A failed Init leaves the block fit for the next one.
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(Api<T>::init(&spec, 4096, block.data()), StatusOk);
    std::vector<T> x(4096, T(1)), y(4096);
    EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
}

TYPED_TEST(Dct4Api, NullPointersComeFirst) {
    using T = TypeParam;
    std::vector<unsigned char> block(4096, 0x5A);
    Dct4Spec* spec = nullptr;
    EXPECT_EQ(Api<T>::init(nullptr, 64, block.data()), StatusNullPointer);
    EXPECT_EQ(Api<T>::init(&spec, 64, nullptr), StatusNullPointer);
    EXPECT_EQ(Api<T>::init(&spec, 3, nullptr), StatusNullPointer);
    EXPECT_EQ(Api<T>::init(nullptr, 3, block.data()), StatusNullPointer);
    EXPECT_TRUE(std::all_of(block.begin(), block.end(), [](unsigned char c) { return c == 0x5A; }));
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(Api<T>::initAlloc(nullptr, 64), StatusNullPointer);
    EXPECT_EQ(Api<T>::initAlloc(nullptr, 3), StatusNullPointer);
    EXPECT_EQ(Api<T>::free(nullptr), StatusNullPointer);

    for (int32_t N : {16, 64}) {
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        std::vector<T> x(N, T(1)), y(N, T(7));
        EXPECT_EQ(Api<T>::run(nullptr, y.data(), spec), StatusNullPointer);
        EXPECT_EQ(Api<T>::run(x.data(), nullptr, spec), StatusNullPointer);
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), nullptr), StatusNullPointer);
        EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](T v) { return v == T(7); }));
        EXPECT_EQ(Api<T>::free(spec), StatusOk);
    }
}

TYPED_TEST(Dct4Api, NullSizePointer) {
    using T = TypeParam;
    EXPECT_EQ(Api<T>::getSize(64, nullptr), StatusNullPointer);
    EXPECT_EQ(Api<T>::getSize(3, nullptr), StatusNullPointer) << "the pointer is tested before the length";
    // Out-pointers may sit at any address.
    alignas(16) unsigned char raw[32] = {};
    ASSERT_EQ(Api<T>::getSize(64, reinterpret_cast<int32_t*>(raw + 3)), StatusOk);
    int32_t size = 0, want = 0;
    std::memcpy(&size, raw + 3, sizeof size);
    ASSERT_EQ(Api<T>::getSize(64, &want), StatusOk);
    EXPECT_EQ(size, want);
    ASSERT_EQ(Api<T>::initAlloc(reinterpret_cast<Dct4Spec**>(raw + 9), 64), StatusOk);
    Dct4Spec* spec = nullptr;
    std::memcpy(&spec, raw + 9, sizeof spec);
    EXPECT_EQ(Api<T>::free(spec), StatusOk);
}

// What a plan looks like to the operations of each precision.
template <class T>
using Other = std::conditional_t<sizeof(T) == 4, double, float>;

// Free and compute of one precision refuse a plan of the other, and refuse
// memory that holds no plan: StatusBadRule, with nothing called, read from
// the source, written or released.
TYPED_TEST(Dct4Api, ForeignPlansAreRefused) {
    using T = TypeParam;
    using U = Other<T>;
    for (int32_t N : {16, 64, 4096}) {
        int32_t size = 0;
        ASSERT_EQ(Api<U>::getSize(N, &size), StatusOk);
        std::vector<unsigned char> block(size);
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<U>::init(&spec, N, block.data()), StatusOk);
        const std::vector<unsigned char> plan = block;
        std::vector<T> x(N, T(1)), y(N, T(7));
        const long frees = gFrees;
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusBadRule) << N;
        EXPECT_EQ(Api<T>::run(y.data(), y.data(), spec), StatusBadRule) << N;
        EXPECT_EQ(Api<T>::free(spec), StatusBadRule) << N;
        EXPECT_EQ(gFrees, frees) << "nothing released";
        EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](T v) { return v == T(7); }));
        EXPECT_TRUE(block == plan) << "the plan was touched";
        // The plan still works in its own precision.
        std::vector<U> u(N, U(1)), v(N);
        EXPECT_EQ(Api<U>::run(u.data(), v.data(), spec), StatusOk);
    }
}

TYPED_TEST(Dct4Api, MemoryWithoutAPlanIsRefused) {
    using T = TypeParam;
    int32_t size = 0;
    ASSERT_EQ(Api<T>::getSize(4096, &size), StatusOk);
    std::vector<T> x(4096, T(1)), y(4096, T(7));
    const auto refused = [&](unsigned char* p, const char* what) {
        const std::vector<unsigned char> before(p, p + 256);
        const long frees = gFrees;
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), reinterpret_cast<Dct4Spec*>(p)), StatusBadRule) << what;
        EXPECT_EQ(Api<T>::free(reinterpret_cast<Dct4Spec*>(p)), StatusBadRule) << what;
        EXPECT_EQ(gFrees, frees) << what;
        EXPECT_TRUE(std::equal(before.begin(), before.end(), p)) << what;
    };
    alignas(64) unsigned char zeros[256] = {};
    refused(zeros, "zeros");
    alignas(64) unsigned char garbage[512];
    std::mt19937 gen(17);
    for (int round = 0; round < 200; ++round) {
        for (auto& c : garbage) c = static_cast<unsigned char>(gen());
        refused(garbage + 32 * (round % 2) + (round % 3 == 0 ? 0 : 4 * (round % 8)), "garbage");
    }
    // A copy of a plan at another address: its records still point into the
    // original block, which a plan never does.
    std::vector<unsigned char> block(size + 64), copy(size + 64);
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(Api<T>::init(&spec, 4096, block.data()), StatusOk);
    copy = block;
    refused(copy.data() + (reinterpret_cast<unsigned char*>(spec) - block.data()), "moved plan");
    EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](T v) { return v == T(7); }));
}

// After Free (and after a failed Init over a plan) the old pointer is
// refused, as long as the memory has not been handed out again: the test's
// allocator holds released blocks back to make sure of that.
TYPED_TEST(Dct4Api, StalePointersAreRefused) {
    using T = TypeParam;
    gHoldFrees = true;
    for (int32_t N : {2, 32, 64, 1 << 13}) {
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        std::vector<T> x(N, T(1)), y(N, T(7));
        ASSERT_EQ(Api<T>::free(spec), StatusOk);
        const long frees = gFrees;
        EXPECT_EQ(Api<T>::free(spec), StatusBadRule) << N;
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusBadRule) << N;
        EXPECT_EQ(gFrees, frees);
        EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](T v) { return v == T(7); }));
    }
    gHoldFrees = false;
    for (void* p : gHeld) realFree()(p);
    gHeld.clear();

    int32_t size = 0;
    ASSERT_EQ(Api<T>::getSize(4096, &size), StatusOk);
    std::vector<unsigned char> block(size);
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(Api<T>::init(&spec, 4096, block.data()), StatusOk);
    Dct4Spec* again = nullptr;
    for (int32_t bad : {48, 3 << 10, 1 << 27}) {
        ASSERT_EQ(Api<T>::init(&again, bad, block.data()), StatusBadSize);
        std::vector<T> x(4096, T(1)), y(4096, T(7));
        EXPECT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusBadRule) << "plan left by a failed Init of " << bad;
        EXPECT_EQ(again, nullptr);
    }
}

TYPED_TEST(Dct4Api, AllocationFailureIsNullPointerAndLeaksNothing) {
    using T = TypeParam;
    const long live = gLive;
    Dct4Spec* spec = nullptr;
    gFailNext = 1;
    EXPECT_EQ(Api<T>::initAlloc(&spec, 1024), StatusNullPointer);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(gLive, live);
    gFailNext = 0;
}

TYPED_TEST(Dct4Api, FreeReleasesTheWholeTree) {
    using T = TypeParam;
    const long live = gLive;
    gCursorAtStartOnFree = true;
    for (int32_t N = 2; N <= (1 << 17); N *= 2) {
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        EXPECT_EQ(gLive, live + 1);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(spec) % 32, 0u);
        EXPECT_EQ(Api<T>::free(spec), StatusOk);
        EXPECT_TRUE(gCursorAtStartOnFree) << "N = " << N << ": teardown did not bring the cursor back";
    }
    EXPECT_EQ(gLive, live);
}

// Init at every remainder modulo 32, with the block's reported size ending
// where a few guard bytes and then an inaccessible page begin: no byte past
// the reported size is touched, by Init or by compute, and all alignments
// give the same bits.
TYPED_TEST(Dct4Api, AnyBlockAlignmentWithinReportedSize) {
    using T = TypeParam;
    for (int32_t N : {2, 32, 64, 256, 4096, 1 << 17}) {
        int32_t size = 0;
        ASSERT_EQ(Api<T>::getSize(N, &size), StatusOk);
        const auto x = qrbtest::randomReals<T>(N, 5 + N);
        std::vector<T> first;
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
            EXPECT_TRUE(off >= 33 && off <= 64) << off;
            if (r == 0) {
                EXPECT_EQ(off, 64);
            }
            std::vector<T> y(N);
            ASSERT_EQ(Api<T>::run(x.data(), y.data(), spec), StatusOk);
            for (int i = 0; i < slack; ++i) ASSERT_EQ(mem[size + i], 0xC3) << "byte past the block written";
            if (first.empty()) first = y;
            EXPECT_TRUE(qrbtest::sameBits(first.data(), y.data(), N * sizeof(T))) << "N " << N << " r " << r;
        }
    }
}

TYPED_TEST(Dct4Api, InPlaceMisalignedAndRepeatedCallsGiveTheSameBits) {
    using T = TypeParam;
    for (int32_t N = 2; N <= (1 << 14); N *= 2) {
        Dct4Spec* spec = nullptr;
        ASSERT_EQ(Api<T>::initAlloc(&spec, N), StatusOk);
        const auto x = qrbtest::randomReals<T>(N, 11 * N);
        std::vector<T> ref(N);
        ASSERT_EQ(Api<T>::run(x.data(), ref.data(), spec), StatusOk);
        std::vector<T> again(N);
        ASSERT_EQ(Api<T>::run(x.data(), again.data(), spec), StatusOk);
        EXPECT_TRUE(qrbtest::sameBits(ref.data(), again.data(), N * sizeof(T))) << N;
        std::vector<T> inplace = x;
        ASSERT_EQ(Api<T>::run(inplace.data(), inplace.data(), spec), StatusOk);
        EXPECT_TRUE(qrbtest::sameBits(ref.data(), inplace.data(), N * sizeof(T))) << N;
        for (std::size_t so : {1, 3}) {
            for (std::size_t dof : {0, 2}) {
                qrbtest::Buffer sb(N * sizeof(T), so * sizeof(T)), db(N * sizeof(T), dof * sizeof(T));
                std::memcpy(sb.data(), x.data(), N * sizeof(T));
                ASSERT_EQ(Api<T>::run(sb.as<T>(), db.as<T>(), spec), StatusOk);
                EXPECT_TRUE(qrbtest::sameBits(ref.data(), db.data(), N * sizeof(T))) << N;
                EXPECT_TRUE(db.guardsIntact()) << N;
            }
        }
        EXPECT_EQ(Api<T>::free(spec), StatusOk);
    }
}

// Up to 32 points compute writes nothing but the destination, so one plan
// serves several threads at once.
TYPED_TEST(Dct4Api, SmallPlansAreShared) {
    using T = TypeParam;
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(Api<T>::initAlloc(&spec, 32), StatusOk);
    const auto x = qrbtest::randomReals<T>(32, 3);
    std::vector<T> ref(32);
    ASSERT_EQ(Api<T>::run(x.data(), ref.data(), spec), StatusOk);
    bool ok[4] = {};
    std::vector<std::thread> th;
    for (int t = 0; t < 4; ++t)
        th.emplace_back([&, t] {
            std::vector<T> y(32);
            bool good = true;
            for (int i = 0; i < 2000; ++i) {
                Api<T>::run(x.data(), y.data(), spec);
                good = good && qrbtest::sameBits(ref.data(), y.data(), sizeof(T) * 32);
            }
            ok[t] = good;
        });
    for (auto& t : th) t.join();
    for (bool b : ok) EXPECT_TRUE(b);
    EXPECT_EQ(Api<T>::free(spec), StatusOk);
}

}  // namespace
