// Double-precision Walsh-Hadamard kernels, orders 1 to 13.
//
//   1, 2      scalar, one form (wht_scalar.cpp)
//   3         one unrolled block of two quads; both memory forms in the one
//             function (the block is too small to be worth a twin)
//   4 to 7    one unrolled block of quads, no scratch
//   8 to 10   two passes: rows of 32 or 128 into the scratch, columns to dst
//   11, 12    three passes through groups of 256 elements (2048 bytes)
//   13        three passes through groups of 1024 elements (8192 bytes)
#include "wht_kernels.h"

extern "C" QRBG_API Status qrbgWHT_3_64f(const Qrbg64f* src, Qrbg64f* dst, std::int32_t flag) {
    if (::qrbg::misaligned(src, dst)) return ::qrbg::wht::straightKernel<Qrbg64f, 3, false>(src, dst, flag);
    return ::qrbg::wht::straightKernel<Qrbg64f, 3, true>(src, dst, flag);
}

QRBG_WHT_STRAIGHT(4, 64f, Qrbg64f)
QRBG_WHT_STRAIGHT(5, 64f, Qrbg64f)
QRBG_WHT_STRAIGHT(6, 64f, Qrbg64f)
QRBG_WHT_STRAIGHT(7, 64f, Qrbg64f)

QRBG_WHT_SCRATCH(8, 64f, Qrbg64f)
QRBG_WHT_SCRATCH(9, 64f, Qrbg64f)
QRBG_WHT_SCRATCH(10, 64f, Qrbg64f)
QRBG_WHT_SCRATCH(11, 64f, Qrbg64f)
QRBG_WHT_SCRATCH(12, 64f, Qrbg64f)
QRBG_WHT_SCRATCH(13, 64f, Qrbg64f)
