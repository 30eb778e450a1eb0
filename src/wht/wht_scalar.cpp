// The scalar Walsh-Hadamard kernels: orders 1 to 3 in single precision,
// orders 1 and 2 in double precision. They move single elements, so any
// address works and there is one form without an alignment test.
//
// This file is compiled without the straight-line vectorizer: at these sizes
// packing the few elements into vectors costs more shuffles than the
// arithmetic it saves, and element-wise code keeps the operation count at
// exactly order * N sums and differences and N products.
#include "wht_kernels.h"

QRBG_WHT_SCALAR(1, 32f, Qrbg32f)
QRBG_WHT_SCALAR(2, 32f, Qrbg32f)
QRBG_WHT_SCALAR3(32f, Qrbg32f)

QRBG_WHT_SCALAR(1, 64f, Qrbg64f)
QRBG_WHT_SCALAR(2, 64f, Qrbg64f)
