// The one low-level header of every kernel family: how values move between
// the caller's arrays and registers, how a scalar becomes a vector, and the
// attributes that keep a kernel straight-line.
//
// Every access to a caller's array goes through this header, and every one
// is defined behaviour at any address: the caller's arrays need only hold
// their elements, not sit at any boundary. Aligned 16-byte moves are used
// only in the aligned memory forms, which the kernels choose after testing
// the addresses. Scalar and half-vector moves go through memcpy or through
// intrinsics whose pointer carries no alignment claim; compilers turn them
// into the same single instructions as plain dereferences.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

// A kernel's helpers are always inlined: a kernel has no call but the one to
// its own unaligned form.
#define QRBG_INLINE inline __attribute__((always_inline))
// Lambdas take the attribute without `inline`.
#define QRBG_INLINE_LAMBDA __attribute__((always_inline))
// The unaligned form stays a function of its own.
#define QRBG_NOINLINE __attribute__((noinline))

// Builds with wide variants of the hand-written kernels: x86-64. There the
// 16-byte kernels are internal functions beside their AVX2 and AVX-512
// variants, and each exported name is bound once, when the library loads,
// to the widest variant the processor runs (QRBG_BIND_WIDEST). The i386
// build has the 16-byte kernels alone, under the exported names.
// An ifunc resolver runs while the dynamic linker relocates the library,
// before any sanitizer runtime or thread-local storage is ready: it is kept
// free of sanitizer and coverage instrumentation. It has C linkage and
// hidden visibility (not static), so that the ifunc can name it by its
// plain name with every compiler.
#if defined(__clang__)
#define QRBG_RESOLVER __attribute__((visibility("hidden"), no_sanitize("address", "thread", "undefined", "coverage")))
#else
#define QRBG_RESOLVER \
    __attribute__((visibility("hidden"), no_sanitize("address", "thread", "undefined"), no_sanitize_coverage))
#endif

#if defined(__x86_64__)
#define QRBG_WIDE_FORMS 1
#else
#define QRBG_WIDE_FORMS 0
#endif

// The exported function `name`, of result type Ret and parameter list
// Params, bound to internal_avx512 (AVX-512F and VL), internal_avx2 or
// internal_sse2, which must be declared before. A call then costs what any
// call of an exported function costs; nothing is decided per call.
#define QRBG_BIND_WIDEST(name, internal, Ret, Params)                                                        \
    extern "C" {                                                                                             \
    QRBG_RESOLVER Ret(*resolve_##name())Params {                                                             \
        __builtin_cpu_init();                                                                                \
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")) return internal##_avx512; \
        if (__builtin_cpu_supports("avx2")) return internal##_avx2;                                          \
        return internal##_sse2;                                                                              \
    }                                                                                                        \
    QRBG_API Ret name Params __attribute__((ifunc("resolve_" #name)));                                       \
    }

namespace qrbg {

// The aligned form needs both arrays at multiples of 16 bytes.
QRBG_INLINE bool misaligned(const void* a, const void* b) {
    return ((reinterpret_cast<std::uintptr_t>(a) | reinterpret_cast<std::uintptr_t>(b)) & 15u) != 0;
}

// ---- Single elements ---------------------------------------------------------

template <class T>
QRBG_INLINE T ld1(const T* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
QRBG_INLINE void st1(T* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// ---- Two doubles ---------------------------------------------------------------
// A 16-byte move in the aligned form; a low-half and a high-half 8-byte move
// in the unaligned form, which processors with slow unaligned 16-byte moves
// prefer.

QRBG_INLINE __m128d ldLo(const double* p) { return _mm_set_sd(ld1(p)); }
QRBG_INLINE __m128d ldHi(__m128d v, const double* p) { return _mm_loadh_pd(v, p); }
QRBG_INLINE void stLo(double* p, __m128d v) { st1(p, _mm_cvtsd_f64(v)); }
QRBG_INLINE void stHi(double* p, __m128d v) { st1(p, _mm_cvtsd_f64(_mm_unpackhi_pd(v, v))); }

template <bool kAligned>
QRBG_INLINE __m128d ld2(const double* p) {
    if constexpr (kAligned) return _mm_load_pd(p);
    else return ldHi(ldLo(p), p + 1);
}
template <bool kAligned>
QRBG_INLINE void st2(double* p, __m128d v) {
    if constexpr (kAligned) {
        _mm_store_pd(p, v);
    } else {
        stLo(p, v);
        stHi(p + 1, v);
    }
}

// Two doubles by one unaligned 16-byte move: for loops over long arrays on
// processors whose unaligned moves cost what aligned ones do.
QRBG_INLINE __m128d ld2u(const double* p) { return _mm_loadu_pd(p); }
QRBG_INLINE void st2u(double* p, __m128d v) { _mm_storeu_pd(p, v); }

// ---- Four floats -----------------------------------------------------------------

template <bool kAligned>
QRBG_INLINE __m128 ld4(const float* p) {
    if constexpr (kAligned) return _mm_load_ps(p);
    else return _mm_loadu_ps(p);
}
template <bool kAligned>
QRBG_INLINE void st4(float* p, __m128 v) {
    if constexpr (kAligned) _mm_store_ps(p, v);
    else _mm_storeu_ps(p, v);
}

// 8-byte halves: two floats into the low half (the high half zero), two more
// into the high half, and the stores of either half.
QRBG_INLINE __m128 ldLo(const float* p) { return _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(p)); }
QRBG_INLINE __m128 ldHi(__m128 v, const float* p) { return _mm_loadh_pi(v, reinterpret_cast<const __m64*>(p)); }
QRBG_INLINE void stLo(float* p, __m128 v) { _mm_storel_pi(reinterpret_cast<__m64*>(p), v); }
QRBG_INLINE void stHi(float* p, __m128 v) { _mm_storeh_pi(reinterpret_cast<__m64*>(p), v); }

// ---- Stores around the caches ----------------------------------------------------
// Non-temporal 16-byte stores, for destinations far larger than the caches.
// The address must be a multiple of 16; the caller tests it. A store fence
// orders them before whatever follows.

QRBG_INLINE void stream4(float* p, __m128 v) { _mm_stream_ps(p, v); }
QRBG_INLINE void stream2(double* p, __m128d v) { _mm_stream_pd(p, v); }

// ---- Broadcasts ------------------------------------------------------------------

// A float in all four lanes, by interleaving the register with itself twice.
QRBG_INLINE __m128 broadcast(float s) {
    __m128 v = _mm_set_ss(s);
    v = _mm_unpacklo_ps(v, v);
    return _mm_unpacklo_ps(v, v);
}
QRBG_INLINE __m128d broadcast(double s) { return _mm_set1_pd(s); }

}  // namespace qrbg

// ---- 32-byte registers -----------------------------------------------------------
// The wide variants of the hand-written families, in sources compiled for
// AVX2 or AVX-512: unaligned moves at any address (they cost what aligned
// ones do on these processors), 16-byte halves from two places, and
// non-temporal stores at multiples of 32 bytes.
#if defined(__AVX__)
#include <immintrin.h>

namespace qrbg {

QRBG_INLINE __m256 ld32(const float* p) { return _mm256_loadu_ps(p); }
QRBG_INLINE __m256d ld32(const double* p) { return _mm256_loadu_pd(p); }
QRBG_INLINE void st32(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
QRBG_INLINE void st32(double* p, __m256d v) { _mm256_storeu_pd(p, v); }

// 16 bytes from `lo` in the low half, 16 from `hi` in the high half.
QRBG_INLINE __m256 ld16x2(const float* lo, const float* hi) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(lo)), _mm_loadu_ps(hi), 1);
}
QRBG_INLINE __m256d ld16x2(const double* lo, const double* hi) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(lo)), _mm_loadu_pd(hi), 1);
}

QRBG_INLINE void stream32(float* p, __m256 v) { _mm256_stream_ps(p, v); }
QRBG_INLINE void stream32(double* p, __m256d v) { _mm256_stream_pd(p, v); }

}  // namespace qrbg
#endif
