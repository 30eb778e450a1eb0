// DCT-IV compute in the 16-byte form, the members of Ops<T> that run it,
// and, in builds with wide variants, the binding of compute to the widest
// form the processor runs, made once when the library loads.
#include "compute_impl.h"
#include "compute_forms.h"

extern "C" Status owngDCT4Compute_32f_sse2(const float* src, float* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<float>::compute(src, dst, spec);
}
extern "C" Status owngDCT4Compute_64f_sse2(const double* src, double* dst, const qrbg::dct4::Env1* spec) {
    return qrbg::dct4::Compute<double>::compute(src, dst, spec);
}

#if QRBG_WIDE_FORMS
extern "C" {
#define QRBG_DCT4_RESOLVER(T, ET)                                                                         \
    QRBG_RESOLVER Status (*resolve_owngDCT4Compute_##T())(                                                \
        const ET*, ET*, const qrbg::dct4::Env1*) {                                                        \
        __builtin_cpu_init();                                                                             \
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"))                      \
            return owngDCT4Compute_##T##_avx512;                                                          \
        if (__builtin_cpu_supports("avx2")) return owngDCT4Compute_##T##_avx2;                            \
        return owngDCT4Compute_##T##_sse2;                                                                \
    }                                                                                                     \
    __attribute__((visibility("hidden"))) Status owngDCT4Compute_##T(const ET*, ET*, const qrbg::dct4::Env1*) \
        __attribute__((ifunc("resolve_owngDCT4Compute_" #T)));
QRBG_DCT4_RESOLVER(32f, float)
QRBG_DCT4_RESOLVER(64f, double)
#undef QRBG_DCT4_RESOLVER
}
#define QRBG_DCT4_BOUND(T) owngDCT4Compute_##T
#else
#define QRBG_DCT4_BOUND(T) owngDCT4Compute_##T##_sse2
#endif

namespace qrbg::dct4 {

template <class T>
Status Ops<T>::compute(const T* src, T* dst, const Env1* spec) {
    if constexpr (sizeof(T) == 4) return QRBG_DCT4_BOUND(32f)(src, dst, spec);
    else return QRBG_DCT4_BOUND(64f)(src, dst, spec);
}
template <class T>
Status Ops<T>::env4_compute(const Env4* e, T* dst, const T* in) {
    return Compute<T>::env4_compute(e, dst, in);
}
template <class T>
Status Ops<T>::env5_compute(const Env5* e, T* out, const T* src) {
    return Compute<T>::env5_compute(e, out, src);
}
template <class T>
Status Ops<T>::env7_compute(const Env7* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups) {
    return Compute<T>::env7_compute(e, out, src, a, b, o, groups);
}
template <class T>
Status Ops<T>::env8_compute(const Env8* e, T* out, const T* in, I32 o, I32 groups) {
    return Compute<T>::env8_compute(e, out, in, o, groups);
}
template <class T>
Status Ops<T>::env9_compute(const Env9* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups) {
    return Compute<T>::env9_compute(e, out, src, a, b, o, groups);
}
template <class T>
void Ops<T>::direct(I32 rule, const T* src, T* dst) {
    Compute<T>::direct(rule, src, dst);
}

// The explicit instantiations live with the plan code; compute adds its own
// members for both precisions here.
template Status Ops<float>::compute(const float*, float*, const Env1*);
template Status Ops<double>::compute(const double*, double*, const Env1*);
template Status Ops<float>::env5_compute(const Env5*, float*, const float*);
template Status Ops<double>::env5_compute(const Env5*, double*, const double*);
template Status Ops<float>::env4_compute(const Env4*, float*, const float*);
template Status Ops<double>::env4_compute(const Env4*, double*, const double*);
template Status Ops<float>::env7_compute(const Env7*, float*, const float*, I32, I32, I32, I32);
template Status Ops<double>::env7_compute(const Env7*, double*, const double*, I32, I32, I32, I32);
template Status Ops<float>::env8_compute(const Env8*, float*, const float*, I32, I32);
template Status Ops<double>::env8_compute(const Env8*, double*, const double*, I32, I32);
template Status Ops<float>::env9_compute(const Env9*, float*, const float*, I32, I32, I32, I32);
template Status Ops<double>::env9_compute(const Env9*, double*, const double*, I32, I32, I32, I32);
template void Ops<float>::direct(I32, const float*, float*);
template void Ops<double>::direct(I32, const double*, double*);

}  // namespace qrbg::dct4
