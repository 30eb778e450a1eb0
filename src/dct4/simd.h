// Lane vectors of the DCT-IV kernels: 4 floats or 2 doubles in one 16-byte
// register, and plain scalars for the direct kernels, behind one set of
// operators so that a kernel's text is the same for every lane count. Their
// moves are those of qrbg_simd.h, defined at any address of the caller's
// arrays; the aligned ones serve the plan's scratch and the stack only.
#pragma once

#include "qrbg_simd.h"

namespace qrbg::dct4 {

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

}  // namespace qrbg::dct4
