// Wide registers for the Walsh-Hadamard kernels: 32 bytes, two 16-byte
// halves side by side (AVX, in the AVX2 and AVX-512 variants; the AVX-512
// variant has 32 of them instead of 16).
//
// A wide register holds two 16-byte units (a quad of floats or a pair of
// doubles) from two places of the block. The in-vector levels of the
// 16-byte kernels (the 4x4 transposition of floats, the regrouping of
// doubles) run in both halves at once and pair the same elements; the
// levels between units are whole-register sums and differences, as in the
// 16-byte kernels; the level that pairs the two halves of each register is
// the block's last, and one exchange of halves between two registers leaves
// its sums and differences in natural order. Every butterfly still takes the
// same two operands in the same order, so the bits are those of the 16-byte
// kernels and of the plain level loop.
#pragma once

#include <immintrin.h>

#include "wht_blocks.h"

namespace qrbg::wht {
inline namespace QRBG_ISA {

struct WideF32 {
    using T = float;
    using R = __m256;
    static constexpr int kLanes = 8;

    static QRBG_INLINE R add(R a, R b) { return _mm256_add_ps(a, b); }
    static QRBG_INLINE R sub(R a, R b) { return _mm256_sub_ps(a, b); }
    static QRBG_INLINE R mul(R a, R b) { return _mm256_mul_ps(a, b); }

    // One memory form for every alignment: unaligned moves cost what aligned
    // ones do on processors with these registers.
    template <bool>
    static QRBG_INLINE R load(const float* p) {
        return ld32(p);
    }
    template <bool>
    static QRBG_INLINE void store(float* p, R v) {
        st32(p, v);
    }
    static QRBG_INLINE R broadcast(const float& s) { return _mm256_set1_ps(s); }

    // Levels 0 and 1 of four registers, in each half: the 4x4 transposition
    // of the 16-byte kernels, half by half.
    static QRBG_INLINE void low(R& v0, R& v1, R& v2, R& v3) {
        R a = _mm256_unpacklo_ps(v0, v1), b = _mm256_unpackhi_ps(v0, v1);
        R c = _mm256_unpacklo_ps(v2, v3), d = _mm256_unpackhi_ps(v2, v3);
        R t0 = _mm256_shuffle_ps(a, c, 0x44), t1 = _mm256_shuffle_ps(a, c, 0xEE);
        R t2 = _mm256_shuffle_ps(b, d, 0x44), t3 = _mm256_shuffle_ps(b, d, 0xEE);
        R s01 = add(t0, t1), d01 = sub(t0, t1), s23 = add(t2, t3), d23 = sub(t2, t3);
        R u0 = add(s01, s23), u2 = sub(s01, s23), u1 = add(d01, d23), u3 = sub(d01, d23);
        a = _mm256_unpacklo_ps(u0, u1), b = _mm256_unpackhi_ps(u0, u1);
        c = _mm256_unpacklo_ps(u2, u3), d = _mm256_unpackhi_ps(u2, u3);
        v0 = _mm256_shuffle_ps(a, c, 0x44), v1 = _mm256_shuffle_ps(a, c, 0xEE);
        v2 = _mm256_shuffle_ps(b, d, 0x44), v3 = _mm256_shuffle_ps(b, d, 0xEE);
    }
    static constexpr int kGroup = 4;
    static constexpr int kUnit = 4;  // elements per half
    static QRBG_INLINE void lowGroup(R* v) { low(v[0], v[1], v[2], v[3]); }

    // Level 0, 1 or 2 of one register by itself, for blocks too small to
    // fill a group: the partner of every element comes over by a
    // permutation, and the sum is kept where the element is the lower of
    // its pair, the difference (partner - element: a - b again) where it is
    // the upper one.
    template <int kLevel>
    static QRBG_INLINE R within(R v) {
        R p;
        if constexpr (kLevel == 0) p = _mm256_permute_ps(v, 0xB1);
        else if constexpr (kLevel == 1) p = _mm256_permute_ps(v, 0x4E);
        else p = _mm256_permute2f128_ps(v, v, 0x01);
        constexpr int upper = kLevel == 0 ? 0xAA : kLevel == 1 ? 0xCC : 0xF0;
        return _mm256_blend_ps(add(v, p), sub(p, v), upper);
    }

    static QRBG_INLINE R halves(const float* lo, const float* hi) { return ld16x2(lo, hi); }
    // (a.lo, b.lo) and (a.hi, b.hi).
    static QRBG_INLINE R lows(R a, R b) { return _mm256_permute2f128_ps(a, b, 0x20); }
    static QRBG_INLINE R highs(R a, R b) { return _mm256_permute2f128_ps(a, b, 0x31); }
};

struct WideF64 {
    using T = double;
    using R = __m256d;
    static constexpr int kLanes = 4;

    static QRBG_INLINE R add(R a, R b) { return _mm256_add_pd(a, b); }
    static QRBG_INLINE R sub(R a, R b) { return _mm256_sub_pd(a, b); }
    static QRBG_INLINE R mul(R a, R b) { return _mm256_mul_pd(a, b); }

    template <bool>
    static QRBG_INLINE R load(const double* p) {
        return ld32(p);
    }
    template <bool>
    static QRBG_INLINE void store(double* p, R v) {
        st32(p, v);
    }
    static QRBG_INLINE R broadcast(const double& s) { return _mm256_set1_pd(s); }

    // Level 0 of two registers, in each half: the regrouping of the 16-byte
    // kernels, half by half.
    static QRBG_INLINE void low(R& v0, R& v1) {
        const R e = _mm256_unpacklo_pd(v0, v1), o = _mm256_unpackhi_pd(v0, v1);
        const R s = add(e, o), d = sub(e, o);
        v0 = _mm256_unpacklo_pd(s, d);
        v1 = _mm256_unpackhi_pd(s, d);
    }
    static constexpr int kGroup = 2;
    static constexpr int kUnit = 2;
    static QRBG_INLINE void lowGroup(R* v) { low(v[0], v[1]); }

    static QRBG_INLINE R halves(const double* lo, const double* hi) { return ld16x2(lo, hi); }
    static QRBG_INLINE R lows(R a, R b) { return _mm256_permute2f128_pd(a, b, 0x20); }
    static QRBG_INLINE R highs(R a, R b) { return _mm256_permute2f128_pd(a, b, 0x31); }
};

// The in-vector and whole-register levels of 2^L registers whose halves
// hold units i and i + 2^L: the in-vector levels on each group, then the L
// levels between registers. More than 8 registers split into quarters that
// finish their own levels first.
template <class V, int L>
QRBG_INLINE void halvesLevels(typename V::R* v) {
    constexpr int M = 1 << L;
    if constexpr (L <= 3) {
        static_assert(M >= V::kGroup, "a block holds at least one group");
        unroll<M / V::kGroup>([&](auto g) QRBG_INLINE_LAMBDA { V::lowGroup(v + g * V::kGroup); });
        vectorLevels<V, L>([&](int i) QRBG_INLINE_LAMBDA { return v[i]; },
                           [&](int i, typename V::R x) QRBG_INLINE_LAMBDA { v[i] = x; });
    } else {
        constexpr int Q = M / 4;
        unroll<4>([&](auto q) QRBG_INLINE_LAMBDA { halvesLevels<V, L - 2>(v + q * Q); });
        typename V::R u[M];
        unroll<Q>([&](auto i) QRBG_INLINE_LAMBDA {
            radix4<V>(v[i], v[i + Q], v[i + 2 * Q], v[i + 3 * Q],
                      [&](int k, typename V::R x) QRBG_INLINE_LAMBDA { u[i + k * Q] = x; });
        });
        unroll<M>([&](auto i) QRBG_INLINE_LAMBDA { v[i] = u[i]; });
    }
}

// All levels of 2^kLog contiguous elements from `in`, result register i (in
// natural order) to st(i, v).
template <class V, int kLog, class St>
QRBG_INLINE void wideBlock(const typename V::T* in, St&& st) {
    using R = typename V::R;
    constexpr int M = (1 << kLog) / V::kLanes;
    if constexpr (M < V::kGroup) {
        // Floats, 8 or 16 elements: levels 0 to 2 inside each register, then
        // the one between the two registers.
        R v[M];
        unroll<M>([&](auto i) QRBG_INLINE_LAMBDA {
            v[i] = V::template load<false>(in + i * V::kLanes);
            v[i] = V::template within<0>(v[i]);
            v[i] = V::template within<1>(v[i]);
            v[i] = V::template within<2>(v[i]);
        });
        vectorLevels<V, M == 2 ? 1 : 0>([&](int i) QRBG_INLINE_LAMBDA { return v[i]; }, st);
    } else {
        constexpr int L = std::countr_zero(static_cast<unsigned>(M)), U = V::kUnit;
        R v[M];
        unroll<M>([&](auto i) QRBG_INLINE_LAMBDA { v[i] = V::halves(in + i * U, in + (i + M) * U); });
        halvesLevels<V, L>(v);
        // The last level pairs the two halves of each register.
        unroll<M / 2>([&](auto j) QRBG_INLINE_LAMBDA {
            const R a = V::lows(v[2 * j], v[2 * j + 1]), b = V::highs(v[2 * j], v[2 * j + 1]);
            st(j, V::add(a, b));
            st(j + M / 2, V::sub(a, b));
        });
    }
}

// The wide traits' row block: the same interface as Vec<T>::rowBlock.
template <class T>
struct Wide;
template <>
struct Wide<float> : WideF32 {
    template <int kLog, bool, class St>
    static QRBG_INLINE void rowBlock(const float* in, St&& st) {
        wideBlock<WideF32, kLog>(in, st);
    }
};
template <>
struct Wide<double> : WideF64 {
    template <int kLog, bool, class St>
    static QRBG_INLINE void rowBlock(const double* in, St&& st) {
        wideBlock<WideF64, kLog>(in, st);
    }
};

}  // namespace QRBG_ISA
}  // namespace qrbg::wht
