// The operations of the wide variants on 32-byte registers (AVX2, VEX
// encoded): two 16-byte slots per register. Every arithmetic operation and
// every lane move of the 16-byte kernels has a form that works slot by slot;
// gathers move whole slots between registers.
#pragma once

#include "kernel_wide.h"

namespace qrbg::wide {
namespace {

// Which slot of which source a gather takes: -1 undefined, 0 and 1 the slots
// of the first source, 2 and 3 those of the second.
constexpr int permCode(int sel) { return sel < 0 ? 0x8 : sel; }

// One slot per register: the 16-byte operations, VEX encoded. For kernels
// that do not gain from wider registers.
struct Vex128F64 {
    using V = __m128d;
    using B = __m128d;
    using T = double;
    static constexpr int kSlots = 1;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm_add_pd(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm_sub_pd(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm_mul_pd(a, _mm_load_pd(k)); }
    static QRBG_WIDE_INLINE V xorK(V a, const T* k) { return _mm_xor_pd(a, _mm_load_pd(k)); }
    static QRBG_WIDE_INLINE V xchg(V a) { return _mm_shuffle_pd(a, a, 1); }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm_loadu_pd(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0) { return b0; }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) { return v; }
};

struct Vex128F32 {
    using V = __m128;
    using B = __m128;
    using T = float;
    static constexpr int kSlots = 1;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm_add_ps(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm_mul_ps(a, _mm_load_ps(k)); }
    static QRBG_WIDE_INLINE V shufEven(V a, V b) { return _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)); }
    static QRBG_WIDE_INLINE V shufOdd(V a, V b) { return _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)); }
    static QRBG_WIDE_INLINE V unpackLo(V a, V b) { return _mm_unpacklo_ps(a, b); }
    static QRBG_WIDE_INLINE V unpackHi(V a, V b) { return _mm_unpackhi_ps(a, b); }
    static QRBG_WIDE_INLINE V moveLH(V a, V b) { return _mm_movelh_ps(a, b); }
    static QRBG_WIDE_INLINE V moveHL(V a, V b) { return _mm_movehl_ps(a, b); }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm_loadu_ps(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm_storeu_ps(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0) { return b0; }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) { return v; }
};

struct Avx2F64 {
    using V = __m256d;
    using B = __m128d;
    using T = double;
    static constexpr int kSlots = 2;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm256_add_pd(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm256_sub_pd(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm256_mul_pd(a, _mm256_load_pd(k)); }
    static QRBG_WIDE_INLINE V xorK(V a, const T* k) { return _mm256_xor_pd(a, _mm256_load_pd(k)); }
    // The two lanes of every slot exchanged.
    static QRBG_WIDE_INLINE V xchg(V a) { return _mm256_permute_pd(a, 0x5); }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm256_loadu_pd(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm256_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0, B b1) { return _mm256_insertf128_pd(_mm256_castpd128_pd256(b0), b1, 1); }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) {
        if constexpr (s == 0) return _mm256_castpd256_pd128(v);
        else return _mm256_extractf128_pd(v, 1);
    }
    template <int s0, int s1>
    static QRBG_WIDE_INLINE V gather(V a, V b) {
        if constexpr ((s0 == -1 || s0 == 0 || s0 == 2) && (s1 == -1 || s1 == 1 || s1 == 3)) {
            return _mm256_blend_pd(a, b, (s0 == 2 ? 0x3 : 0) | (s1 == 3 ? 0xc : 0));
        } else if constexpr (s0 == 0 && s1 == 2) {
            return _mm256_insertf128_pd(a, _mm256_castpd256_pd128(b), 1);
        } else if constexpr (s0 == 2 && s1 == 0) {
            return _mm256_insertf128_pd(b, _mm256_castpd256_pd128(a), 1);
        } else {
            return _mm256_permute2f128_pd(a, b, permCode(s0) | permCode(s1) << 4);
        }
    }
};

struct Avx2F32 {
    using V = __m256;
    using B = __m128;
    using T = float;
    static constexpr int kSlots = 2;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm256_add_ps(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm256_mul_ps(a, _mm256_load_ps(k)); }
    // The lane moves of the split form, slot by slot.
    static QRBG_WIDE_INLINE V shufEven(V a, V b) { return _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)); }
    static QRBG_WIDE_INLINE V shufOdd(V a, V b) { return _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)); }
    static QRBG_WIDE_INLINE V unpackLo(V a, V b) { return _mm256_unpacklo_ps(a, b); }
    static QRBG_WIDE_INLINE V unpackHi(V a, V b) { return _mm256_unpackhi_ps(a, b); }
    static QRBG_WIDE_INLINE V moveLH(V a, V b) {
        return _mm256_castpd_ps(_mm256_unpacklo_pd(_mm256_castps_pd(a), _mm256_castps_pd(b)));
    }
    static QRBG_WIDE_INLINE V moveHL(V a, V b) {
        return _mm256_castpd_ps(_mm256_unpackhi_pd(_mm256_castps_pd(b), _mm256_castps_pd(a)));
    }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm256_loadu_ps(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm256_storeu_ps(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0, B b1) { return _mm256_insertf128_ps(_mm256_castps128_ps256(b0), b1, 1); }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) {
        if constexpr (s == 0) return _mm256_castps256_ps128(v);
        else return _mm256_extractf128_ps(v, 1);
    }
    template <int s0, int s1>
    static QRBG_WIDE_INLINE V gather(V a, V b) {
        if constexpr ((s0 == -1 || s0 == 0 || s0 == 2) && (s1 == -1 || s1 == 1 || s1 == 3)) {
            return _mm256_blend_ps(a, b, (s0 == 2 ? 0x0f : 0) | (s1 == 3 ? 0xf0 : 0));
        } else if constexpr (s0 == 0 && s1 == 2) {
            return _mm256_insertf128_ps(a, _mm256_castps256_ps128(b), 1);
        } else if constexpr (s0 == 2 && s1 == 0) {
            return _mm256_insertf128_ps(b, _mm256_castps256_ps128(a), 1);
        } else {
            return _mm256_permute2f128_ps(a, b, permCode(s0) | permCode(s1) << 4);
        }
    }
};

// Scalar values side by side: two or four per register.
struct Lanes16 {
    using S = __m128;
    using D = __m128d;
};
struct Lanes32 {
    using S = __m128;
    using D = __m256d;
};
// Doubles, singles and the conversions between them, for the 64f kernels
// (which use D alone) and the 32f ones alike.
struct Lanes2 : LanesBase<Lanes16, 2> {
    static QRBG_WIDE_INLINE D splatD(double s) { return _mm_set1_pd(s); }
    static QRBG_WIDE_INLINE D loadD(const double* p) { return _mm_loadu_pd(p); }
    static QRBG_WIDE_INLINE void storeD(double* p, D v) { _mm_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE S splatS(float s) { return _mm_set1_ps(s); }
    static QRBG_WIDE_INLINE S loadS(const float* p) { return ldHalves(p); }
    static QRBG_WIDE_INLINE void storeS(float* p, S v) { stLo(p, v); }
    static QRBG_WIDE_INLINE D widen(S v) { return _mm_cvtps_pd(v); }
    static QRBG_WIDE_INLINE S narrow(D v) { return _mm_cvtpd_ps(v); }
};
struct Lanes4 : LanesBase<Lanes32, 4> {
    static QRBG_WIDE_INLINE D splatD(double s) { return _mm256_set1_pd(s); }
    static QRBG_WIDE_INLINE D loadD(const double* p) { return _mm256_loadu_pd(p); }
    static QRBG_WIDE_INLINE void storeD(double* p, D v) { _mm256_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE S splatS(float s) { return _mm_set1_ps(s); }
    static QRBG_WIDE_INLINE S loadS(const float* p) { return _mm_loadu_ps(p); }
    static QRBG_WIDE_INLINE void storeS(float* p, S v) { _mm_storeu_ps(p, v); }
    static QRBG_WIDE_INLINE D widen(S v) { return _mm256_cvtps_pd(v); }
    static QRBG_WIDE_INLINE S narrow(D v) { return _mm256_cvtpd_ps(v); }
};

}  // namespace
}  // namespace qrbg::wide
