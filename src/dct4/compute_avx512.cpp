// DCT-IV compute on 32-byte vectors with the 32 registers of AVX-512VL: the
// unrolled kernels of 16 and 32 points keep more of their values in
// registers. Compiled with -mavx512f -mavx512vl, without fused multiply-add
// and without the compiler's vectoriser.
#define QRBG_ISA avx512
#include "compute_impl.h"
#include "compute_forms.h"

extern "C" Status owngDCT4Compute_32f_avx512(const float* src, float* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<float>::compute(src, dst, spec);
}
extern "C" Status owngDCT4Compute_64f_avx512(const double* src, double* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<double>::compute(src, dst, spec);
}
