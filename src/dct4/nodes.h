// Records of a DCT-IV plan. Every record starts with EnvHead; the field
// order is fixed so that a 32-bit build has the node sizes that the sizing
// formula counts (44, 64, 60, 64, 60, 64, 72, 68, 36, 28, 24 bytes). Other
// builds use the same formula with their own sizes.
#pragma once

#include <cstdint>

#include "arena.h"

namespace qrbg::dct4 {

using I32 = std::int32_t;

// Twiddles of the last stage: at(i, j) is the cosine (j even) or sine (j odd)
// of pi (2i+1)(2(j/2)+1) / (4N).
struct EnvfCompose {
    EnvHead h;
    I32 twoM, eightN, K, m, twoM2;
};
// Lane view of EnvfCompose: at(g, l, j) = inner.at(g nu + l, j).
struct Envfsplit {
    EnvHead h;
    I32 twoM, groups;
    EnvfCompose* inner;
};
// Skew of the odd-frequency split: at(i) = (i + 1/2) / (L/m').
struct Envlambda {
    EnvHead h;
    I32 L, mp;
};

// Root, the Dct4Spec the caller holds.
struct Env1 {
    EnvHead h;
    EnvList* children;
    EnvList* lastStage;
    EnvList* firstStage;
    void* buffer;  // N elements between the two stages
    I32 rule, m, len;
};
// Holder of the last stage.
struct Env2 {
    EnvHead h;
    EnvList* children;
    EnvList* stage;
    I32 rule, m, N, twoM, K, N2, twoNm1, L;
    EnvfCompose* f;
    I32 nu;  // lane count of the precision, against which K was tested
};
// Holder of the first stage.
struct Env3 {
    EnvHead h;
    EnvList* children;
    EnvList* stage;
    I32 rule, L, N, twoNm1, twoM, m, N2, M;
    I32 nu;  // lane count of the precision, against which m was tested
};
// Last stage: K twiddled synthesis kernels of 2m points, nu at a time.
struct Env4 {
    EnvHead h;
    EnvList* children;
    void* table;
    I32 rule, m, N, twoM, groupLen, groups, N2, twoNm1, L;
    Envfsplit* f;
};
// First stage: m odd-frequency transforms of L points, nu columns at a time.
struct Env5 {
    EnvHead h;
    EnvList* children;
    EnvList* stage;
    I32 rule, L, N, twoNm1, S, groups, N2, M;
    I32 nu;
};
// Split of an odd-frequency transform of L points into m' times L/m'.
struct Env7 {
    EnvHead h;
    EnvList* children;
    EnvList* stage8;
    EnvList* stage9;
    void* buffer;  // N elements: all columns of this level
    I32 rule, L, mp, N, N2, S, N3, M;
};
// Second half of Env7: c twiddled complex kernels D(m').
struct Env8 {
    EnvHead h;
    EnvList* children;
    void* table;
    I32 rule, mp, N, M, kernelStride, c, N2, halfL, Lm1, M2, n;
    Envlambda* f;
};
// First half of Env7: m' odd-frequency transforms of n points.
struct Env9 {
    EnvHead h;
    EnvList* children;
    EnvList* stage;
    I32 rule, n, N, N2, pointStride, S, mp, N3, outStride, M;
    I32 nu;
};

// The root operations of each precision, under their flat names: what the
// head of a root built by Init holds.
void owngDCT4_32fw7_env1___del__(void*);
Status owngDCT4_32fw7_env1_plan(void*);
void owngDCT4_64fw7_env1___del__(void*);
Status owngDCT4_64fw7_env1_plan(void*);

// Operations of one precision. T is float or double.
template <class T>
struct Ops {
    static constexpr I32 sz = sizeof(T);
    static constexpr I32 nu = 16 / sizeof(T);
    static constexpr I32 maxLen = sizeof(T) == 4 ? (1 << 26) : (1 << 25);

    static I32 env1_mem(I32 N);
    static I32 env1_chooseRule(I32 N);
    static I32 env4_chooseRule(I32 m);
    static I32 env5_chooseRule(I32 L);
    static I32 env8_chooseRule(I32 mp);

    static void env1_init(Env1* e, Arena* arena, I32 len);
    static Status env1_plan(Env1* e);
    static void env1_del(Env1* e);

    // True when e is the root of a plan of this precision as Init leaves
    // it: at the start of its arena, with this precision's env1 operations,
    // a rule in range and the length of that rule. Reads nothing from an
    // address that is not a multiple of 32, where no root can be. Inline:
    // compute of the direct lengths takes only a few nanoseconds.
    static bool recognise(const Env1* e) {
        const auto addr = reinterpret_cast<std::uintptr_t>(e);
        if (addr % 32 != 0) return false;
        constexpr DelFn del = sizeof(T) == 4 ? owngDCT4_32fw7_env1___del__ : owngDCT4_64fw7_env1___del__;
        constexpr Status (*plan)(void*) = sizeof(T) == 4 ? owngDCT4_32fw7_env1_plan : owngDCT4_64fw7_env1_plan;
        if (e->h.del != del || e->h.op != reinterpret_cast<AnyFn>(plan) ||
            e->h.size != static_cast<I32>(sizeof(Env1)))
            return false;
        // The root is the arena's first record, 33 to 64 bytes into its block.
        const auto block = reinterpret_cast<std::uintptr_t>(e->h.arena);
        if (addr != block + 64 - block % 32) return false;
        const I32 rule = e->rule, len = e->len;
        if (rule >= 1 && rule <= 5) return len == (2 << (rule - 1));
        return rule == 6 && len >= 64 && len <= maxLen && (len & (len - 1)) == 0;
    }
    // Makes a root unrecognisable, so that a stale pointer to a released
    // plan is refused.
    static void forget(Env1* e) {
        e->h.del = nullptr;
        e->h.op = nullptr;
        e->rule = 0;
    }
    // The destructor of node kind k (1 to 9) of this precision: what a
    // record of that kind carries in its head.
    static DelFn kindDel(I32 k);

    static T envfCompose_at(const EnvfCompose* f, I32 i, I32 j);
    static T envfsplit_at(const Envfsplit* f, I32 g, I32 l, I32 j);
    static T envlambda_at(const Envlambda* f, I32 i, I32 j, I32 k);

    // Compute. The split operations take `groups` column groups side by
    // side: group k works on the nu columns from o + nu k, its sequences
    // start at a + nu k and mirror at a + b - nu k. Every column gets the
    // same arithmetic whatever the number of groups; walking neighbouring
    // groups together only keeps whole cache lines in use.
    static Status env4_compute(const Env4* e, T* dst, const T* in);
    static Status env5_compute(const Env5* e, T* out, const T* src);
    static Status env7_compute(const Env7* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups);
    static Status env8_compute(const Env8* e, T* out, const T* in, I32 o, I32 groups);
    static Status env9_compute(const Env9* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups);
    static Status compute(const T* src, T* dst, const Env1* spec);
    static void direct(I32 rule, const T* src, T* dst);
};

// Column order of the last-stage rotations: the order in which the
// synthesis kernel of m columns consumes them.
constexpr I32 env4Column(I32 m, I32 k) {
    if (m == 32) {
        constexpr I32 c0s[8] = {0, 4, 8, 12, 1, 5, 9, 13};
        const I32 c0 = c0s[k / 4];
        switch (k % 4) {
            case 0: return c0;
            case 1: return 31 - c0;
            case 2: return c0 + 16;
            default: return 15 - c0;
        }
    }
    return (k % 2 == 0) ? k / 2 : m - 1 - k / 2;
}

float qrbgCosPi_32f(float x);
float qrbgSinPi_32f(float x);
double qrbgCosPi_64f(double x);
double qrbgSinPi_64f(double x);

template <class T>
inline T cosPi(T x) {
    if constexpr (sizeof(T) == 4) return qrbgCosPi_32f(x); else return qrbgCosPi_64f(x);
}
template <class T>
inline T sinPi(T x) {
    if constexpr (sizeof(T) == 4) return qrbgSinPi_32f(x); else return qrbgSinPi_64f(x);
}

}  // namespace qrbg::dct4
