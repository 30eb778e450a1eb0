// DCT-IV compute on 32-byte vectors, 16 registers. Compiled with -mavx2,
// without fused multiply-add and without the compiler's vectoriser.
#define QRBG_ISA avx2
#include "compute_impl.h"
#include "compute_forms.h"

extern "C" Status owngDCT4Compute_32f_avx2(const float* src, float* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<float>::compute(src, dst, spec);
}
extern "C" Status owngDCT4Compute_64f_avx2(const double* src, double* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<double>::compute(src, dst, spec);
}
