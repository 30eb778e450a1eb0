// The AVX2 variants of the Walsh-Hadamard kernels: 32-byte registers, 16 of
// them. Compiled with -mavx2 (no fused multiply-add).
#define QRBG_ISA avx2
#define QRBG_WHT_REGISTERS 16
#include "wht_wide_forms.h"
