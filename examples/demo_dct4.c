/* DCT-IV demo: the one transform of the library with a plan.
 *
 * A plan is sized (GetSize), built once for a length (Init in a block of
 * your own, or InitAlloc with a block from qrbMalloc), used for any number
 * of transforms and released. Plans of up to 32 points can be used by many
 * threads at once; from 64 points on compute writes scratch inside the plan,
 * so each thread needs its own plan. */
#include <qrbgen.h>
#include <stdio.h>
#include <stdlib.h>

void demo_dct4(void);

void demo_dct4(void) {
    enum { N = 64, SMALL = 16 };
    float x[N], y[N], back[N];
    int32_t size = 0;
    uint8_t* block;
    Dct4Spec* spec = NULL;
    Dct4Spec* small = NULL;
    double maxErr = 0;
    int i;

    for (i = 0; i < N; ++i) x[i] = (float)((i % 7) - 3) / 4.0f;

    /* 1. Size and build in a block of our own. Any alignment works: Init
     *    aligns the plan inside the block, and GetSize counts that room. */
    if (qrbgDCT4GetSize_32f(N, &size) != StatusOk) return;
    block = (uint8_t*)malloc((size_t)size);
    if (!block || qrbgDCT4Init_32f(&spec, N, block) != StatusOk) {
        free(block);
        return;
    }
    printf("DCT-IV of %d points: plan of %d bytes in a block of our own\n", N, (int)size);

    /* 2. Use it. The transform is unscaled and its own inverse up to N/2. */
    qrbgDCT4_32f(x, y, spec);
    qrbgDCT4_32f(y, back, spec);
    for (i = 0; i < N; ++i) {
        double e = back[i] * (2.0 / N) - x[i];
        if (e < 0) e = -e;
        if (e > maxErr) maxErr = e;
    }
    printf("  y[0..3] = %+.5f %+.5f %+.5f %+.5f, round trip error %.2g\n", y[0], y[1], y[2], y[3], maxErr);

    /* 3. A plan built in our own block ends with the block: no Free. */
    free(block);

    /* 4. InitAlloc takes the block from qrbMalloc; Free gives it back. A plan
     *    of up to 32 points only reads its block, so up to 32 points one plan
     *    may serve any number of threads at once. */
    if (qrbgDCT4InitAlloc_32f(&small, SMALL) == StatusOk) {
        qrbgDCT4_32f(x, y, small); /* src may equal dst as well */
        printf("  %d points through InitAlloc: y[0] = %+.5f\n", SMALL, y[0]);
        qrbgDCT4Free_32f(small);
    }

    /* 5. Lengths are powers of two from 2 to 2^26 (2^25 in double). */
    printf("  GetSize of 48 points: status %d (StatusBadSize)\n", (int)qrbgDCT4GetSize_32f(48, &size));
}
