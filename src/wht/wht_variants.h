// Every form of the Walsh-Hadamard kernels in builds with wide variants
// (x86-64): the 16-byte form, the AVX2 and the AVX-512 variant of each
// kernel from order 3 on and of both general entries, under their internal
// names owngWHT_<order>_<type>_<form> and owngWHT_<type>_<form>. The
// exported names are bound to one of them when the library loads
// (wht_bind.cpp); the tests and the benchmark call each form directly.
#pragma once

#include <cstdint>

#include "qrbgen.h"

// X(form, feature, feature): each form and the processor features it needs
// (as __builtin_cpu_supports names them; the same twice where one is
// enough), narrowest first.
#define QRBG_WHT_FORMS(X) X(sse2, "sse2", "sse2") X(avx2, "avx2", "avx2") X(avx512, "avx512f", "avx512vl")

#define QRBG_WHT_DECLARE_BUFFERED(O, V)                                                                  \
    __attribute__((visibility("hidden"))) Status owngWHT_##O##_32f_##V(const Qrbg32f*, Qrbg32f*, int32_t, \
                                                                      uint8_t*);                         \
    __attribute__((visibility("hidden"))) Status owngWHT_##O##_64f_##V(const Qrbg64f*, Qrbg64f*, int32_t, \
                                                                      uint8_t*);

#define QRBG_WHT_DECLARE_FORM(V, f1, f2)                                                                      \
    extern "C" {                                                                                              \
    __attribute__((visibility("hidden"))) Status owngWHT_3_32f_##V(const Qrbg32f*, Qrbg32f*, int32_t);        \
    __attribute__((visibility("hidden"))) Status owngWHT_3_64f_##V(const Qrbg64f*, Qrbg64f*, int32_t);        \
    QRBG_WHT_DECLARE_BUFFERED(4, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(5, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(6, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(7, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(8, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(9, V)                                                                           \
    QRBG_WHT_DECLARE_BUFFERED(10, V)                                                                          \
    QRBG_WHT_DECLARE_BUFFERED(11, V)                                                                          \
    QRBG_WHT_DECLARE_BUFFERED(12, V)                                                                          \
    QRBG_WHT_DECLARE_BUFFERED(13, V)                                                                          \
    __attribute__((visibility("hidden"))) Status owngWHT_32f_##V(const Qrbg32f*, Qrbg32f*, int32_t, int32_t, \
                                                                 uint8_t*);                                   \
    __attribute__((visibility("hidden"))) Status owngWHT_64f_##V(const Qrbg64f*, Qrbg64f*, int32_t, int32_t, \
                                                                 uint8_t*);                                   \
    }

QRBG_WHT_FORMS(QRBG_WHT_DECLARE_FORM)
