// What every generated complex kernel includes: the public types and status
// values, the vector moves of the two memory forms, and the attributes that
// keep the unaligned twin a function of its own.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "qrbgen.h"

#define QRBG_ALWAYS_INLINE inline __attribute__((always_inline))
#define QRBG_NOINLINE __attribute__((noinline))

namespace qrbg {

// The aligned form needs both arrays at multiples of 16 bytes.
inline bool misaligned(const void* a, const void* b) {
    return ((reinterpret_cast<std::uintptr_t>(a) | reinterpret_cast<std::uintptr_t>(b)) & 15u) != 0;
}

// One complex double: a 16-byte move in the aligned form, a low-half and a
// high-half 8-byte move in the unaligned form.
template <bool kAligned>
QRBG_ALWAYS_INLINE __m128d ld2(const double* p) {
    if constexpr (kAligned) return _mm_load_pd(p);
    else return _mm_loadh_pd(_mm_load_sd(p), p + 1);
}
template <bool kAligned>
QRBG_ALWAYS_INLINE void st2(double* p, __m128d v) {
    if constexpr (kAligned) {
        _mm_store_pd(p, v);
    } else {
        _mm_storel_pd(p, v);
        _mm_storeh_pd(p + 1, v);
    }
}

// (-0.0, +0.0): exclusive or with it turns the exchanged (b, a) into (-b, a) = i*(a + ib).
QRBG_ALWAYS_INLINE __m128d signMaskLo() {
    alignas(16) static const double k[2] = {-0.0, 0.0};
    return _mm_load_pd(k);
}

}  // namespace qrbg

namespace qrbg {

// Split-form kernels (32fc): moves of interleaved vectors of two elements.
template <bool kAligned>
QRBG_ALWAYS_INLINE __m128 ld4(const float* p) {
    if constexpr (kAligned) return _mm_load_ps(p);
    else return _mm_loadu_ps(p);
}
QRBG_ALWAYS_INLINE __m128 ldHalves(const float* lo) {
    return _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(lo));
}
QRBG_ALWAYS_INLINE __m128 ldHalves(const float* lo, const float* hi) {
    return _mm_loadh_pi(ldHalves(lo), reinterpret_cast<const __m64*>(hi));
}
// Two neighbours that start at an odd element, from the aligned vectors
// around them: the first shifted right and the second left by 8 bytes, or-ed.
QRBG_ALWAYS_INLINE __m128 ldMerge(const float* p) {
    const __m128i a = _mm_castps_si128(_mm_load_ps(p - 2));
    const __m128i b = _mm_castps_si128(_mm_load_ps(p + 2));
    return _mm_castsi128_ps(_mm_or_si128(_mm_srli_si128(a, 8), _mm_slli_si128(b, 8)));
}
template <bool kAligned>
QRBG_ALWAYS_INLINE void st4(float* p, __m128 v) {
    if constexpr (kAligned) _mm_store_ps(p, v);
    else _mm_storeu_ps(p, v);
}
QRBG_ALWAYS_INLINE void stLo(float* p, __m128 v) { _mm_storel_pi(reinterpret_cast<__m64*>(p), v); }
QRBG_ALWAYS_INLINE void stHi(float* p, __m128 v) { _mm_storeh_pi(reinterpret_cast<__m64*>(p), v); }
// The scale, broadcast by interleaving the register with itself twice.
QRBG_ALWAYS_INLINE __m128 broadcast(float s) {
    __m128 v = _mm_set_ss(s);
    v = _mm_unpacklo_ps(v, v);
    return _mm_unpacklo_ps(v, v);
}

}  // namespace qrbg
