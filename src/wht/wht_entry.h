// The general WHT entries: the order as an argument, forwarded to the kernel
// of that order through a constant table. Pointers, flag and memory form are
// the kernel's business; the entry tests the order only. Each form of the
// entry (16-byte, AVX2, AVX-512) has a table of the kernels of its own form,
// so that a call goes straight to the kernel, with no second binding.
#pragma once

#include <cstdint>

#include "qrbg_simd.h"
#include "qrbgen.h"

#ifndef QRBG_ISA
#define QRBG_ISA sse2
#endif

namespace qrbg::wht {
inline namespace QRBG_ISA {

template <class T>
using EntryKernel = Status (*)(const T*, T*, std::int32_t, std::uint8_t*);

// Orders 1 to 3 have no scratch argument; the table calls them through an
// adapter with the common signature, which drops `buffer`.
template <class T, Status (*K)(const T*, T*, std::int32_t)>
Status withoutBuffer(const T* src, T* dst, std::int32_t flag, std::uint8_t*) {
    return K(src, dst, flag);
}

template <class T>
QRBG_INLINE Status forward(const EntryKernel<T> (&table)[13], const T* src, T* dst, std::int32_t order,
                           std::int32_t flag, std::uint8_t* buffer) {
    // Orders 1 to 13 map to 0 to 12; everything else, zero and negative
    // orders included, lands above 12 as an unsigned number.
    const std::uint32_t k = static_cast<std::uint32_t>(order) - 1u;
    if (k > 12u) return StatusBadSize;
    return table[k](src, dst, flag, buffer);
}

}  // namespace QRBG_ISA
}  // namespace qrbg::wht

// The general entry `entry` of type T (32f, 64f) over the kernels NAME(order,
// T) of orders 3 to 13 (orders 1 and 2 are the scalar kernels of every form).
#define QRBG_WHT_GENERAL(T, ET, NAME, LINK, entry)                                                               \
    namespace {                                                                                                  \
    constexpr ::qrbg::wht::EntryKernel<ET> kWht##T[13] = {                                                      \
        ::qrbg::wht::withoutBuffer<ET, qrbgWHT_1_##T>, ::qrbg::wht::withoutBuffer<ET, qrbgWHT_2_##T>,           \
        ::qrbg::wht::withoutBuffer<ET, NAME(3, T)>,    NAME(4, T),                                               \
        NAME(5, T),                                    NAME(6, T),                                               \
        NAME(7, T),                                    NAME(8, T),                                               \
        NAME(9, T),                                    NAME(10, T),                                              \
        NAME(11, T),                                   NAME(12, T),                                              \
        NAME(13, T)};                                                                                            \
    }                                                                                                            \
    extern "C" LINK Status entry(const ET* src, ET* dst, std::int32_t order, std::int32_t flag, std::uint8_t* buffer) { \
        return ::qrbg::wht::forward(kWht##T, src, dst, order, flag, buffer);                                    \
    }
