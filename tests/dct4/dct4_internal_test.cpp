// Internals of the DCT-IV plan engine: the arena, lists and split factors,
// the sizing formula against what construction really takes, teardown, the
// entries of the tables, and compute's answer to a corrupted plan.
#include <gtest/gtest.h>

#include <cmath>
#ifdef QRBGEN_HAVE_QUADMATH
#include <quadmath.h>
#endif
#include <cstring>
#include <utility>
#include <vector>

#include "arena.h"
#include "nodes.h"
#include "qrbgen.h"
#include "test_util.h"

using namespace qrbg::dct4;

namespace {

// A block whose first word is the cursor; allocations start 64 bytes in.
struct Block {
    std::vector<unsigned char> raw;
    unsigned char* mem;
    std::uintptr_t start;
    explicit Block(std::size_t bytes) : raw(bytes + 128) {
        auto a = reinterpret_cast<std::uintptr_t>(raw.data());
        mem = raw.data() + (32 - a % 32) % 32;
        start = reinterpret_cast<std::uintptr_t>(mem) + 64;
        arenaSetCursor(mem, start);
    }
    std::uintptr_t cursor() const { return arenaCursor(mem); }
};

// The arena hands out multiples of 32 bytes, 32-byte aligned (nothing for a
// size of 0) and takes them back by size in any order. A list keeps its
// first element in its head and takes 32 bytes per further element; its
// teardown calls each element's destructor and gives everything back.
std::vector<int> gDelOrder;
struct Elem {
    EnvHead h;
    int id;
};
void delElem(void* p) { gDelOrder.push_back(static_cast<Elem*>(p)->id); }

TEST(Dct4Arena, AllocationUnitsAndLists) {
    EXPECT_EQ(qrbgAlignSize32Bytes(0), 0);
    EXPECT_EQ(qrbgAlignSize32Bytes(1), 32);
    EXPECT_EQ(qrbgAlignSize32Bytes(44), 64);
    EXPECT_EQ(EnvList_add_mem(3), 96);
    Block b(4096);
    void* z = qrbgArenaMalloc(b.mem, 0);
    EXPECT_EQ(qrbgArenaMalloc(b.mem, 0), z);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(z) % 32, 0u);
    const auto base = b.cursor();
    void* p1 = qrbgArenaMalloc(b.mem, 100);
    EXPECT_EQ(p1, z);
    void* p2 = qrbgArenaMalloc(b.mem, 7);
    void* p3 = qrbgArenaMalloc(b.mem, 64);
    EXPECT_EQ(b.cursor() - base, 128u + 32u + 64u);
    EXPECT_EQ(qrbgArenaFree(b.mem, p2, 7), 32);
    qrbgArenaFree(b.mem, p1, 100);
    qrbgArenaFree(b.mem, p3, 64);
    EXPECT_EQ(b.cursor(), base);

    EnvList* head = newListHead(b.mem);
    EXPECT_EQ(EnvList_get(head, 0), nullptr);
    const auto empty = b.cursor();
    Elem* e[3];
    for (int i = 0; i < 3; ++i) {
        e[i] = static_cast<Elem*>(qrbgArenaMalloc(b.mem, sizeof(Elem)));
        e[i]->h = {delElem, static_cast<std::int32_t>(sizeof(Elem)), nullptr, b.mem};
        e[i]->id = i;
        const auto before = b.cursor();
        EXPECT_EQ(EnvList_add(head, e[i]), e[i]);
        EXPECT_EQ(b.cursor() - before, i == 0 ? 0u : 32u) << i;
    }
    EXPECT_EQ(EnvList_get(head, 2), e[2]);
    EXPECT_EQ(EnvList_get(head, 3), nullptr);
    EXPECT_EQ(EnvList_get(head, -1), nullptr);
    gDelOrder.clear();
    EnvList_freeChildren(head);
    EXPECT_EQ(gDelOrder, (std::vector<int>{0, 1, 2}));
    EnvList_freeChildren(nullptr);
    freeList(head);
    EXPECT_EQ(b.cursor(), b.start);
    EXPECT_EQ(empty - b.start, static_cast<std::uintptr_t>(qrbgAlignSize32Bytes(sizeof(EnvList))));
}

TEST(Dct4Divisors, ThresholdsAreCumulative) {
    const std::pair<int, int> ok[] = {{1024, 32}, {512, 32}, {256, 16}, {480, 16}, {496, 16}, {64, 8}, {488, 8},
                                      {484, 4},   {24, 4},   {12, 2},   {6, 2},    {510, 2},  {482, 2}, {4, 2}};
    for (auto [n, f] : ok) {
        std::int32_t out = -1;
        EXPECT_EQ(divisorsIntNonTriv(&out, n), StatusOk) << n;
        EXPECT_EQ(out, f) << n;
    }
    for (int n : {511, 3, 2, 1, 0, -4, -512}) {
        std::int32_t out = 77;
        EXPECT_EQ(divisorsIntNonTriv(&out, n), StatusBadSize) << n;
        EXPECT_EQ(out, 77) << n;
    }
}

// ---- Plans built on a block -------------------------------------------------------

template <class T>
struct Plan {
    Block block;
    Env1* root = nullptr;
    explicit Plan(std::int32_t N) : block(static_cast<std::size_t>(Ops<T>::env1_mem(N)) + 64) {
        root = static_cast<Env1*>(qrbgArenaMalloc(block.mem, sizeof(Env1)));
        Ops<T>::env1_init(root, block.mem, N);
        status = Ops<T>::env1_plan(root);
    }
    Status status = StatusOk;
    std::uintptr_t used() const { return block.cursor() - block.start; }
    void tearDown() {
        Ops<T>::env1_del(root);
        qrbgArenaFree(block.mem, root, sizeof(Env1));
    }
};

int env7Levels(std::int32_t N) {
    int d = 0;
    for (std::int32_t L = N <= 2048 ? 0 : N / 32; L > 64;) {
        std::int32_t mp;
        divisorsIntNonTriv(&mp, L / 2);
        ++d;
        L /= mp;
    }
    return d;
}

template <class T>
class Dct4Plan : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Dct4Plan, Precisions);

// What construction takes falls short of the formula by exactly the list
// entries that list heads made unnecessary, and teardown gives all of it back.
TYPED_TEST(Dct4Plan, SizingMatchesConstructionAndTeardown) {
    using T = TypeParam;
    for (std::int32_t N = 2; N <= (1 << 18); N *= 2) {
        Plan<T> p(N);
        ASSERT_EQ(p.status, StatusOk) << N;
        const std::int64_t formula = Ops<T>::env1_mem(N);
        const std::int64_t shortfall = N <= 32 ? 0 : 224 + 160 * env7Levels(N);
        EXPECT_EQ(static_cast<std::int64_t>(p.used()), formula - shortfall) << "N = " << N;
        p.tearDown();
        EXPECT_EQ(p.block.cursor(), p.block.start) << "N = " << N;
    }
    if (sizeof(void*) == 4 && sizeof(T) == 4) {
        EXPECT_EQ(Ops<T>::env1_mem(64), 1568);
        EXPECT_EQ(Ops<T>::env1_mem(4096), 52768 - 64);
    }
}

TYPED_TEST(Dct4Plan, BothPrecisionsBuildTheSameTree) {
    using T = TypeParam;
    Plan<T> p(1 << 17);
    Plan<float> f(1 << 17);
    EXPECT_EQ(p.root->m, 32);
    const auto* e5 = static_cast<Env5*>(EnvList_get(static_cast<Env3*>(EnvList_get(p.root->firstStage, 0))->stage, 0));
    const auto* e5f = static_cast<Env5*>(EnvList_get(static_cast<Env3*>(EnvList_get(f.root->firstStage, 0))->stage, 0));
    EXPECT_EQ(e5->rule, 7);
    const auto* a = static_cast<Env7*>(EnvList_get(e5->stage, 0));
    const auto* b = static_cast<Env7*>(EnvList_get(e5f->stage, 0));
    const std::int32_t levels[][2] = {{4096, 32}, {128, 8}};
    for (const auto& [L, mp] : levels) {
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->L, L);
        EXPECT_EQ(a->mp, mp);
        EXPECT_EQ(a->mp, b->mp);
        const auto* e8 = static_cast<Env8*>(EnvList_get(a->stage8, 0));
        const auto* e8f = static_cast<Env8*>(EnvList_get(b->stage8, 0));
        EXPECT_EQ(e8->c * (e8->mp - 1), e8f->c * (e8f->mp - 1));
        const auto* e9 = static_cast<Env9*>(EnvList_get(a->stage9, 0));
        a = static_cast<Env7*>(EnvList_get(e9->stage, 0));
        b = static_cast<Env7*>(EnvList_get(static_cast<Env9*>(EnvList_get(b->stage9, 0))->stage, 0));
    }
    EXPECT_EQ(a, nullptr) << "two levels for 2^17";
}

// The split's skew, and twiddles that are the library's own correctly
// rounded sine and cosine (not the platform's), so that both builds give the
// same plan. (The layout of every table shows in the transforms' accuracy.)
TEST(Dct4Tables, SplitTwiddlesAndSkew) {
    Plan<float> p(4096);
    const auto* e3 = static_cast<Env3*>(EnvList_get(p.root->firstStage, 0));
    const auto* e5 = static_cast<Env5*>(EnvList_get(e3->stage, 0));
    const auto* e7 = static_cast<Env7*>(EnvList_get(e5->stage, 0));
    const auto* e8 = static_cast<Env8*>(EnvList_get(e7->stage8, 0));
    ASSERT_EQ(e8->mp, 8);
    EXPECT_EQ(e8->rule, 3);
    EXPECT_FLOAT_EQ(Ops<float>::envlambda_at(e8->f, 0, 0, 0), 1.0f / 32);
    EXPECT_FLOAT_EQ(Ops<float>::envlambda_at(e8->f, 7, 0, 0), 15.0f / 32);
    const float* t = static_cast<const float*>(e8->table);
    // g = 0, a = 4: pi/32, the same in all four lanes.
    for (int l = 0; l < 4; ++l) {
        EXPECT_EQ(t[3 * 8 + l], qrbgCosPi_32f(1.0f / 32));
        EXPECT_EQ(t[3 * 8 + 4 + l], qrbgSinPi_32f(1.0f / 32));
    }
    // g = 1, a = 1: 3 pi / 128.
    EXPECT_EQ(t[7 * 8], qrbgCosPi_32f(3.0f / 128));
    EXPECT_EQ(t[7 * 8 + 4], qrbgSinPi_32f(3.0f / 128));
    // Arguments of the last stage's twiddles stay below 1/2.
    const auto* f = static_cast<Env2*>(EnvList_get(p.root->lastStage, 0))->f;
    const float last = Ops<float>::envfCompose_at(f, f->K - 1, 2 * f->m - 1);
    EXPECT_LT(last, 1.0f);
    EXPECT_GT(last, 0.7f);
}

// Through the exported compute: a damaged record anywhere in the tree (a
// rule out of range, a missing child, a record of the wrong kind, the root's
// rule of another length, in a plan of the root alone as well) is
// StatusBadRule, and the destination, which only the last stage writes, is
// untouched. Repaired, the plan works again.
template <class T>
Status publicCompute(const std::vector<T>& x, std::vector<T>& y, Env1* root) {
    auto* spec = reinterpret_cast<Dct4Spec*>(root);
    if constexpr (sizeof(T) == 4) return qrbgDCT4_32f(x.data(), y.data(), spec);
    else return qrbgDCT4_64f(x.data(), y.data(), spec);
}

TYPED_TEST(Dct4Plan, DamagedTreeIsRefused) {
    using T = TypeParam;
    constexpr std::int32_t N = 1 << 17;
    Plan<T> p(N);
    ASSERT_EQ(p.status, StatusOk);
    auto* e3 = static_cast<Env3*>(EnvList_get(p.root->firstStage, 0));
    auto* e2 = static_cast<Env2*>(EnvList_get(p.root->lastStage, 0));
    auto* e4 = static_cast<Env4*>(EnvList_get(e2->stage, 0));
    auto* e5 = static_cast<Env5*>(EnvList_get(e3->stage, 0));
    auto* e7 = static_cast<Env7*>(EnvList_get(e5->stage, 0));
    auto* e8 = static_cast<Env8*>(EnvList_get(e7->stage8, 0));
    auto* e9 = static_cast<Env9*>(EnvList_get(e7->stage9, 0));
    auto* e7b = static_cast<Env7*>(EnvList_get(e9->stage, 0));
    ASSERT_NE(e7b, nullptr);
    auto* e8b = static_cast<Env8*>(EnvList_get(e7b->stage8, 0));
    auto* e9b = static_cast<Env9*>(EnvList_get(e7b->stage9, 0));
    const std::vector<T> x = qrbtest::randomReals<T>(N, 9);
    std::vector<T> y(N, T(3));
    const auto refused = [&](const char* what) {
        EXPECT_EQ(publicCompute(x, y, p.root), StatusBadRule) << what;
        for (T v : y) ASSERT_EQ(v, T(3)) << what << ": destination written";
    };
    Plan<T> small(16);
    std::vector<T> y16(16, T(3));
    for (std::int32_t bad : {0, 3, 7, -1, 100}) {
        small.root->rule = bad;
        EXPECT_EQ(publicCompute(std::vector<T>(16, T(1)), y16, small.root), StatusBadRule) << "root rule " << bad;
        for (T v : y16) ASSERT_EQ(v, T(3));
    }
    for (std::int32_t* rule : {&p.root->rule, &e4->rule, &e5->rule, &e7->rule, &e8->rule, &e9->rule, &e7b->rule,
                               &e8b->rule, &e9b->rule}) {
        const std::int32_t keep = *rule;
        // 7 is a split, which no node here but the env5 and the first env9
        // has: the child it needs is missing.
        for (std::int32_t bad : {0, -3, 99, 7}) {
            if (bad == keep) continue;
            *rule = bad;
            refused("rule");
        }
        *rule = keep;
    }
    for (EnvList* list : {p.root->firstStage, p.root->lastStage, e3->stage, e2->stage, e5->stage, e7->stage8,
                          e7->stage9, e9->stage, e7b->stage8, e7b->stage9}) {
        void* keep = list->item;
        list->item = nullptr;
        refused("missing child");
        list->item = keep;
    }
    std::swap(e7->stage8->item, e7->stage9->item);
    refused("records of the wrong kind");
    std::swap(e7->stage8->item, e7->stage9->item);
    void* table = e4->table;
    e4->table = nullptr;
    refused("missing table");
    e4->table = table;
    void* buffer = p.root->buffer;
    p.root->buffer = nullptr;
    refused("missing scratch");
    p.root->buffer = buffer;

    ASSERT_EQ(publicCompute(x, y, p.root), StatusOk);
    EXPECT_NE(y[0], T(3));
}

// From 512 KiB of data on, compute runs the top level's split and the
// synthesis fused, a block of rows at a time. The output has the bits of the
// two passes run one after the other through the records' own operations.
TYPED_TEST(Dct4Plan, FusedLastStagesGiveTheBitsOfTheTwoPasses) {
    using T = TypeParam;
    for (std::int32_t N : {1 << 16, 1 << 17, 1 << 18}) {
        Plan<T> p(N);
        ASSERT_EQ(p.status, StatusOk);
        auto* e3 = static_cast<Env3*>(EnvList_get(p.root->firstStage, 0));
        auto* e5 = static_cast<Env5*>(EnvList_get(e3->stage, 0));
        auto* e2 = static_cast<Env2*>(EnvList_get(p.root->lastStage, 0));
        auto* e4 = static_cast<Env4*>(EnvList_get(e2->stage, 0));
        const std::vector<T> x = qrbtest::randomReals<T>(N, 17);
        std::vector<T> fused(N), passes(N);
        ASSERT_EQ(publicCompute(x, fused, p.root), StatusOk);
        T* buf = static_cast<T*>(p.root->buffer);
        ASSERT_EQ(Ops<T>::env5_compute(e5, buf, x.data()), StatusOk);
        ASSERT_EQ(Ops<T>::env4_compute(e4, passes.data(), buf), StatusOk);
        ASSERT_EQ(std::memcmp(fused.data(), passes.data(), sizeof(T) * static_cast<std::size_t>(N)), 0) << N;
    }
}

#ifdef QRBGEN_HAVE_QUADMATH
// The tables' sine and cosine: the angle is x times the double nearest to pi,
// rounded once to the element type, and its sine and cosine are the values
// correctly rounded to the element type, as 113-bit arithmetic gives them.
// The arguments are those of plans of every length up to 2^20 (odd
// multiples of 1/(8N) and 1/(4N), and k/N), plus spread ones.
template <class T>
void correctlyRounded(T (*cosPi)(T), T (*sinPi)(T)) {
    std::vector<T> xs;
    for (int n = 2; n <= (1 << 20); n *= 2)
        for (int k = 0; k < 2048; ++k) {
            const int j = (k * 7919) % n;
            xs.push_back(static_cast<T>(2 * j + 1) / static_cast<T>(8 * n));
            xs.push_back(static_cast<T>(2 * j + 1) / static_cast<T>(4 * n));
            xs.push_back(static_cast<T>(j) / static_cast<T>(n));
        }
    for (int k = 1; k < 4000; ++k) xs.push_back(static_cast<T>(k * 0.000499875));  // to 2, past every quadrant
    for (T x : xs) {
        const T a = static_cast<T>(static_cast<double>(x) * 3.141592653589793);
        const __float128 q = a;
        ASSERT_EQ(cosPi(x), static_cast<T>(cosq(q))) << "cos pi x, x = " << x;
        ASSERT_EQ(sinPi(x), static_cast<T>(sinq(q))) << "sin pi x, x = " << x;
    }
}

TEST(Dct4Trig, TablesTakeCorrectlyRoundedValues32f) { correctlyRounded<float>(qrbgCosPi_32f, qrbgSinPi_32f); }
TEST(Dct4Trig, TablesTakeCorrectlyRoundedValues64f) { correctlyRounded<double>(qrbgCosPi_64f, qrbgSinPi_64f); }
#endif

}  // namespace
