// The forms of DCT-IV compute in builds with wide variants (x86-64): the
// 16-byte form and the AVX2 and AVX-512 forms, under their internal names
// owngDCT4Compute_<type>_<form>. Compute is bound to one of them when the
// library loads (compute.cpp); the tests and the benchmark call each form
// directly. Each takes a plan that Ops<T>::recognise accepted.
#pragma once

#include "nodes.h"

// X(form, feature, feature): each form and the processor features it needs
// (as __builtin_cpu_supports names them), narrowest first.
#define QRBG_DCT4_FORMS(X) X(sse2, "sse2", "sse2") X(avx2, "avx2", "avx2") X(avx512, "avx512f", "avx512vl")

#define QRBG_DCT4_DECLARE_FORM(V, f1, f2)                                                                      \
    extern "C" __attribute__((visibility("hidden"))) Status owngDCT4Compute_32f_##V(                           \
        const float*, float*, const qrbg::dct4::Env1*);                                                        \
    extern "C" __attribute__((visibility("hidden"))) Status owngDCT4Compute_64f_##V(                           \
        const double*, double*, const qrbg::dct4::Env1*);

QRBG_DCT4_FORMS(QRBG_DCT4_DECLARE_FORM)
