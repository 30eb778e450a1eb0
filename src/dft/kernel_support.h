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
