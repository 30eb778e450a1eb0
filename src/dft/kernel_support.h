// What every generated complex kernel includes: the public types and status
// values, and the moves of the two memory forms from the common low-level
// header, plus the few register idioms of the complex kernels.
#pragma once

#include "qrbg_simd.h"
#include "qrbgen.h"

// On x86-64 every complex kernel has wide variants beside its 16-byte form
// (src/dft/wide_*.h): the 16-byte form is then the internal function
// <kernel>_sse2, and the exported name is bound, when the library loads, to
// the widest variant the processor runs. The i386 build has the 16-byte
// kernels alone, under their exported names.
#if defined(__x86_64__) && !defined(QRBG_NO_VARIANTS)
#define QRBG_VARIANTS 1
#define QRBG_SSE2_ENTRY(exported, internal) __attribute__((visibility("hidden"))) Status internal
#else
#define QRBG_VARIANTS 0
#define QRBG_SSE2_ENTRY(exported, internal) QRBG_API Status exported
#endif

namespace qrbg {

// The address of a kernel's constant pool, hidden from the optimiser: every
// constant vector is then one aligned load (or memory operand) from the
// pool, as the kernel lays it out, and is never rebuilt from scalars by
// lane moves at run time.
template <class T>
QRBG_INLINE const T* opaque(const T* p) {
    __asm__("" : "+r"(p));
    return p;
}

// Split-form kernels (32fc): two interleaved elements from anywhere, as two
// 8-byte halves; one element alone fills the low half.
QRBG_INLINE __m128 ldHalves(const float* lo) { return ldLo(lo); }
QRBG_INLINE __m128 ldHalves(const float* lo, const float* hi) { return ldHi(ldLo(lo), hi); }
// Two neighbours that start at an odd element, from the aligned vectors
// around them: the first shifted right and the second left by 8 bytes, or-ed.
QRBG_INLINE __m128 ldMerge(const float* p) {
    const __m128i a = _mm_castps_si128(_mm_load_ps(p - 2));
    const __m128i b = _mm_castps_si128(_mm_load_ps(p + 2));
    return _mm_castsi128_ps(_mm_or_si128(_mm_srli_si128(a, 8), _mm_slli_si128(b, 8)));
}

}  // namespace qrbg
