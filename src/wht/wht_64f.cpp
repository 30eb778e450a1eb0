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

extern "C" QRBG_WHT_SSE2_LINK Status QRBG_WHT_SSE2_NAME(3, 64f)(const Qrbg64f* src, Qrbg64f* dst, std::int32_t flag) {
    using V = ::qrbg::wht::Vec<Qrbg64f>;
    if (::qrbg::misaligned(src, dst)) return ::qrbg::wht::straightKernel<V, 3, false>(src, dst, flag);
    return ::qrbg::wht::straightKernel<V, 3, true>(src, dst, flag);
}

QRBG_WHT_TWIN_FORMS(4, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(5, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(6, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(7, 64f, Qrbg64f)

QRBG_WHT_TWIN_FORMS(8, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(9, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(10, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(11, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(12, 64f, Qrbg64f)
QRBG_WHT_TWIN_FORMS(13, 64f, Qrbg64f)
