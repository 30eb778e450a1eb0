// Building blocks of the Walsh-Hadamard kernels.
//
// Every kernel computes the same thing: level 0 over the whole vector, then
// level 1, and so on, each sum and difference rounded in the element type,
// then one multiplication by the scale. The blocks below only change which
// independent operations run first; every element still meets the levels in
// ascending order, and every butterfly takes the same two operands in the
// same order (a + b and a - b, a the lower index), so all kernels give the
// bits of the plain level loop, whatever the width of their registers.
//
// A block is written against two callbacks: `ld(i)` yields vector i of its
// input, `st(i, v)` takes vector i of its result. The caller decides where
// data comes from and goes to (caller's array, scratch, stack) and whether
// the scale is applied on the way out, so one block serves straight-line
// kernels, row passes and column passes alike. All index arithmetic is done
// at compile time through `unroll`, which leaves straight-line code.
//
// The register operations come from a traits type V (V::T the element type,
// V::R the register, V::kLanes elements per register): the 16-byte ones
// below, the wide ones in wht_wide.h. Everything here lives in a namespace
// named after the instruction set the including source is compiled for
// (QRBG_ISA), so that a function compiled for a wider instruction set can
// never stand in for the 16-byte code's copy of it at link time.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <utility>

#include "qrbg_simd.h"
#include "qrbgen.h"

#ifndef QRBG_ISA
#define QRBG_ISA sse2
#endif

namespace qrbg::wht {
inline namespace QRBG_ISA {

// Calls f(integral_constant<int, 0>) ... f(integral_constant<int, N-1>):
// an unrolled loop whose index is a constant expression.
template <int N, class F>
QRBG_INLINE void unroll(F&& f) {
    [&]<int... I>(std::integer_sequence<int, I...>) QRBG_INLINE_LAMBDA {
        (f(std::integral_constant<int, I>{}), ...);
    }(std::make_integer_sequence<int, N>{});
}

template <class V, int L, class Ld, class St>
QRBG_INLINE void block(Ld&& ld, St&& st);

// ---- 16-byte registers -------------------------------------------------------
//
// kLanes elements per 16-byte vector; kLow levels are done inside a vector
// (by shuffles), on groups of kGroup vectors: a 4x4 tile for floats, a quad
// of two vectors for doubles.
template <class T>
struct Vec;

template <>
struct Vec<float> {
    using T = float;
    using R = __m128;
    static constexpr int kLanes = 4;
    static constexpr int kLow = 2;
    static constexpr int kGroup = 4;

    static QRBG_INLINE R add(R a, R b) { return _mm_add_ps(a, b); }
    static QRBG_INLINE R sub(R a, R b) { return _mm_sub_ps(a, b); }
    static QRBG_INLINE R mul(R a, R b) { return _mm_mul_ps(a, b); }

    // Caller's arrays: aligned or unaligned 16-byte moves.
    template <bool kAligned>
    static QRBG_INLINE R load(const float* p) {
        return ld4<kAligned>(p);
    }
    template <bool kAligned>
    static QRBG_INLINE void store(float* p, R v) {
        st4<kAligned>(p, v);
    }

    // The scale reaches all lanes by interleaving the scalar with itself
    // twice: (s, x, x, x) -> (s, s, x, x) -> (s, s, s, s).
    static QRBG_INLINE R broadcast(const float& s) { return ::qrbg::broadcast(s); }

    // Levels 0 and 1 of one tile of 16 elements. The tile is transposed so
    // that the four elements of each row of four stand in one lane across
    // the vectors, the two levels become whole-vector sums and differences,
    // and the transpose back restores natural order: 16 shuffles in all.
    static QRBG_INLINE void low(R& v0, R& v1, R& v2, R& v3) {
        R a = _mm_unpacklo_ps(v0, v1), b = _mm_unpackhi_ps(v0, v1);
        R c = _mm_unpacklo_ps(v2, v3), d = _mm_unpackhi_ps(v2, v3);
        R t0 = _mm_movelh_ps(a, c), t1 = _mm_movehl_ps(c, a);
        R t2 = _mm_movelh_ps(b, d), t3 = _mm_movehl_ps(d, b);
        // Level 0 pairs element 0 with 1 and 2 with 3; level 1 pairs 0 with 2.
        R s01 = add(t0, t1), d01 = sub(t0, t1), s23 = add(t2, t3), d23 = sub(t2, t3);
        R u0 = add(s01, s23), u2 = sub(s01, s23), u1 = add(d01, d23), u3 = sub(d01, d23);
        a = _mm_unpacklo_ps(u0, u1), b = _mm_unpackhi_ps(u0, u1);
        c = _mm_unpacklo_ps(u2, u3), d = _mm_unpackhi_ps(u2, u3);
        v0 = _mm_movelh_ps(a, c), v1 = _mm_movehl_ps(c, a);
        v2 = _mm_movelh_ps(b, d), v3 = _mm_movehl_ps(d, b);
    }

    template <class Ld>
    static QRBG_INLINE void lowGroup(Ld&& ld, R* v) {
        v[0] = ld(0), v[1] = ld(1), v[2] = ld(2), v[3] = ld(3);
        low(v[0], v[1], v[2], v[3]);
    }

    // All levels of 2^kLog contiguous elements from `in` (the caller's
    // array, aligned when kAligned), result vector i to st(i, v).
    template <int kLog, bool kAligned, class St>
    static QRBG_INLINE void rowBlock(const float* in, St&& st) {
        block<Vec, kLog - kLow>([&](int i) QRBG_INLINE_LAMBDA { return load<kAligned>(in + i * kLanes); }, st);
    }
};

template <>
struct Vec<double> {
    using T = double;
    using R = __m128d;
    static constexpr int kLanes = 2;
    static constexpr int kLow = 1;
    static constexpr int kGroup = 2;

    static QRBG_INLINE R add(R a, R b) { return _mm_add_pd(a, b); }
    static QRBG_INLINE R sub(R a, R b) { return _mm_sub_pd(a, b); }
    static QRBG_INLINE R mul(R a, R b) { return _mm_mul_pd(a, b); }

    // Caller's arrays: a 16-byte move when aligned, otherwise a low-half and
    // a high-half 8-byte move per vector, which processors with slow
    // unaligned 16-byte moves prefer. A compiler tuned for processors where
    // unaligned moves are cheap may fuse the halves into one such move; it
    // touches the same bytes, so the results cannot differ.
    template <bool kAligned>
    static QRBG_INLINE R load(const double* p) {
        return ld2<kAligned>(p);
    }
    template <bool kAligned>
    static QRBG_INLINE void store(double* p, R v) {
        st2<kAligned>(p, v);
    }

    // A duplicating load of the scale. _mm_load1_pd is that operation: with
    // SSE3 enabled the compiler emits the one-instruction form, with the
    // library's baseline of SSE2 it emits a scalar load and an unpack. The
    // value is the same either way, and the library keeps running on every
    // processor its build flags promise, without a second instruction-set
    // level hidden in one function.
    static QRBG_INLINE R broadcast(const double& s) { return _mm_load1_pd(&s); }

    // Level 0 of one quad (x0, x1), (x2, x3): regroup to (x0, x2), (x1, x3),
    // take sum and difference, and regroup back: 4 shuffles.
    static QRBG_INLINE void low(R& v0, R& v1) {
        R e = _mm_unpacklo_pd(v0, v1), o = _mm_unpackhi_pd(v0, v1);
        R s = add(e, o), d = sub(e, o);
        v0 = _mm_unpacklo_pd(s, d);
        v1 = _mm_unpackhi_pd(s, d);
    }

    template <class Ld>
    static QRBG_INLINE void lowGroup(Ld&& ld, R* v) {
        v[0] = ld(0), v[1] = ld(1);
        low(v[0], v[1]);
    }

    template <int kLog, bool kAligned, class St>
    static QRBG_INLINE void rowBlock(const double* in, St&& st) {
        block<Vec, kLog - kLow>([&](int i) QRBG_INLINE_LAMBDA { return load<kAligned>(in + i * kLanes); }, st);
    }
};

// ---- Whole-vector levels ---------------------------------------------------

// Two adjacent levels at once on four vectors a, b, c, d from positions 0,
// q, 2q and 3q: the lower level pairs (a, b) and (c, d), which stand q
// apart, the upper level pairs its results, which stand 2q apart. Each
// element still goes through the lower level first.
template <class V, class St>
QRBG_INLINE void radix4(typename V::R a, typename V::R b, typename V::R c, typename V::R d, St&& st) {
    const auto s0 = V::add(a, b), d0 = V::sub(a, b), s1 = V::add(c, d), d1 = V::sub(c, d);
    st(0, V::add(s0, s1));
    st(1, V::add(d0, d1));
    st(2, V::sub(s0, s1));
    st(3, V::sub(d0, d1));
}

// L levels over 2^L vectors: the level that pairs vectors at distance 1
// first, then distance 2, up to distance 2^(L-1). Worked depth-first: the
// four quarters take their L-2 lower levels each before the top two levels
// join them, so a quarter's data stay close to the registers.
template <class V, int L, class Ld, class St>
QRBG_INLINE void vectorLevels(Ld&& ld, St&& st) {
    if constexpr (L == 0) {
        st(0, ld(0));
    } else if constexpr (L == 1) {
        const auto a = ld(0), b = ld(1);
        st(0, V::add(a, b));
        st(1, V::sub(a, b));
    } else if constexpr (L == 2) {
        radix4<V>(ld(0), ld(1), ld(2), ld(3), st);
    } else {
        constexpr int Q = 1 << (L - 2);
        typename V::R v[4 * Q];
        unroll<4>([&](auto q) QRBG_INLINE_LAMBDA {
            vectorLevels<V, L - 2>([&](int i) QRBG_INLINE_LAMBDA { return ld(q * Q + i); },
                                   [&](int i, typename V::R x) QRBG_INLINE_LAMBDA { v[q * Q + i] = x; });
        });
        unroll<Q>([&](auto i) QRBG_INLINE_LAMBDA {
            radix4<V>(v[i], v[i + Q], v[i + 2 * Q], v[i + 3 * Q],
                      [&](int k, typename V::R x) QRBG_INLINE_LAMBDA { st(i + k * Q, x); });
        });
    }
}

// All levels of a contiguous block of 2^(L + kLow) elements held in 2^L
// 16-byte vectors: the in-vector levels on each tile or quad, then the
// whole-vector levels. Blocks of more than 8 vectors are split into four
// quarters that finish their own levels first.
template <class V, int L, class Ld, class St>
QRBG_INLINE void block(Ld&& ld, St&& st) {
    constexpr int M = 1 << L;
    typename V::R v[M];
    if constexpr (L <= 3) {
        static_assert(M >= V::kGroup, "a block holds at least one tile or quad");
        unroll<M / V::kGroup>([&](auto g) QRBG_INLINE_LAMBDA {
            V::lowGroup([&](int i) QRBG_INLINE_LAMBDA { return ld(g * V::kGroup + i); }, v + g * V::kGroup);
        });
        vectorLevels<V, L>([&](int i) QRBG_INLINE_LAMBDA { return v[i]; }, st);
    } else {
        constexpr int Q = M / 4;
        unroll<4>([&](auto q) QRBG_INLINE_LAMBDA {
            block<V, L - 2>([&](int i) QRBG_INLINE_LAMBDA { return ld(q * Q + i); },
                            [&](int i, typename V::R x) QRBG_INLINE_LAMBDA { v[q * Q + i] = x; });
        });
        unroll<Q>([&](auto i) QRBG_INLINE_LAMBDA {
            radix4<V>(v[i], v[i + Q], v[i + 2 * Q], v[i + 3 * Q],
                      [&](int k, typename V::R x) QRBG_INLINE_LAMBDA { st(i + k * Q, x); });
        });
    }
}

// ---- Scale ----------------------------------------------------------------

template <class T>
constexpr T pow2(int e) {  // 2^e, exact (no run-time math)
    T r = 1;
    for (; e > 0; --e) r *= 2;
    for (; e < 0; ++e) r /= 2;
    return r;
}

// 1/sqrt(2) as the library stores it. The double is 1.0 divided by the
// double nearest to sqrt(2), one unit in the last place below the correctly
// rounded value. Every odd order scales this significand by an exact power
// of two, so the constants of all odd orders agree in their digits.
template <class T>
constexpr T kInvSqrt2 = 0;
template <>
inline constexpr float kInvSqrt2<float> = std::bit_cast<float>(0x3F3504F3u);
template <>
inline constexpr double kInvSqrt2<double> = std::bit_cast<double>(0x3FE6A09E667F3BCCull);

template <class T, int kOrder>
struct Scale {
    static constexpr T byN = pow2<T>(-kOrder);
    static constexpr T bySqrtN =
        kOrder % 2 == 0 ? pow2<T>(-kOrder / 2) : kInvSqrt2<T> * pow2<T>(-(kOrder - 1) / 2);

    // The scale of a flag, or false for a flag that is not one of the four.
    static QRBG_INLINE bool select(std::int32_t flag, T& s) {
        switch (flag) {
            case ScaleFwdByN:
            case ScaleInvByN: s = byN; return true;
            case ScaleBySqrtN: s = bySqrtN; return true;
            case ScaleNone: s = T(1); return true;
            default: return false;
        }
    }
};

// ---- Scratch --------------------------------------------------------------

// Bytes of scratch per order (index order - 1). Orders from 8 on use a main
// region of N elements; the three-pass orders add an auxiliary region that
// holds one group (2048 bytes, 8192 at order 13 of doubles).
inline constexpr std::int32_t kScratchBytes32f[13] = {0, 0, 0, 0, 0, 0, 0, 1024, 2048, 4096, 8192, 18432, 34816};
inline constexpr std::int32_t kScratchBytes64f[13] = {0, 0, 0, 0, 0, 0, 0, 2048, 4096, 8192, 18432, 34816, 73728};

template <class T>
constexpr std::int32_t scratchBytes(int order) {
    if constexpr (sizeof(T) == 4) return kScratchBytes32f[order - 1];
    else return kScratchBytes64f[order - 1];
}

// Elements of the auxiliary region, one group of a three-pass kernel (0 for
// the orders without one).
template <class T>
constexpr int groupElements(int order) {
    return scratchBytes<T>(order) / static_cast<int>(sizeof(T)) - (order >= 8 ? 1 << order : 0);
}

}  // namespace QRBG_ISA
}  // namespace qrbg::wht
