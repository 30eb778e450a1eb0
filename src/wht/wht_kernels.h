// The four shapes of a Walsh-Hadamard kernel, shared by both precisions:
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
// `kAligned` selects the moves that touch `src` and `dst` (16-byte aligned
// moves, or the unaligned ones of the twin). Moves to and from the scratch
// are always aligned: the scratch is 16-byte aligned whatever the caller's
// arrays are (a caller's buffer that is not is replaced, see scratchKernel).
// The scale is applied on the way to `dst` in the last pass only, after the
// last level.
#pragma once

#include <cstdint>

#include "wht_blocks.h"

namespace qrbg::wht {

template <class T>
using Reg = typename Vec<T>::R;

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

template <class T, int kOrder, bool kAligned>
QRBG_INLINE Status straightKernel(const T* src, T* dst, std::int32_t flag) {
    using V = Vec<T>;
    T s;
    if (const Status st = checkArguments<T, kOrder>(src, dst, flag, s); st != StatusOk) return st;
    const Reg<T> scale = V::broadcast(s);
    // The block has read all of src before its last levels produce the first
    // output, so src may equal dst.
    block<T, kOrder - V::kLow>(
        [&](int i) QRBG_INLINE_LAMBDA { return V::template load<kAligned>(src + i * V::kLanes); },
        [&](int i, Reg<T> x) QRBG_INLINE_LAMBDA {
            V::template store<kAligned>(dst + i * V::kLanes, V::mul(x, scale));
        });
    return StatusOk;
}

// ---- Passes of the scratch kernels ---------------------------------------

// 2^(kRowLog) elements per row, `rows` rows, from `in` (the caller's src, so
// its alignment is kInAligned) to the scratch region `out`: all levels below
// kRowLog.
template <class T, int kRowLog, bool kInAligned>
QRBG_INLINE void rowPass(const T* in, T* out, int rows) {
    using V = Vec<T>;
    constexpr int kRow = 1 << kRowLog;
#pragma GCC unroll 1
    for (int r = 0; r < rows; ++r, in += kRow, out += kRow) {
        block<T, kRowLog - V::kLow>(
            [&](int i) QRBG_INLINE_LAMBDA { return V::template load<kInAligned>(in + i * V::kLanes); },
            [&](int i, Reg<T> x) QRBG_INLINE_LAMBDA { V::template store<true>(out + i * V::kLanes, x); });
    }
}

// A table of 2^kRowsLog rows of kStride elements in the scratch region `in`:
// one vector of adjacent columns per iteration goes through the kRowsLog
// levels that join the rows, and lands at the same place in `out`. The last
// pass of a kernel scales on the way (kScaled) and writes the caller's dst
// (alignment kOutAligned); an inner pass writes the scratch unscaled.
template <class T, int kRowsLog, int kStride, bool kOutAligned, bool kScaled>
QRBG_INLINE void columnPass(const T* in, T* out, Reg<T> scale) {
    using V = Vec<T>;
#pragma GCC unroll 1
    for (int c = 0; c < kStride; c += V::kLanes) {
        vectorLevels<T, kRowsLog>(
            [&](int r) QRBG_INLINE_LAMBDA { return V::template load<true>(in + r * kStride + c); },
            [&](int r, Reg<T> x) QRBG_INLINE_LAMBDA {
                if constexpr (kScaled) x = V::mul(x, scale);
                V::template store<kOutAligned>(out + r * kStride + c, x);
            });
    }
}

// The pass plan of one scratch kernel: rows of 2^kRowLog elements; for a
// three-pass kernel groups of 2^kGroupLog elements (0: two passes).
template <class T, int kOrder>
struct Passes;
// clang-format off
template <> struct Passes<float, 8>   { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<float, 9>   { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<float, 10>  { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<float, 11>  { static constexpr int kRowLog = 6, kGroupLog = 0; };
template <> struct Passes<float, 12>  { static constexpr int kRowLog = 6, kGroupLog = 9; };
template <> struct Passes<float, 13>  { static constexpr int kRowLog = 6, kGroupLog = 9; };
template <> struct Passes<double, 8>  { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<double, 9>  { static constexpr int kRowLog = 5, kGroupLog = 0; };
template <> struct Passes<double, 10> { static constexpr int kRowLog = 7, kGroupLog = 0; };
template <> struct Passes<double, 11> { static constexpr int kRowLog = 5, kGroupLog = 8; };
template <> struct Passes<double, 12> { static constexpr int kRowLog = 5, kGroupLog = 8; };
template <> struct Passes<double, 13> { static constexpr int kRowLog = 7, kGroupLog = 10; };
// clang-format on

// Rows in place into the main region, then columns into dst.
template <class T, int kOrder, bool kAligned>
QRBG_INLINE void twoPass(const T* src, T* dst, T s, T* main) {
    using V = Vec<T>;
    constexpr int kRowLog = Passes<T, kOrder>::kRowLog;
    rowPass<T, kRowLog, kAligned>(src, main, 1 << (kOrder - kRowLog));
    const Reg<T> scale = V::broadcast(s);
    columnPass<T, kOrder - kRowLog, 1 << kRowLog, kAligned, true>(main, dst, scale);
}

// Per group: its rows into the auxiliary region (reused from its start by
// every group), then its columns into the group's own place in the main
// region. When all groups are done, columns of groups into dst.
template <class T, int kOrder, bool kAligned>
QRBG_INLINE void threePass(const T* src, T* dst, T s, T* main) {
    using V = Vec<T>;
    constexpr int kRowLog = Passes<T, kOrder>::kRowLog, kGroupLog = Passes<T, kOrder>::kGroupLog;
    constexpr int kGroup = 1 << kGroupLog;
    T* const aux = main + (1 << kOrder);
#pragma GCC unroll 1
    for (int g = 0; g < (1 << kOrder); g += kGroup) {
        rowPass<T, kRowLog, kAligned>(src + g, aux, 1 << (kGroupLog - kRowLog));
        columnPass<T, kGroupLog - kRowLog, 1 << kRowLog, true, false>(aux, main + g, Reg<T>());
    }
    const Reg<T> scale = V::broadcast(s);
    columnPass<T, kOrder - kGroupLog, kGroup, kAligned, true>(main, dst, scale);
}

template <class T, int kOrder, bool kAligned>
QRBG_INLINE Status scratchKernel(const T* src, T* dst, std::int32_t flag, std::uint8_t* buffer) {
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
    if constexpr (Passes<T, kOrder>::kGroupLog == 0) twoPass<T, kOrder, kAligned>(src, dst, s, main);
    else threePass<T, kOrder, kAligned>(src, dst, s, main);
    if (own) qrbFree(scratch);
    return StatusOk;
}

}  // namespace qrbg::wht

// Exported kernels and their unaligned twins. The twin is a function of its
// own so that the aligned form, which callers with aligned arrays run, stays
// free of the other form's code.
#define QRBG_WHT_SCALAR(O, T, ET)                                                                 \
    extern "C" QRBG_API Status qrbgWHT_##O##_##T(const ET* src, ET* dst, std::int32_t flag) { \
        return ::qrbg::wht::scalarKernel<ET, O>(src, dst, flag);                                  \
    }

#define QRBG_WHT_TWIN_FORMS(O, T, ET, SHAPE)                                                                        \
    extern "C" QRBG_NOINLINE Status owngWHT_##O##_##T##_unaligned(const ET* src, ET* dst, std::int32_t flag,       \
                                                                  std::uint8_t* buffer) {                          \
        return ::qrbg::wht::SHAPE<ET, O>::run<false>(src, dst, flag, buffer);                                                             \
    }                                                                                                              \
    extern "C" QRBG_API Status qrbgWHT_##O##_##T(const ET* src, ET* dst, std::int32_t flag, std::uint8_t* buffer) { \
        if (::qrbg::misaligned(src, dst)) return owngWHT_##O##_##T##_unaligned(src, dst, flag, buffer);           \
        return ::qrbg::wht::SHAPE<ET, O>::run<true>(src, dst, flag, buffer);                                                             \
    }

namespace qrbg::wht {
// Orders 4 to 7 take `buffer` for a uniform interface and leave it alone.
template <class T, int kOrder>
struct Straight {
    template <bool kAligned>
    static QRBG_INLINE Status run(const T* src, T* dst, std::int32_t flag, std::uint8_t*) {
        return straightKernel<T, kOrder, kAligned>(src, dst, flag);
    }
};
template <class T, int kOrder>
struct WithScratch {
    template <bool kAligned>
    static QRBG_INLINE Status run(const T* src, T* dst, std::int32_t flag, std::uint8_t* buffer) {
        return scratchKernel<T, kOrder, kAligned>(src, dst, flag, buffer);
    }
};
}  // namespace qrbg::wht

#define QRBG_WHT_STRAIGHT(O, T, ET) QRBG_WHT_TWIN_FORMS(O, T, ET, Straight)
#define QRBG_WHT_SCRATCH(O, T, ET) QRBG_WHT_TWIN_FORMS(O, T, ET, WithScratch)
