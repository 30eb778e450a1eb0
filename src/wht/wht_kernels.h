// The four shapes of a Walsh-Hadamard kernel, shared by both precisions and
// by every register width:
//
//  - scalar: the smallest orders, element by element, no vector moves, so
//    any address works and there is a single form;
//  - straight-line: one unrolled block over the whole vector, no loop and no
//    scratch;
//  - two-pass: rows of the vector through an unrolled block into the scratch,
//    then columns of that table through the remaining levels into `dst`;
//  - three-pass: for the orders whose main region no longer sits well in the
//    first-level cache next to the caller's arrays, groups of rows go first
//    through a small auxiliary region and a column pass into the main region,
//    and one column pass over the whole main region finishes into `dst`.
//
// V is the register traits type: Vec<T> (16 bytes, wht_blocks.h) or Wide<T>
// (32 bytes, wht_wide.h). `kAligned` selects the moves that touch `src` and
// `dst` in the 16-byte kernels (16-byte aligned moves, or the unaligned ones
// of the twin); the wide kernels have one form. The scratch is 16-byte
// aligned whatever the caller's arrays are (a caller's buffer that is not is
// replaced, see scratchKernel). The scale is applied on the way to `dst` in
// the last pass only, after the last level.
#pragma once

#include <cstdint>

#include "wht_blocks.h"

namespace qrbg::wht {
inline namespace QRBG_ISA {

// Checks every kernel makes after its memory form is chosen: src, dst,
// then the flag. Yields the scale when all passed.
template <class T, int kOrder>
QRBG_INLINE Status checkArguments(const T* src, const T* dst, std::int32_t flag, T& s) {
    if (src == nullptr || dst == nullptr) return StatusNullPointer;
    if (!Scale<T, kOrder>::select(flag, s)) return StatusBadFlag;
    return StatusOk;
}

// ---- Scalar kernels ------------------------------------------------------

template <class T, int kOrder>
QRBG_INLINE Status scalarKernel(const T* src, T* dst, std::int32_t flag) {
    T s;
    if (const Status st = checkArguments<T, kOrder>(src, dst, flag, s); st != StatusOk) return st;
    constexpr int N = 1 << kOrder;
    T x[N];
    unroll<N>([&](auto i) QRBG_INLINE_LAMBDA { x[i] = ld1(src + i); });
    unroll<kOrder>([&](auto level) QRBG_INLINE_LAMBDA {
        constexpr int h = 1 << decltype(level)::value;
        unroll<N / 2>([&](auto j) QRBG_INLINE_LAMBDA {
            constexpr int i = (decltype(j)::value / h) * 2 * h + decltype(j)::value % h;
            const T a = x[i], b = x[i + h];
            x[i] = a + b;
            x[i + h] = a - b;
        });
    });
    unroll<N>([&](auto i) QRBG_INLINE_LAMBDA { st1(dst + i, x[i] * s); });
    return StatusOk;
}

// ---- Straight-line kernels -----------------------------------------------

template <class V, int kOrder, bool kAligned>
QRBG_INLINE Status straightKernel(const typename V::T* src, typename V::T* dst, std::int32_t flag) {
    using T = typename V::T;
    T s;
    if (const Status st = checkArguments<T, kOrder>(src, dst, flag, s); st != StatusOk) return st;
    const typename V::R scale = V::broadcast(s);
    // The block has read all of src before its last levels produce the first
    // output, so src may equal dst.
    V::template rowBlock<kOrder, kAligned>(src, [&](int i, typename V::R x) QRBG_INLINE_LAMBDA {
        V::template store<kAligned>(dst + i * V::kLanes, V::mul(x, scale));
    });
    return StatusOk;
}

// ---- Passes of the scratch kernels ---------------------------------------

// 2^(kRowLog) elements per row, `rows` rows, from `in` (the caller's src, so
// its alignment is kInAligned) to the scratch region `out`: all levels below
// kRowLog.
template <class V, int kRowLog, bool kInAligned>
QRBG_INLINE void rowPass(const typename V::T* in, typename V::T* out, int rows) {
    constexpr int kRow = 1 << kRowLog;
#pragma GCC unroll 1
    for (int r = 0; r < rows; ++r, in += kRow, out += kRow) {
        V::template rowBlock<kRowLog, kInAligned>(in, [&](int i, typename V::R x) QRBG_INLINE_LAMBDA {
            V::template store<true>(out + i * V::kLanes, x);
        });
    }
}

// A table of 2^kRowsLog rows of kStride elements in the scratch region `in`:
// one vector of adjacent columns per iteration goes through the kRowsLog
// levels that join the rows, and lands at the same place in `out`. The last
// pass of a kernel scales on the way (kScaled) and writes the caller's dst
// (alignment kOutAligned); an inner pass writes the scratch unscaled.
template <class V, int kRowsLog, int kStride, bool kOutAligned, bool kScaled>
QRBG_INLINE void columnPass(const typename V::T* in, typename V::T* out, typename V::R scale) {
#pragma GCC unroll 1
    for (int c = 0; c < kStride; c += V::kLanes) {
        vectorLevels<V, kRowsLog>(
            [&](int r) QRBG_INLINE_LAMBDA { return V::template load<true>(in + r * kStride + c); },
            [&](int r, typename V::R x) QRBG_INLINE_LAMBDA {
                if constexpr (kScaled) x = V::mul(x, scale);
                V::template store<kOutAligned>(out + r * kStride + c, x);
            });
    }
}

// The pass plan of one scratch kernel: rows of 2^kRowLog elements; for a
// three-pass kernel groups of 2^kGroupLog elements (0: two passes), which
// fill the auxiliary region of the scratch. Each register width has its
// own plan (Vec<T> below, Wide<T> in wht_wide.h); the regions of the
// scratch, and so the bytes a kernel writes there, are the same for all.
template <class V, int kOrder>
struct Passes;
// clang-format off
template <> struct Passes<Vec<float>, 8>   { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<Vec<float>, 9>   { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<Vec<float>, 10>  { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<Vec<float>, 11>  { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<Vec<float>, 12>  { static constexpr int kRowLog = 6, kGroupLog = 9; };
template <> struct Passes<Vec<float>, 13>  { static constexpr int kRowLog = 6, kGroupLog = 9; };
template <> struct Passes<Vec<double>, 8>  { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<Vec<double>, 9>  { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<Vec<double>, 10> { static constexpr int kRowLog = 7, kGroupLog = 0; };
template <> struct Passes<Vec<double>, 11> { static constexpr int kRowLog = 5, kGroupLog = 8; };
template <> struct Passes<Vec<double>, 12> { static constexpr int kRowLog = 5, kGroupLog = 8; };
template <> struct Passes<Vec<double>, 13> { static constexpr int kRowLog = 7, kGroupLog = 10; };
// clang-format on

// Rows in place into the main region, then columns into dst.
template <class V, int kOrder, bool kAligned>
QRBG_INLINE void twoPass(const typename V::T* src, typename V::T* dst, typename V::T s, typename V::T* main) {
    constexpr int kRowLog = Passes<V, kOrder>::kRowLog;
    rowPass<V, kRowLog, kAligned>(src, main, 1 << (kOrder - kRowLog));
    const typename V::R scale = V::broadcast(s);
    columnPass<V, kOrder - kRowLog, 1 << kRowLog, kAligned, true>(main, dst, scale);
}

// Per group: its rows into the auxiliary region (reused from its start by
// every group), then its columns into the group's own place in the main
// region. When all groups are done, columns of groups into dst.
template <class V, int kOrder, bool kAligned>
QRBG_INLINE void threePass(const typename V::T* src, typename V::T* dst, typename V::T s, typename V::T* main) {
    using T = typename V::T;
    constexpr int kRowLog = Passes<V, kOrder>::kRowLog, kGroupLog = Passes<V, kOrder>::kGroupLog;
    constexpr int kGroup = 1 << kGroupLog;
    static_assert(kGroup == groupElements<T>(kOrder), "a group fills the auxiliary region");
    T* const aux = main + (1 << kOrder);
#pragma GCC unroll 1
    for (int g = 0; g < (1 << kOrder); g += kGroup) {
        rowPass<V, kRowLog, kAligned>(src + g, aux, 1 << (kGroupLog - kRowLog));
        columnPass<V, kGroupLog - kRowLog, 1 << kRowLog, true, false>(aux, main + g, typename V::R());
    }
    const typename V::R scale = V::broadcast(s);
    columnPass<V, kOrder - kGroupLog, kGroup, kAligned, true>(main, dst, scale);
}

template <class V, int kOrder, bool kAligned>
QRBG_INLINE Status scratchKernel(const typename V::T* src, typename V::T* dst, std::int32_t flag,
                                 std::uint8_t* buffer) {
    using T = typename V::T;
    T s;
    if (const Status st = checkArguments<T, kOrder>(src, dst, flag, s); st != StatusOk) return st;
    // The scratch is moved by aligned 16-byte moves only. A caller's buffer
    // that is not a multiple of 16 is left untouched, and the call works
    // through scratch of its own as if no buffer had been given: the same
    // bits, at the price of one allocation.
    const bool own = buffer == nullptr || (reinterpret_cast<std::uintptr_t>(buffer) & 15u) != 0;
    std::uint8_t* scratch = buffer;
    if (own) {
        scratch = static_cast<std::uint8_t*>(qrbMalloc(scratchBytes<T>(kOrder)));
        // Without scratch there is no way to go on; dst stays untouched.
        if (scratch == nullptr) return StatusNoMemory;
    }
    T* const main = reinterpret_cast<T*>(scratch);
    if constexpr (Passes<V, kOrder>::kGroupLog == 0) twoPass<V, kOrder, kAligned>(src, dst, s, main);
    else threePass<V, kOrder, kAligned>(src, dst, s, main);
    if (own) qrbFree(scratch);
    return StatusOk;
}

// The shape of each order: straight-line up to order 7, through the
// scratch from order 8 on.
template <class V, int kOrder>
struct Shape {
    template <bool kAligned>
    static QRBG_INLINE Status run(const typename V::T* src, typename V::T* dst, std::int32_t flag,
                                  std::uint8_t* buffer) {
        if constexpr (kOrder <= 7) {
            (void)buffer;  // accepted for a uniform interface and left alone
            return straightKernel<V, kOrder, kAligned>(src, dst, flag);
        } else {
            return scratchKernel<V, kOrder, kAligned>(src, dst, flag, buffer);
        }
    }
};

}  // namespace QRBG_ISA
}  // namespace qrbg::wht

// ---- Names -----------------------------------------------------------------
//
// The 16-byte kernels of order 4 and up have an unaligned twin, a function of
// its own, so that the aligned form, which callers with aligned arrays run,
// stays free of the other form's code. In builds with wide variants
// (QRBG_WIDE_FORMS) the 16-byte kernel of every order from 3 on is the
// internal function owngWHT_<order>_<type>_sse2 (wht_variants.h lists them
// all), and wht_bind.cpp binds the exported name; the i386 build exports
// the 16-byte kernels under their own names.

#if QRBG_WIDE_FORMS
#define QRBG_WHT_SSE2_NAME(O, T) owngWHT_##O##_##T##_sse2
#define QRBG_WHT_SSE2_LINK __attribute__((visibility("hidden")))
#else
#define QRBG_WHT_SSE2_NAME(O, T) qrbgWHT_##O##_##T
#define QRBG_WHT_SSE2_LINK QRBG_API
#endif

#define QRBG_WHT_SCALAR(O, T, ET)                                                                 \
    extern "C" QRBG_API Status qrbgWHT_##O##_##T(const ET* src, ET* dst, std::int32_t flag) { \
        return ::qrbg::wht::scalarKernel<ET, O>(src, dst, flag);                                  \
    }

// Order 3 of floats is scalar in its 16-byte form, and has variants.
#define QRBG_WHT_SCALAR3(T, ET)                                                                                 \
    extern "C" QRBG_WHT_SSE2_LINK Status QRBG_WHT_SSE2_NAME(3, T)(const ET* src, ET* dst, std::int32_t flag) { \
        return ::qrbg::wht::scalarKernel<ET, 3>(src, dst, flag);                                                \
    }

// The 16-byte kernel of an order from 4 on and its unaligned twin.
#define QRBG_WHT_TWIN_FORMS(O, T, ET)                                                                         \
    extern "C" QRBG_NOINLINE Status owngWHT_##O##_##T##_unaligned(const ET* src, ET* dst, std::int32_t flag, \
                                                                  std::uint8_t* buffer) {                    \
        return ::qrbg::wht::Shape<::qrbg::wht::Vec<ET>, O>::run<false>(src, dst, flag, buffer);              \
    }                                                                                                        \
    extern "C" QRBG_WHT_SSE2_LINK Status QRBG_WHT_SSE2_NAME(O, T)(const ET* src, ET* dst, std::int32_t flag, \
                                                                  std::uint8_t* buffer) {                    \
        if (::qrbg::misaligned(src, dst)) return owngWHT_##O##_##T##_unaligned(src, dst, flag, buffer);     \
        return ::qrbg::wht::Shape<::qrbg::wht::Vec<ET>, O>::run<true>(src, dst, flag, buffer);               \
    }
