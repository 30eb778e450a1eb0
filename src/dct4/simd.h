// Lane vectors of the DCT-IV kernels: 4 floats or 2 doubles in one 16-byte
// register, and plain scalars for the direct kernels, behind one set of
// operators so that a kernel's text is the same for every lane count. Their
// moves are those of qrbg_simd.h, defined at any address of the caller's
// arrays; the aligned ones serve the plan's scratch and the stack only.
#pragma once

#include <cstdint>

#include "qrbg_simd.h"

// The instruction set the including source is compiled for: everything here
// and in kernels.h lives in a namespace of that name, so that a function
// compiled for a wider instruction set never stands in for the 16-byte
// code's copy at link time.
#ifndef QRBG_ISA
#define QRBG_ISA sse2
#endif

namespace qrbg::dct4 {
inline namespace QRBG_ISA {

struct V4f {
    __m128 v;
    using T = float;
    static constexpr int lanes = 4;
    static QRBG_INLINE V4f set1(float x) { return {_mm_set1_ps(x)}; }
    static QRBG_INLINE V4f load(const float* p) { return {ld4<true>(p)}; }
    static QRBG_INLINE V4f loadu(const float* p) { return {ld4<false>(p)}; }
    QRBG_INLINE void store(float* p) const { st4<true>(p, v); }
    QRBG_INLINE void storeu(float* p) const { st4<false>(p, v); }
    // Aligned store that bypasses the caches.
    QRBG_INLINE void stream(float* p) const { stream4(p, v); }
    // Lanes in the opposite order.
    QRBG_INLINE V4f reversed() const { return {_mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3))}; }
    QRBG_INLINE V4f neg() const { return {_mm_xor_ps(v, _mm_set1_ps(-0.0f))}; }
    // A plan's table entry, stored once for every lane of a 16-byte group.
    static QRBG_INLINE V4f loadTab(const float* p) { return load(p); }
    // The table entries of neighbouring lane groups, `stride` elements apart:
    // one group here.
    static QRBG_INLINE V4f loadGroups(const float* p, std::int32_t) { return load(p); }
};
QRBG_INLINE V4f operator+(V4f a, V4f b) { return {_mm_add_ps(a.v, b.v)}; }
QRBG_INLINE V4f operator-(V4f a, V4f b) { return {_mm_sub_ps(a.v, b.v)}; }
QRBG_INLINE V4f operator*(V4f a, V4f b) { return {_mm_mul_ps(a.v, b.v)}; }

struct V2d {
    __m128d v;
    using T = double;
    static constexpr int lanes = 2;
    static QRBG_INLINE V2d set1(double x) { return {_mm_set1_pd(x)}; }
    static QRBG_INLINE V2d load(const double* p) { return {ld2<true>(p)}; }
    static QRBG_INLINE V2d loadu(const double* p) { return {ld2u(p)}; }
    QRBG_INLINE void store(double* p) const { st2<true>(p, v); }
    QRBG_INLINE void storeu(double* p) const { st2u(p, v); }
    QRBG_INLINE void stream(double* p) const { stream2(p, v); }
    QRBG_INLINE V2d reversed() const { return {_mm_shuffle_pd(v, v, 1)}; }
    QRBG_INLINE V2d neg() const { return {_mm_xor_pd(v, _mm_set1_pd(-0.0))}; }
    static QRBG_INLINE V2d loadTab(const double* p) { return load(p); }
    static QRBG_INLINE V2d loadGroups(const double* p, std::int32_t) { return load(p); }
};
QRBG_INLINE V2d operator+(V2d a, V2d b) { return {_mm_add_pd(a.v, b.v)}; }
QRBG_INLINE V2d operator-(V2d a, V2d b) { return {_mm_sub_pd(a.v, b.v)}; }
QRBG_INLINE V2d operator*(V2d a, V2d b) { return {_mm_mul_pd(a.v, b.v)}; }

// One lane: the direct kernels of lengths 2 to 32.
template <class TT>
struct Sc {
    TT v;
    using T = TT;
    static constexpr int lanes = 1;
    static QRBG_INLINE Sc set1(TT x) { return {x}; }
    static QRBG_INLINE Sc load(const TT* p) { return {ld1(p)}; }
    static QRBG_INLINE Sc loadu(const TT* p) { return {ld1(p)}; }
    QRBG_INLINE void store(TT* p) const { st1(p, v); }
    QRBG_INLINE void storeu(TT* p) const { st1(p, v); }
    QRBG_INLINE Sc reversed() const { return *this; }
    QRBG_INLINE Sc neg() const { return {-v}; }
};
template <class TT>
QRBG_INLINE Sc<TT> operator+(Sc<TT> a, Sc<TT> b) { return {a.v + b.v}; }
template <class TT>
QRBG_INLINE Sc<TT> operator-(Sc<TT> a, Sc<TT> b) { return {a.v - b.v}; }
template <class TT>
QRBG_INLINE Sc<TT> operator*(Sc<TT> a, Sc<TT> b) { return {a.v * b.v}; }

template <class T>
struct VecOf;
template <>
struct VecOf<float> { using type = V4f; };
template <>
struct VecOf<double> { using type = V2d; };

// ---- 32-byte lane vectors (the AVX2 and AVX-512 variants) ---------------------
// Two neighbouring 16-byte lane groups side by side: lane l of the high half
// is lane l of the next group. Their arithmetic is lane by lane, as in the
// 16-byte vectors, so each lane gets the bits it gets there. Moves are
// unaligned (the plan's scratch is 16-byte aligned), and streaming stores
// stay with the 16-byte vectors.
#if defined(__AVX__)
struct V8f {
    __m256 v;
    using T = float;
    static constexpr int lanes = 8;
    static QRBG_INLINE V8f set1(float x) { return {_mm256_set1_ps(x)}; }
    static QRBG_INLINE V8f load(const float* p) { return {ld32(p)}; }
    static QRBG_INLINE V8f loadu(const float* p) { return {ld32(p)}; }
    QRBG_INLINE void store(float* p) const { st32(p, v); }
    QRBG_INLINE void storeu(float* p) const { st32(p, v); }
    QRBG_INLINE V8f reversed() const {
        const __m256 r = _mm256_permute_ps(v, _MM_SHUFFLE(0, 1, 2, 3));
        return {_mm256_permute2f128_ps(r, r, 0x01)};
    }
    QRBG_INLINE V8f neg() const { return {_mm256_xor_ps(v, _mm256_set1_ps(-0.0f))}; }
    static QRBG_INLINE V8f loadTab(const float* p) { return {_mm256_broadcast_ps(reinterpret_cast<const __m128*>(p))}; }
    static QRBG_INLINE V8f loadGroups(const float* p, std::int32_t stride) { return {ld16x2(p, p + stride)}; }
};
QRBG_INLINE V8f operator+(V8f a, V8f b) { return {_mm256_add_ps(a.v, b.v)}; }
QRBG_INLINE V8f operator-(V8f a, V8f b) { return {_mm256_sub_ps(a.v, b.v)}; }
QRBG_INLINE V8f operator*(V8f a, V8f b) { return {_mm256_mul_ps(a.v, b.v)}; }

struct V4d {
    __m256d v;
    using T = double;
    static constexpr int lanes = 4;
    static QRBG_INLINE V4d set1(double x) { return {_mm256_set1_pd(x)}; }
    static QRBG_INLINE V4d load(const double* p) { return {ld32(p)}; }
    static QRBG_INLINE V4d loadu(const double* p) { return {ld32(p)}; }
    QRBG_INLINE void store(double* p) const { st32(p, v); }
    QRBG_INLINE void storeu(double* p) const { st32(p, v); }
    QRBG_INLINE V4d reversed() const {
        const __m256d r = _mm256_permute_pd(v, 0x5);
        return {_mm256_permute2f128_pd(r, r, 0x01)};
    }
    QRBG_INLINE V4d neg() const { return {_mm256_xor_pd(v, _mm256_set1_pd(-0.0))}; }
    static QRBG_INLINE V4d loadTab(const double* p) {
        return {_mm256_broadcast_pd(reinterpret_cast<const __m128d*>(p))};
    }
    static QRBG_INLINE V4d loadGroups(const double* p, std::int32_t stride) { return {ld16x2(p, p + stride)}; }
};
QRBG_INLINE V4d operator+(V4d a, V4d b) { return {_mm256_add_pd(a.v, b.v)}; }
QRBG_INLINE V4d operator-(V4d a, V4d b) { return {_mm256_sub_pd(a.v, b.v)}; }
QRBG_INLINE V4d operator*(V4d a, V4d b) { return {_mm256_mul_pd(a.v, b.v)}; }

template <class T>
struct WideOf;
template <>
struct WideOf<float> { using type = V8f; };
template <>
struct WideOf<double> { using type = V4d; };
#else
// The 16-byte build: the widest vector is the 16-byte one.
template <class T>
struct WideOf : VecOf<T> {};
#endif

}  // namespace QRBG_ISA
}  // namespace qrbg::dct4
