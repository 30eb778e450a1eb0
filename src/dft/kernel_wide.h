// What every wide variant of a complex kernel includes: the public types and
// status values, and the moves of 16-byte blocks that the wide registers are
// made of. A wide register holds P blocks side by side (its slots); each
// slot holds what one 16-byte register of the kernel's 16-byte form holds.
//
// The wide sources are compiled for their instruction set. Everything they
// define has internal linkage, so that no function compiled for a wider
// instruction set can ever stand in for one that 16-byte code calls.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "qrbgen.h"

// The variants give the bits of the 16-byte kernels only if the compiler
// keeps every operation as written (and -ffp-contract=off, which the build
// sets for every source, keeps products out of additions).
#if defined(__FAST_MATH__)
#error "the wide kernels must not be compiled with fast-math"
#endif

#define QRBG_WIDE_INLINE inline __attribute__((always_inline))
// The scalar bodies use the name of the 16-byte sources.
#ifndef QRBG_INLINE
#define QRBG_INLINE QRBG_WIDE_INLINE
#endif

namespace qrbg::wide {
namespace {

// The address of a constant pool, hidden from the optimiser: every constant
// vector is one aligned load from the pool, never rebuilt by lane moves.
template <class T>
QRBG_WIDE_INLINE const T* opaque(const T* p) {
    __asm__("" : "+r"(p));
    return p;
}

// ---- Single elements ----------------------------------------------------------

template <class T>
QRBG_WIDE_INLINE T ld1(const T* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
QRBG_WIDE_INLINE void st1(T* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// ---- 16-byte blocks ------------------------------------------------------------
// A block of two doubles (one complex value) or of four floats, moved at any
// address with unaligned moves; a block of floats may also be two 8-byte
// halves from anywhere, one element alone filling the low half.

QRBG_WIDE_INLINE __m128d ld16(const double* p) { return _mm_loadu_pd(p); }
QRBG_WIDE_INLINE __m128 ld16(const float* p) { return _mm_loadu_ps(p); }
QRBG_WIDE_INLINE void st16(double* p, __m128d v) { _mm_storeu_pd(p, v); }
QRBG_WIDE_INLINE void st16(float* p, __m128 v) { _mm_storeu_ps(p, v); }

QRBG_WIDE_INLINE __m128 ldHalves(const float* lo) {
    return _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(lo));
}
QRBG_WIDE_INLINE __m128 ldHalves(const float* lo, const float* hi) {
    return _mm_loadh_pi(ldHalves(lo), reinterpret_cast<const __m64*>(hi));
}
QRBG_WIDE_INLINE void stLo(float* p, __m128 v) { _mm_storel_pi(reinterpret_cast<__m64*>(p), v); }
QRBG_WIDE_INLINE void stHi(float* p, __m128 v) { _mm_storeh_pi(reinterpret_cast<__m64*>(p), v); }

QRBG_WIDE_INLINE __m128d zero16d() { return _mm_setzero_pd(); }
QRBG_WIDE_INLINE __m128 zero16f() { return _mm_setzero_ps(); }

// ---- Scalar values side by side ------------------------------------------------
// The packed form of the scalar kernels (the real and Hartley families):
// P values of the scalar network per register, one per lane, each lane
// running exactly the operation the scalar kernel runs on that value.
// Doubles live in D (P lanes), singles in S (P lanes or more; the lanes
// beyond P hold copies of no interest). The arithmetic is written with the
// vector operators, one IEEE operation per lane; the widths add what needs
// the instruction set (broadcast, widening, rounding to single).
template <class Types, int P>
struct LanesBase {
    // Through a struct, so that the register types keep their attributes.
    using S = typename Types::S;
    using D = typename Types::D;
    static constexpr int kSlots = P;

    // P elements from anywhere (the lanes past P of a single register are
    // zero); the widths load P neighbouring elements in one move (loadS,
    // loadD, storeS, storeD).
    template <class... T>
    static QRBG_WIDE_INLINE S setS(T... v) { return S{v...}; }
    template <class... T>
    static QRBG_WIDE_INLINE D setD(T... v) { return D{v...}; }

    // A row of constants from an aligned pool.
    static QRBG_WIDE_INLINE S kS(const float* k) { return *reinterpret_cast<const S*>(k); }
    static QRBG_WIDE_INLINE D kD(const double* k) { return *reinterpret_cast<const D*>(k); }

    // Lanes from two registers, by index into both (the first's lanes first).
    template <int... I>
    static QRBG_WIDE_INLINE S gS(S a, S b) { return __builtin_shufflevector(a, b, I...); }
    template <int... I>
    static QRBG_WIDE_INLINE D gD(D a, D b) { return __builtin_shufflevector(a, b, I...); }

    // One lane to one element.
    template <int l>
    static QRBG_WIDE_INLINE void stS(float* p, S v) { st1(p, static_cast<float>(v[l])); }
    template <int l>
    static QRBG_WIDE_INLINE void stD(double* p, D v) { st1(p, static_cast<double>(v[l])); }
};

}  // namespace
}  // namespace qrbg::wide
