// Construction, sizing and teardown of a DCT-IV plan.
//
// The tree's shape follows from the length alone, through the rule tables
// below, which sizing and construction share: GetSize adds up by formula
// exactly what Init takes from the arena (plus the room reserved for list
// entries that a list's head makes unnecessary), so the two always agree on
// which lengths they accept.
#include <cstddef>

#include "nodes.h"

namespace qrbg::dct4 {

#if UINTPTR_MAX == 0xFFFFFFFFu
// A 32-bit build has exactly the record sizes that the sizing constants count.
static_assert(sizeof(EnvList) == 12 && sizeof(Env1) == 44 && sizeof(Env2) == 64 && sizeof(Env3) == 60 &&
              sizeof(Env4) == 64 && sizeof(Env5) == 60 && sizeof(Env7) == 64 && sizeof(Env8) == 72 &&
              sizeof(Env9) == 68 && sizeof(EnvfCompose) == 36 && sizeof(Envfsplit) == 28 &&
              sizeof(Envlambda) == 24);
#endif

namespace {

using I64 = std::int64_t;

template <class R>
constexpr I64 A() {
    return qrbgAlignSize32Bytes(static_cast<I32>(sizeof(R)));
}
constexpr I64 LH = A<EnvList>();  // one list head, or one reserved list entry
constexpr I64 alignUp(I64 x) { return (x + 31) & ~I64(31); }

// What a node takes besides its tables, scratch and subtrees.
constexpr I64 kRoot = A<Env1>() + 3 * LH;                            // 160 on 32 bits
constexpr I64 kRootSplit = kRoot + A<EnvfCompose>() + 5 * LH;        // 384
constexpr I64 kEnv2 = A<Env2>() + 2 * LH + A<Envfsplit>() + A<Env4>() + LH + 3 * LH;  // 352
constexpr I64 kEnv3 = A<Env3>() + 2 * LH + 2 * LH;                   // 192
constexpr I64 kEnv5 = A<Env5>() + 2 * LH;                            // 128
constexpr I64 kEnv9 = A<Env9>() + 2 * LH;                            // 160
constexpr I64 kEnv7 = A<Env7>() + 3 * LH + A<Envlambda>() + A<Env8>() + LH + 5 * LH;  // 480
constexpr I64 kBad = -1;

// Bytes of the D(m') rotation table of one split: a rotation is two
// 16-byte vectors in either precision.
constexpr I64 env8TableBytes(I32 c, I32 mp) { return I64(c) * 32 * (mp - 1); }

I32 chooseByPow2(I32 n, I32 first, I32 last) {
    // Rule r stands for length first * 2^(r-1), r = 1 .. (number of lengths).
    I32 r = 1;
    for (I32 len = first; len <= last; len *= 2, ++r)
        if (n == len) return r;
    return 0;
}

}  // namespace

template <class T>
I32 Ops<T>::env1_chooseRule(I32 N) {
    const I32 r = chooseByPow2(N, 2, 32);
    return r ? r : 6;
}
template <class T>
I32 Ops<T>::env4_chooseRule(I32 m) {
    return chooseByPow2(m, 1, 32);
}
template <class T>
I32 Ops<T>::env5_chooseRule(I32 L) {
    const I32 r = chooseByPow2(L, 2, 64);
    return r ? r : 7;
}
template <class T>
I32 Ops<T>::env8_chooseRule(I32 mp) {
    return chooseByPow2(mp, 2, 32);
}

// ---- Sizing ------------------------------------------------------------------

namespace {

template <class T>
struct Mem {  // the memory of each node kind and its subtree, by formula
    using O = Ops<T>;
    static I64 scratch(I32 N) { return alignUp(I64(O::sz) * N); }

    static I64 env7_mem(I32 L, I32 N) {
        I32 mp;
        if (divisorsIntNonTriv(&mp, L / 2) != StatusOk) return kBad;
        if (O::env8_chooseRule(mp) == 0) return kBad;
        const I32 n = L / mp, c = n / 2;
        const I64 sub = env9_mem(n, N);
        if (sub < 0) return kBad;
        return alignUp(env8TableBytes(c, mp)) + scratch(N) + sub + kEnv7;
    }
    static I64 env9_mem(I32 n, I32 N) {
        if (O::env5_chooseRule(n) <= 6) return kEnv9;
        const I64 sub = env7_mem(n, N);
        return sub < 0 ? kBad : sub + kEnv9 + 2 * LH;
    }
    static I64 env5_mem(I32 L, I32 N) {
        if (O::env5_chooseRule(L) <= 6) return kEnv5;
        const I64 sub = env7_mem(L, N);
        return sub < 0 ? kBad : sub + kEnv5 + 2 * LH;
    }
    // env2 and its env4, whose table holds N elements; env3 over its env5.
    static I64 env2_mem(I32 N) { return scratch(N) + kEnv2; }
    static I64 env3_mem(I64 env5) { return env5 + kEnv3; }
    static I64 env1_mem(I32 N) {
        if (O::env1_chooseRule(N) <= 5) return kRoot;
        // The halves of the extension need an even length.
        if (N % 2 != 0) return kBad;
        I32 m;
        if (divisorsIntNonTriv(&m, N / 2) != StatusOk) return kBad;
        const I32 L = N / m, K = L / 2;
        if (K % O::nu != 0 || O::env4_chooseRule(m) == 0) return kBad;  // env2 and env4
        if (m % O::nu != 0) return kBad;                                // env3
        const I64 sub5 = env5_mem(L, N);
        if (sub5 < 0) return kBad;
        return env2_mem(N) + env3_mem(sub5) + scratch(N) + kRootSplit;
    }
};

}  // namespace

// Bytes of the arena area of a plan of length N, or StatusBadSize. Sizes
// beyond the 32-bit range are refused: that is what bounds the length.
template <class T>
I32 Ops<T>::env1_mem(I32 N) {
    const I64 s = Mem<T>::env1_mem(N);
    if (s < 0 || s + 64 > INT32_MAX) return StatusBadSize;
    return static_cast<I32>(s);
}

// ---- Function objects -------------------------------------------------------

template <class T>
T Ops<T>::envfCompose_at(const EnvfCompose* f, I32 i, I32 j) {
    const I32 p = f->twoM * i + j;
    const I32 a = (p / 2) / f->m, b = (p / 2) % f->m;
    const I32 t = 2 * (2 * a + 1) * (2 * b + 1);
    const T x = static_cast<T>(t) / static_cast<T>(f->eightN);
    return (p % 2 == 0) ? cosPi<T>(x) : sinPi<T>(x);
}

template <class T>
T Ops<T>::envfsplit_at(const Envfsplit* f, I32 g, I32 l, I32 j) {
    return envfCompose_at(f->inner, g * Ops<T>::nu + l, j);
}

template <class T>
T Ops<T>::envlambda_at(const Envlambda* f, I32 i, I32, I32) {
    return (static_cast<T>(i) + static_cast<T>(0.5)) / static_cast<T>(f->L / f->mp);
}

namespace {

void delNothing(void*) {}

template <class T>
using At3 = T (*)(const void*, I32, I32, I32);

// Caller's side of a function object with three integer arguments.
template <class T>
T owng_TFunc_IIIR_at(const void* obj, I32 i, I32 j, I32 k) {
    const auto* h = static_cast<const EnvHead*>(obj);
    return reinterpret_cast<At3<T>>(h->op)(obj, i, j, k);
}

template <class T>
T lambdaAt(const void* f, I32 i, I32 j, I32 k) {
    return Ops<T>::envlambda_at(static_cast<const Envlambda*>(f), i, j, k);
}
template <class T>
T composeAt(const void* f, I32 i, I32 j, I32) {
    return Ops<T>::envfCompose_at(static_cast<const EnvfCompose*>(f), i, j);
}
template <class T>
T splitAt(const void* f, I32 g, I32 l, I32 j) {
    return Ops<T>::envfsplit_at(static_cast<const Envfsplit*>(f), g, l, j);
}

template <class R>
void setHead(R* r, Arena* arena, DelFn del, AnyFn op) {
    r->h.del = del;
    r->h.size = static_cast<I32>(sizeof(R));
    r->h.op = op;
    r->h.arena = arena;
}

// The operations that records point to, under their flat names: one set
// per precision, the plan node kinds 1 to 5 and 7 to 9 and the three
// function objects.
#define QRBG_DCT4_NODE_DECL(tag, k)                  \
    void owngDCT4_##tag##w7_env##k##___del__(void*); \
    Status owngDCT4_##tag##w7_env##k##_plan(void*);
#define QRBG_DCT4_DECL(tag, T)                                                  \
    QRBG_DCT4_NODE_DECL(tag, 1)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 2)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 3)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 4)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 5)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 7)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 8)                                                 \
    QRBG_DCT4_NODE_DECL(tag, 9)                                                 \
    T owngDCT4_##tag##w7_envfCompose_at(const void*, I32, I32, I32);            \
    T owngDCT4_##tag##w7_envfsplit_at(const void*, I32, I32, I32);              \
    T owngDCT4_##tag##w7_envlambda_at(const void*, I32, I32, I32);              \
    void owngDCT4_##tag##w7_envf___del__(void*);                                \
    template <>                                                                 \
    struct Named<T> {                                                           \
        static constexpr DelFn del[10] = {                                      \
            nullptr,                         owngDCT4_##tag##w7_env1___del__,   \
            owngDCT4_##tag##w7_env2___del__, owngDCT4_##tag##w7_env3___del__,   \
            owngDCT4_##tag##w7_env4___del__, owngDCT4_##tag##w7_env5___del__,   \
            nullptr,                         owngDCT4_##tag##w7_env7___del__,   \
            owngDCT4_##tag##w7_env8___del__, owngDCT4_##tag##w7_env9___del__};  \
        static constexpr Status (*plan[10])(void*) = {                          \
            nullptr,                       owngDCT4_##tag##w7_env1_plan,        \
            owngDCT4_##tag##w7_env2_plan,  owngDCT4_##tag##w7_env3_plan,        \
            owngDCT4_##tag##w7_env4_plan,  owngDCT4_##tag##w7_env5_plan,        \
            nullptr,                       owngDCT4_##tag##w7_env7_plan,        \
            owngDCT4_##tag##w7_env8_plan,  owngDCT4_##tag##w7_env9_plan};       \
        static constexpr T (*composeAt)(const void*, I32, I32, I32) = owngDCT4_##tag##w7_envfCompose_at; \
        static constexpr T (*splitAt)(const void*, I32, I32, I32) = owngDCT4_##tag##w7_envfsplit_at;     \
        static constexpr T (*lambdaAt)(const void*, I32, I32, I32) = owngDCT4_##tag##w7_envlambda_at;    \
        static constexpr DelFn objDel = owngDCT4_##tag##w7_envf___del__;        \
    };

}  // namespace
template <class T>
struct Named;
QRBG_DCT4_DECL(32f, float)
QRBG_DCT4_DECL(64f, double)
namespace {

template <class T>
AnyFn planOp(int k) {
    return reinterpret_cast<AnyFn>(Named<T>::plan[k]);
}

// ---- Nodes ------------------------------------------------------------------

template <class T>
struct Build {
    using O = Ops<T>;
    static constexpr I32 sz = O::sz, nu = O::nu;

    static void* take(Arena* a, I64 bytes) { return qrbgArenaMalloc(a, static_cast<I32>(bytes)); }
    static void give(Arena* a, void* p, I64 bytes) { qrbgArenaFree(a, p, static_cast<I32>(bytes)); }
    // Teardown calls only the destructors of this precision's records.
    static bool known(DelFn d) {
        if (d == nullptr) return false;
        if (d == Named<T>::objDel) return true;
        for (DelFn k : Named<T>::del)
            if (k == d) return true;
        return false;
    }
    static void freeChildren(EnvList* children) {
        EnvList_freeKnownChildren(children, &known);
        freeList(children);
    }

    // Function objects.
    static EnvfCompose* newCompose(Arena* a, I32 twoM, I32 eightN, I32 K, I32 m) {
        auto* f = static_cast<EnvfCompose*>(take(a, sizeof(EnvfCompose)));
        setHead(f, a, Named<T>::objDel, reinterpret_cast<AnyFn>(Named<T>::composeAt));
        f->twoM = twoM, f->eightN = eightN, f->K = K, f->m = m, f->twoM2 = twoM;
        return f;
    }

    // env2 / env4: the last stage.
    static void env4_del(void* p) {
        auto* e = static_cast<Env4*>(p);
        if (e->table) give(e->h.arena, e->table, I64(e->groups) << (4 + e->rule));
        freeChildren(e->children);
    }
    static Status env4_plan(void* p) {
        auto* e = static_cast<Env4*>(p);
        e->rule = O::env4_chooseRule(e->m);
        if (e->rule == 0) return StatusBadSize;
        T* tab = static_cast<T*>(take(e->h.arena, I64(e->groups) << (4 + e->rule)));
        e->table = tab;
        for (I32 g = 0; g < e->groups; ++g) {
            for (I32 k = 0; k < e->m; ++k) {
                const I32 c = env4Column(e->m, k);
                for (I32 l = 0; l < nu; ++l) {
                    tab[l] = owng_TFunc_IIIR_at<T>(e->f, g, l, 2 * c);
                    tab[nu + l] = owng_TFunc_IIIR_at<T>(e->f, g, l, 2 * c + 1);
                }
                tab += 2 * nu;
            }
        }
        return StatusOk;
    }
    static void env2_del(void* p) {
        auto* e = static_cast<Env2*>(p);
        freeList(e->stage);
        freeChildren(e->children);
    }
    static Status env2_plan(void* p) {
        auto* e = static_cast<Env2*>(p);
        Arena* a = e->h.arena;
        if (e->K % nu != 0) return StatusBadSize;
        e->rule = 1;
        auto* e4 = static_cast<Env4*>(take(a, sizeof(Env4)));
        auto* fs = static_cast<Envfsplit*>(take(a, sizeof(Envfsplit)));
        setHead(fs, a, Named<T>::objDel, reinterpret_cast<AnyFn>(Named<T>::splitAt));
        fs->twoM = e->twoM, fs->groups = e->K / nu, fs->inner = e->f;
        EnvList_add(e->children, fs);
        setHead(e4, a, Named<T>::del[4], planOp<T>(4));
        e4->rule = 0, e4->table = nullptr;
        e4->m = e->m, e4->N = e->N, e4->twoM = e->twoM, e4->groupLen = nu * e->twoM, e4->groups = e->K / nu;
        e4->N2 = e->N, e4->twoNm1 = e->twoNm1, e4->L = e->L, e4->f = fs;
        e4->children = newListHead(a);
        EnvList_add(e->stage, EnvList_add(e->children, e4));
        return env4_plan(e4);
    }

    // env7 / env8 / env9: the split of long odd-frequency transforms.
    static void env8_del(void* p) {
        auto* e = static_cast<Env8*>(p);
        if (e->table) give(e->h.arena, e->table, env8TableBytes(e->c, e->mp));
        freeChildren(e->children);
    }
    // A rotation by pi x, repeated in all lanes.
    static void putRotation(T* tab, I32 idx, T x) {
        const T cs = cosPi<T>(x), sn = sinPi<T>(x);
        for (I32 l = 0; l < nu; ++l) tab[2 * nu * idx + l] = cs, tab[2 * nu * idx + nu + l] = sn;
    }
    // y k / d with one rounding to T (d a power of two).
    static T scaled(T y, I32 k, I32 d) {
        if constexpr (sizeof(T) == 4)
            return static_cast<T>(static_cast<double>(y) * k / d);
        else
            return y * k / d;
    }
    static Status env8_plan(void* p) {
        auto* e = static_cast<Env8*>(p);
        e->rule = O::env8_chooseRule(e->mp);
        if (e->rule == 0) return StatusBadSize;
        T* tab = static_cast<T*>(take(e->h.arena, env8TableBytes(e->c, e->mp)));
        e->table = tab;
        const I32 mp = e->mp, c = e->c;
        if (mp <= 8) {
            for (I32 g = 0; g < c; ++g) {
                const T lam = owng_TFunc_IIIR_at<T>(e->f, g, 0, 0);
                for (I32 a = 1; a < mp; ++a) putRotation(tab, g * (mp - 1) + a - 1, scaled(lam, 2 * a, mp));
            }
            return StatusOk;
        }
        // Two levels: inner rotations of all kernels, then the outer ones.
        const I32 B = mp / 4;
        for (I32 g = 0; g < c; ++g) {
            const T lam = owng_TFunc_IIIR_at<T>(e->f, g, 0, 0);
            for (I32 s = 1; s < B; ++s) putRotation(tab, g * (B - 1) + s - 1, scaled(lam, s * 4 * 2, mp));
        }
        const I32 base = c * (B - 1);
        for (I32 g = 0; g < c; ++g) {
            const T lam = owng_TFunc_IIIR_at<T>(e->f, g, 0, 0);
            for (I32 t = 0; t < B; ++t) {
                const T lt = lam + static_cast<T>(t);
                for (I32 r = 1; r <= 3; ++r) putRotation(tab, base + g * 3 * B + 3 * t + r - 1, scaled(lt, 2 * r, mp));
            }
        }
        return StatusOk;
    }
    static void env9_del(void* p) {
        auto* e = static_cast<Env9*>(p);
        freeList(e->stage);
        freeChildren(e->children);
    }
    static Status env9_plan(void* p) {
        auto* e = static_cast<Env9*>(p);
        e->rule = O::env5_chooseRule(e->n);
        if (e->rule <= 6) return StatusOk;
        Env7* e7 = newEnv7(e->h.arena, e->n, e->N, e->pointStride, e->outStride);
        EnvList_add(e->stage, EnvList_add(e->children, e7));
        return env7_plan(e7);
    }
    static void env7_del(void* p) {
        auto* e = static_cast<Env7*>(p);
        if (e->buffer) give(e->h.arena, e->buffer, I64(sz) * e->N);
        freeList(e->stage8);
        freeList(e->stage9);
        freeChildren(e->children);
    }
    static Env7* newEnv7(Arena* a, I32 L, I32 N, I32 S, I32 M) {
        auto* e = static_cast<Env7*>(take(a, sizeof(Env7)));
        setHead(e, a, Named<T>::del[7], planOp<T>(7));
        e->buffer = nullptr, e->rule = 0;
        e->L = L, e->mp = 0, e->N = N, e->N2 = N, e->S = S, e->N3 = N, e->M = M;
        e->stage8 = newListHead(a);
        e->stage9 = newListHead(a);
        e->children = newListHead(a);
        return e;
    }
    static Status env7_plan(void* p) {
        auto* e = static_cast<Env7*>(p);
        Arena* a = e->h.arena;
        e->rule = 1;
        if (divisorsIntNonTriv(&e->mp, e->L / 2) != StatusOk) return StatusBadSize;
        const I32 mp = e->mp, n = e->L / mp, c = n / 2, M = e->M, S = e->S, N = e->N;
        auto* e8 = static_cast<Env8*>(take(a, sizeof(Env8)));
        auto* lam = static_cast<Envlambda*>(take(a, sizeof(Envlambda)));
        setHead(lam, a, Named<T>::objDel, reinterpret_cast<AnyFn>(Named<T>::lambdaAt));
        lam->L = e->L, lam->mp = mp;
        EnvList_add(e->children, lam);
        setHead(e8, a, Named<T>::del[8], planOp<T>(8));
        e8->table = nullptr, e8->rule = 0;
        e8->mp = mp, e8->N = N, e8->M = M, e8->kernelStride = 2 * M * mp, e8->c = c, e8->N2 = N;
        e8->halfL = e->L / 2, e8->Lm1 = e->L - 1, e8->M2 = M, e8->n = n, e8->f = lam;
        e8->children = newListHead(a);
        EnvList_add(e->stage8, EnvList_add(e->children, e8));
        if (Status st = env8_plan(e8); st != StatusOk) return st;
        auto* e9 = static_cast<Env9*>(take(a, sizeof(Env9)));
        setHead(e9, a, Named<T>::del[9], planOp<T>(9));
        e9->rule = 0;
        e9->n = n, e9->N = N, e9->N2 = N, e9->pointStride = mp * S, e9->S = S, e9->mp = mp, e9->N3 = N;
        e9->outStride = mp * M, e9->M = M, e9->nu = nu;
        e9->stage = newListHead(a);
        e9->children = newListHead(a);
        EnvList_add(e->stage9, EnvList_add(e->children, e9));
        if (Status st = env9_plan(e9); st != StatusOk) return st;
        e->buffer = take(a, I64(sz) * N);  // after the whole subtree
        return StatusOk;
    }

    // env3 / env5: the first stage.
    static void env5_del(void* p) {
        auto* e = static_cast<Env5*>(p);
        freeList(e->stage);
        freeChildren(e->children);
    }
    static Status env5_plan(void* p) {
        auto* e = static_cast<Env5*>(p);
        e->rule = O::env5_chooseRule(e->L);
        if (e->rule <= 6) return StatusOk;
        Env7* e7 = newEnv7(e->h.arena, e->L, e->N, e->S, e->M);
        EnvList_add(e->stage, EnvList_add(e->children, e7));
        return env7_plan(e7);
    }
    static void env3_del(void* p) {
        auto* e = static_cast<Env3*>(p);
        freeList(e->stage);
        freeChildren(e->children);
    }
    static Status env3_plan(void* p) {
        auto* e = static_cast<Env3*>(p);
        Arena* a = e->h.arena;
        if (e->m % nu != 0) return StatusBadSize;
        e->rule = 1;
        auto* e5 = static_cast<Env5*>(take(a, sizeof(Env5)));
        setHead(e5, a, Named<T>::del[5], planOp<T>(5));
        e5->rule = 0;
        e5->L = e->L, e5->N = e->N, e5->twoNm1 = e->twoNm1, e5->S = e->twoM, e5->groups = e->m / nu;
        e5->N2 = e->N, e5->M = e->m, e5->nu = nu;
        e5->stage = newListHead(a);
        e5->children = newListHead(a);
        EnvList_add(e->stage, EnvList_add(e->children, e5));
        return env5_plan(e5);
    }

    // env1: the root.
    static void env1_del(void* p) {
        auto* e = static_cast<Env1*>(p);
        if (e->buffer) give(e->h.arena, e->buffer, I64(sz) * e->len);
        freeList(e->lastStage);
        freeList(e->firstStage);
        freeChildren(e->children);
    }
    static Status env1_plan(void* p) {
        auto* e = static_cast<Env1*>(p);
        Arena* a = e->h.arena;
        const I32 N = e->len;
        e->rule = O::env1_chooseRule(N);
        if (e->rule <= 5) {
            e->buffer = nullptr;
            return StatusOk;
        }
        // Refuses what sizing refuses, before anything is taken: odd lengths
        // and lengths whose plan would not fit a 32-bit size.
        if (O::env1_mem(N) < 0) return StatusBadSize;
        if (divisorsIntNonTriv(&e->m, N / 2) != StatusOk) return StatusBadSize;
        const I32 m = e->m, L = N / m, K = L / 2;
        auto* e2 = static_cast<Env2*>(take(a, sizeof(Env2)));
        EnvfCompose* f = newCompose(a, 2 * m, 8 * N, K, m);
        EnvList_add(e->children, f);
        setHead(e2, a, Named<T>::del[2], planOp<T>(2));
        e2->rule = 0;
        e2->m = m, e2->N = N, e2->twoM = 2 * m, e2->K = K, e2->N2 = N, e2->twoNm1 = 2 * N - 1, e2->L = L;
        e2->f = f, e2->nu = nu;
        e2->stage = newListHead(a);
        e2->children = newListHead(a);
        EnvList_add(e->lastStage, EnvList_add(e->children, e2));
        if (Status st = env2_plan(e2); st != StatusOk) return st;
        auto* e3 = static_cast<Env3*>(take(a, sizeof(Env3)));
        setHead(e3, a, Named<T>::del[3], planOp<T>(3));
        e3->rule = 0;
        e3->L = L, e3->N = N, e3->twoNm1 = 2 * N - 1, e3->twoM = 2 * m, e3->m = m, e3->N2 = N, e3->M = m;
        e3->nu = nu;
        e3->stage = newListHead(a);
        e3->children = newListHead(a);
        EnvList_add(e->firstStage, EnvList_add(e->children, e3));
        if (Status st = env3_plan(e3); st != StatusOk) return st;
        e->buffer = take(a, I64(sz) * N);  // the last allocation of the plan
        return StatusOk;
    }
};

}  // namespace

#define QRBG_DCT4_NODE_DEF(tag, T, k)                                                \
    void owngDCT4_##tag##w7_env##k##___del__(void* p) { Build<T>::env##k##_del(p); } \
    Status owngDCT4_##tag##w7_env##k##_plan(void* p) { return Build<T>::env##k##_plan(p); }
#define QRBG_DCT4_DEF(tag, T)                                                                      \
    QRBG_DCT4_NODE_DEF(tag, T, 1)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 2)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 3)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 4)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 5)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 7)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 8)                                                                  \
    QRBG_DCT4_NODE_DEF(tag, T, 9)                                                                  \
    T owngDCT4_##tag##w7_envfCompose_at(const void* f, I32 i, I32 j, I32 k) { return composeAt<T>(f, i, j, k); } \
    T owngDCT4_##tag##w7_envfsplit_at(const void* f, I32 i, I32 j, I32 k) { return splitAt<T>(f, i, j, k); }     \
    T owngDCT4_##tag##w7_envlambda_at(const void* f, I32 i, I32 j, I32 k) { return lambdaAt<T>(f, i, j, k); }    \
    void owngDCT4_##tag##w7_envf___del__(void* p) { delNothing(p); }
QRBG_DCT4_DEF(32f, float)
QRBG_DCT4_DEF(64f, double)

template <class T>
void Ops<T>::env1_init(Env1* e, Arena* arena, I32 len) {
    setHead(e, arena, Named<T>::del[1], planOp<T>(1));
    e->len = len, e->rule = 0, e->m = 0, e->buffer = nullptr;
    e->lastStage = newListHead(arena);
    e->firstStage = newListHead(arena);
    e->children = newListHead(arena);
}
template <class T>
Status Ops<T>::env1_plan(Env1* e) {
    return reinterpret_cast<Status (*)(void*)>(e->h.op)(e);
}
template <class T>
void Ops<T>::env1_del(Env1* e) {
    e->h.del(e);
}

template <class T>
DelFn Ops<T>::kindDel(I32 k) {
    return Named<T>::del[k];
}

template struct Ops<float>;
template struct Ops<double>;

}  // namespace qrbg::dct4
