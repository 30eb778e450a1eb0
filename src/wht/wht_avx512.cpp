// The AVX-512 variants of the Walsh-Hadamard kernels: 32-byte registers, 32
// of them (AVX-512VL). On processors that run 64-byte operations as two
// halves, wider registers add nothing to the sums and differences that bound
// these kernels; the second half of the register file holds longer rows.
// Compiled with -mavx512f -mavx512vl and without the compiler's vectoriser.
#define QRBG_ISA avx512
#define QRBG_WHT_REGISTERS 32
#include "wht_wide_forms.h"
