// General WHT entries of the 16-byte kernels: the exported entries in the
// i386 build, owngWHT_<type>_sse2 beside the wide forms elsewhere.
#include "wht_entry.h"
#include "wht_kernels.h"

#if QRBG_WIDE_FORMS
#include "wht_variants.h"
QRBG_WHT_GENERAL(32f, Qrbg32f, QRBG_WHT_SSE2_NAME, QRBG_WHT_SSE2_LINK, owngWHT_32f_sse2)
QRBG_WHT_GENERAL(64f, Qrbg64f, QRBG_WHT_SSE2_NAME, QRBG_WHT_SSE2_LINK, owngWHT_64f_sse2)
#else
QRBG_WHT_GENERAL(32f, Qrbg32f, QRBG_WHT_SSE2_NAME, QRBG_WHT_SSE2_LINK, qrbgWHT_32f)
QRBG_WHT_GENERAL(64f, Qrbg64f, QRBG_WHT_SSE2_NAME, QRBG_WHT_SSE2_LINK, qrbgWHT_64f)
#endif
