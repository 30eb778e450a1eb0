// Single-precision Walsh-Hadamard kernels, orders 1 to 13.
//
//   1 to 3    scalar, one form (wht_scalar.cpp)
//   (the wide variants of every order from 3 on: wht_wide_forms.h)
//   4 to 7    one unrolled block of tiles, no scratch
//   8 to 11   two passes: rows of 32 or 64 into the scratch, columns to dst
//   12, 13    three passes through groups of 512 elements (2048 bytes)
#include "wht_kernels.h"

QRBG_WHT_TWIN_FORMS(4, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(5, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(6, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(7, 32f, Qrbg32f)

QRBG_WHT_TWIN_FORMS(8, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(9, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(10, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(11, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(12, 32f, Qrbg32f)
QRBG_WHT_TWIN_FORMS(13, 32f, Qrbg32f)
