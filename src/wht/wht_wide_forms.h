// The wide variants of the Walsh-Hadamard kernels, orders 3 to 13, and the
// general entries over them. Included once by the source of each variant,
// which names its instruction set (QRBG_ISA: avx2, avx512) and the number of
// vector registers the compiler has for it (QRBG_WHT_REGISTERS: 16 or 32);
// the functions are owngWHT_<order>_<type>_<isa> and owngWHT_<type>_<isa>.
//
// The passes over the scratch use the regions of the 16-byte kernels (the
// main region, and for the three-pass orders the auxiliary region, filled
// by one group): a variant reads and writes the same bytes of the caller's
// buffer. Rows are as long as the registers hold; columns take the levels
// that remain.
#pragma once

#include "wht_entry.h"
#include "wht_kernels.h"
#include "wht_variants.h"
#include "wht_wide.h"

namespace qrbg::wht {
inline namespace QRBG_ISA {

template <class T, int kOrder>
struct Passes<Wide<T>, kOrder> {
    // Elements the registers hold in one row block.
    static constexpr int kRowMax = (QRBG_WHT_REGISTERS == 32 ? 8 : 7) - (sizeof(T) == 8 ? 1 : 0);
    static constexpr int kGroupLog = Passes<Vec<T>, kOrder>::kGroupLog;
    static constexpr int kPassLog = kGroupLog ? kGroupLog : kOrder;  // the levels of rows and their columns
    // At least two rows, so that the columns join something.
    static constexpr int kRowLog = kRowMax < kPassLog - 1 ? kRowMax : kPassLog - 1;
};

}  // namespace QRBG_ISA
}  // namespace qrbg::wht

#define QRBG_WHT_PASTE(a, b) a##b
#define QRBG_WHT_FORM_NAME(name, isa) QRBG_WHT_PASTE(name, isa)
// owngWHT_<order>_<type>_<isa>
#define QRBG_WHT_WIDE_NAME(O, T) QRBG_WHT_FORM_NAME(owngWHT_##O##_##T##_, QRBG_ISA)

// A wide kernel: one form for every alignment.
#define QRBG_WHT_WIDE(O, T, ET)                                                                            \
    extern "C" __attribute__((visibility("hidden"))) Status QRBG_WHT_WIDE_NAME(O, T)(                      \
        const ET* src, ET* dst, std::int32_t flag, std::uint8_t* buffer) {                                 \
        return ::qrbg::wht::Shape<::qrbg::wht::Wide<ET>, O>::run<false>(src, dst, flag, buffer);           \
    }
#define QRBG_WHT_WIDE3(T, ET)                                                                                  \
    extern "C" __attribute__((visibility("hidden"))) Status QRBG_WHT_WIDE_NAME(3, T)(const ET* src, ET* dst, \
                                                                                   std::int32_t flag) {       \
        return ::qrbg::wht::straightKernel<::qrbg::wht::Wide<ET>, 3, false>(src, dst, flag);                  \
    }
#define QRBG_WHT_WIDE_ALL(T, ET) \
    QRBG_WHT_WIDE3(T, ET)        \
    QRBG_WHT_WIDE(4, T, ET)      \
    QRBG_WHT_WIDE(5, T, ET)      \
    QRBG_WHT_WIDE(6, T, ET)      \
    QRBG_WHT_WIDE(7, T, ET)      \
    QRBG_WHT_WIDE(8, T, ET)      \
    QRBG_WHT_WIDE(9, T, ET)      \
    QRBG_WHT_WIDE(10, T, ET)     \
    QRBG_WHT_WIDE(11, T, ET)     \
    QRBG_WHT_WIDE(12, T, ET)     \
    QRBG_WHT_WIDE(13, T, ET)

QRBG_WHT_WIDE_ALL(32f, Qrbg32f)
QRBG_WHT_WIDE_ALL(64f, Qrbg64f)

QRBG_WHT_GENERAL(32f, Qrbg32f, QRBG_WHT_WIDE_NAME, __attribute__((visibility("hidden"))),
                 QRBG_WHT_FORM_NAME(owngWHT_32f_, QRBG_ISA))
QRBG_WHT_GENERAL(64f, Qrbg64f, QRBG_WHT_WIDE_NAME, __attribute__((visibility("hidden"))),
                 QRBG_WHT_FORM_NAME(owngWHT_64f_, QRBG_ISA))
