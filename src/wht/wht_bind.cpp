// Builds with wide variants: every exported Walsh-Hadamard kernel from order
// 3 on, and both general entries, bound when the library loads to the widest
// form the processor runs. Orders 1 and 2 are scalar and have one form.
#include "qrbg_simd.h"
#include "wht_variants.h"

#if QRBG_WIDE_FORMS
#define QRBG_WHT_BIND(O)                                                                                 \
    QRBG_BIND_WIDEST(qrbgWHT_##O##_32f, owngWHT_##O##_32f, Status,                                       \
                     (const Qrbg32f*, Qrbg32f*, std::int32_t, std::uint8_t*))                            \
    QRBG_BIND_WIDEST(qrbgWHT_##O##_64f, owngWHT_##O##_64f, Status,                                       \
                     (const Qrbg64f*, Qrbg64f*, std::int32_t, std::uint8_t*))

QRBG_BIND_WIDEST(qrbgWHT_3_32f, owngWHT_3_32f, Status, (const Qrbg32f*, Qrbg32f*, std::int32_t))
QRBG_BIND_WIDEST(qrbgWHT_3_64f, owngWHT_3_64f, Status, (const Qrbg64f*, Qrbg64f*, std::int32_t))
QRBG_WHT_BIND(4)
QRBG_WHT_BIND(5)
QRBG_WHT_BIND(6)
QRBG_WHT_BIND(7)
QRBG_WHT_BIND(8)
QRBG_WHT_BIND(9)
QRBG_WHT_BIND(10)
QRBG_WHT_BIND(11)
QRBG_WHT_BIND(12)
QRBG_WHT_BIND(13)
QRBG_BIND_WIDEST(qrbgWHT_32f, owngWHT_32f, Status,
                 (const Qrbg32f*, Qrbg32f*, std::int32_t, std::int32_t, std::uint8_t*))
QRBG_BIND_WIDEST(qrbgWHT_64f, owngWHT_64f, Status,
                 (const Qrbg64f*, Qrbg64f*, std::int32_t, std::int32_t, std::uint8_t*))
#endif
