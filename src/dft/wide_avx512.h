// The operations of the wide variants on 64-byte registers (AVX-512F): four
// 16-byte slots per register. Every arithmetic operation and every lane move
// of the 16-byte kernels has a form that works slot by slot; gathers move
// whole slots between registers. Only AVX-512F instructions are used on
// 64-byte registers; the 32-byte types of wide_avx2.h, compiled with
// AVX-512VL, reach all 32 registers.
#pragma once

#include "wide_avx2.h"

namespace qrbg::wide {
namespace {

// Which slot of which source a gather takes: -1 undefined, 0 to 3 the slots
// of the first source, 4 to 7 those of the second.
template <int s0, int s1, int s2, int s3>
struct Gather4 {
    static constexpr int sel[4] = {s0, s1, s2, s3};
    static constexpr bool from(int i, bool second) { return sel[i] >= 0 && (sel[i] >= 4) == second; }
    static constexpr bool only(bool second) {
        for (int i = 0; i < 4; ++i)
            if (sel[i] >= 0 && (sel[i] >= 4) != second) return false;
        return true;
    }
    // Slots 0 and 1 from one source, 2 and 3 from the other (one 4-slot shuffle).
    static constexpr bool halves(bool lowSecond) {
        return (sel[0] < 0 || from(0, lowSecond)) && (sel[1] < 0 || from(1, lowSecond)) &&
               (sel[2] < 0 || from(2, !lowSecond)) && (sel[3] < 0 || from(3, !lowSecond));
    }
    // Every slot in its own place (a blend).
    static constexpr bool inPlace() {
        for (int i = 0; i < 4; ++i)
            if (sel[i] >= 0 && sel[i] % 4 != i) return false;
        return true;
    }
    static constexpr int shuffleImm() {
        int imm = 0;
        for (int i = 0; i < 4; ++i) imm |= (sel[i] < 0 ? 0 : sel[i] % 4) << (2 * i);
        return imm;
    }
    static constexpr int blendSlots() {
        int m = 0;
        for (int i = 0; i < 4; ++i)
            if (sel[i] >= 4) m |= 1 << i;
        return m;
    }
    // Lane index for a two-source permute of lanes of `w` elements per slot.
    static constexpr long long lane(int i, int w, int j) {
        return sel[i] < 0 ? 0 : (sel[i] >= 4 ? 4 * w : 0) + (sel[i] % 4) * w + j;
    }
};

struct Avx512F64 {
    using V = __m512d;
    using B = __m128d;
    using T = double;
    static constexpr int kSlots = 4;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm512_add_pd(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm512_sub_pd(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm512_mul_pd(a, _mm512_load_pd(k)); }
    static QRBG_WIDE_INLINE V xorK(V a, const T* k) {
        return _mm512_castsi512_pd(_mm512_xor_si512(_mm512_castpd_si512(a), _mm512_load_si512(k)));
    }
    static QRBG_WIDE_INLINE V xchg(V a) { return _mm512_permute_pd(a, 0x55); }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm512_loadu_pd(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm512_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0, B b1, B b2, B b3) {
        const __m256d lo = _mm256_insertf128_pd(_mm256_castpd128_pd256(b0), b1, 1);
        const __m256d hi = _mm256_insertf128_pd(_mm256_castpd128_pd256(b2), b3, 1);
        return _mm512_insertf64x4(_mm512_castpd256_pd512(lo), hi, 1);
    }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) {
        if constexpr (s == 0) return _mm512_castpd512_pd128(v);
        else return _mm_castps_pd(_mm512_extractf32x4_ps(_mm512_castpd_ps(v), s));
    }
    template <int s0, int s1, int s2, int s3>
    static QRBG_WIDE_INLINE V gather(V a, V b) {
        using G = Gather4<s0, s1, s2, s3>;
        if constexpr (G::inPlace()) return _mm512_mask_blend_pd(blendMask(G::blendSlots()), a, b);
        else if constexpr (G::only(false)) return _mm512_shuffle_f64x2(a, a, G::shuffleImm());
        else if constexpr (G::only(true)) return _mm512_shuffle_f64x2(b, b, G::shuffleImm());
        else if constexpr (G::halves(false)) return _mm512_shuffle_f64x2(a, b, G::shuffleImm());
        else if constexpr (G::halves(true)) return _mm512_shuffle_f64x2(b, a, G::shuffleImm());
        else {
            const __m512i idx = _mm512_set_epi64(G::lane(3, 2, 1), G::lane(3, 2, 0), G::lane(2, 2, 1), G::lane(2, 2, 0),
                                                 G::lane(1, 2, 1), G::lane(1, 2, 0), G::lane(0, 2, 1), G::lane(0, 2, 0));
            return _mm512_permutex2var_pd(a, idx, b);
        }
    }
    static constexpr __mmask8 blendMask(int slots) {
        __mmask8 m = 0;
        for (int i = 0; i < 4; ++i)
            if (slots & (1 << i)) m = static_cast<__mmask8>(m | (3 << (2 * i)));
        return m;
    }
};

struct Avx512F32 {
    using V = __m512;
    using B = __m128;
    using T = float;
    static constexpr int kSlots = 4;
    static QRBG_WIDE_INLINE V add(V a, V b) { return _mm512_add_ps(a, b); }
    static QRBG_WIDE_INLINE V sub(V a, V b) { return _mm512_sub_ps(a, b); }
    static QRBG_WIDE_INLINE V mul(V a, const T* k) { return _mm512_mul_ps(a, _mm512_load_ps(k)); }
    static QRBG_WIDE_INLINE V shufEven(V a, V b) { return _mm512_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)); }
    static QRBG_WIDE_INLINE V shufOdd(V a, V b) { return _mm512_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)); }
    static QRBG_WIDE_INLINE V unpackLo(V a, V b) { return _mm512_unpacklo_ps(a, b); }
    static QRBG_WIDE_INLINE V unpackHi(V a, V b) { return _mm512_unpackhi_ps(a, b); }
    static QRBG_WIDE_INLINE V moveLH(V a, V b) {
        return _mm512_castpd_ps(_mm512_unpacklo_pd(_mm512_castps_pd(a), _mm512_castps_pd(b)));
    }
    static QRBG_WIDE_INLINE V moveHL(V a, V b) {
        return _mm512_castpd_ps(_mm512_unpackhi_pd(_mm512_castps_pd(b), _mm512_castps_pd(a)));
    }
    static QRBG_WIDE_INLINE V load(const T* p) { return _mm512_loadu_ps(p); }
    static QRBG_WIDE_INLINE void store(T* p, V v) { _mm512_storeu_ps(p, v); }
    static QRBG_WIDE_INLINE V blocks(B b0, B b1, B b2, B b3) {
        const __m256 lo = _mm256_insertf128_ps(_mm256_castps128_ps256(b0), b1, 1);
        const __m256 hi = _mm256_insertf128_ps(_mm256_castps128_ps256(b2), b3, 1);
        return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castps_pd(_mm512_castps256_ps512(lo)), _mm256_castps_pd(hi), 1));
    }
    template <int s>
    static QRBG_WIDE_INLINE B block(V v) {
        if constexpr (s == 0) return _mm512_castps512_ps128(v);
        else return _mm512_extractf32x4_ps(v, s);
    }
    template <int s0, int s1, int s2, int s3>
    static QRBG_WIDE_INLINE V gather(V a, V b) {
        using G = Gather4<s0, s1, s2, s3>;
        if constexpr (G::inPlace()) return _mm512_mask_blend_ps(blendMask(G::blendSlots()), a, b);
        else if constexpr (G::only(false)) return _mm512_shuffle_f32x4(a, a, G::shuffleImm());
        else if constexpr (G::only(true)) return _mm512_shuffle_f32x4(b, b, G::shuffleImm());
        else if constexpr (G::halves(false)) return _mm512_shuffle_f32x4(a, b, G::shuffleImm());
        else if constexpr (G::halves(true)) return _mm512_shuffle_f32x4(b, a, G::shuffleImm());
        else {
            const __m512i idx = _mm512_set_epi32(
                static_cast<int>(G::lane(3, 4, 3)), static_cast<int>(G::lane(3, 4, 2)), static_cast<int>(G::lane(3, 4, 1)),
                static_cast<int>(G::lane(3, 4, 0)), static_cast<int>(G::lane(2, 4, 3)), static_cast<int>(G::lane(2, 4, 2)),
                static_cast<int>(G::lane(2, 4, 1)), static_cast<int>(G::lane(2, 4, 0)), static_cast<int>(G::lane(1, 4, 3)),
                static_cast<int>(G::lane(1, 4, 2)), static_cast<int>(G::lane(1, 4, 1)), static_cast<int>(G::lane(1, 4, 0)),
                static_cast<int>(G::lane(0, 4, 3)), static_cast<int>(G::lane(0, 4, 2)), static_cast<int>(G::lane(0, 4, 1)),
                static_cast<int>(G::lane(0, 4, 0)));
            return _mm512_permutex2var_ps(a, idx, b);
        }
    }
    static constexpr __mmask16 blendMask(int slots) {
        __mmask16 m = 0;
        for (int i = 0; i < 4; ++i)
            if (slots & (1 << i)) m = static_cast<__mmask16>(m | (0xf << (4 * i)));
        return m;
    }
};

// Scalar values side by side: eight per register.
struct Lanes64 {
    using S = __m256;
    using D = __m512d;
};
struct Lanes8 : LanesBase<Lanes64, 8> {
    static QRBG_WIDE_INLINE D splatD(double s) { return _mm512_set1_pd(s); }
    static QRBG_WIDE_INLINE D loadD(const double* p) { return _mm512_loadu_pd(p); }
    static QRBG_WIDE_INLINE void storeD(double* p, D v) { _mm512_storeu_pd(p, v); }
    static QRBG_WIDE_INLINE S splatS(float s) { return _mm256_set1_ps(s); }
    static QRBG_WIDE_INLINE S loadS(const float* p) { return _mm256_loadu_ps(p); }
    static QRBG_WIDE_INLINE void storeS(float* p, S v) { _mm256_storeu_ps(p, v); }
    static QRBG_WIDE_INLINE D widen(S v) { return _mm512_cvtps_pd(v); }
    static QRBG_WIDE_INLINE S narrow(D v) { return _mm512_cvtpd_ps(v); }
};

}  // namespace
}  // namespace qrbg::wide
