/* Walsh-Hadamard part of the demo.
 *
 * 1. An 8-point signal through qrbgWHT_3_32f under ScaleNone: output k is the
 *    correlation of the signal with row k of the Hadamard matrix (natural
 *    order). Transforming again under ScaleFwdByN gives the signal back, since
 *    H H = N I.
 * 2. A 1024-point transform in double precision through the general entry,
 *    with a scratch buffer sized by qrbgWHTGetBufferSize_64f and allocated
 *    once, the way a caller that runs many transforms should do it. */
#include <math.h>
#include <qrbgen.h>
#include <stdio.h>

static void demo_small(void) {
    const Qrbg32f x[8] = {1, 1, 1, 1, -1, -1, -1, -1};  /* row 4 of the matrix */
    Qrbg32f y[8], back[8];
    int k, st;

    st = qrbgWHT_3_32f(x, y, ScaleNone);
    printf("WHT of the square wave 1 1 1 1 -1 -1 -1 -1 (32f, order 3, ScaleNone, status %d):\n ", st);
    for (k = 0; k < 8; ++k) printf(" %g", y[k]);
    printf("\n  all its energy sits at index 4, the matching row of the Hadamard matrix\n");

    st = qrbgWHT_3_32f(y, back, ScaleFwdByN);
    printf("Transformed again under ScaleFwdByN (status %d):\n ", st);
    for (k = 0; k < 8; ++k) printf(" %g", back[k]);
    printf("\n");
}

static void demo_large(void) {
    enum { kOrder = 10, kN = 1 << kOrder };
    static Qrbg64f x[kN], y[kN], z[kN];
    int32_t size = 0;
    uint8_t* buffer;
    double err = 0.0;
    int i, st;

    for (i = 0; i < kN; ++i) x[i] = sin(0.01 * i) + (i % 7 == 0 ? 0.5 : 0.0);

    st = qrbgWHTGetBufferSize_64f(kOrder, &size);
    buffer = (uint8_t*)qrbMalloc(size);
    if (st != StatusOk || buffer == NULL) {
        fprintf(stderr, "no scratch for the WHT (status %d)\n", st);
        return;
    }
    /* ScaleBySqrtN makes the transform orthonormal: applied twice it is the identity. */
    st = qrbgWHT_64f(x, y, kOrder, ScaleBySqrtN, buffer);
    if (st == StatusOk) st = qrbgWHT_64f(y, z, kOrder, ScaleBySqrtN, buffer);
    qrbFree(buffer);
    for (i = 0; i < kN; ++i) err = fmax(err, fabs(z[i] - x[i]));
    printf("\n64f, order %d (N = %d) through qrbgWHT_64f with a %d-byte scratch buffer:\n", kOrder, kN, (int)size);
    printf("  two ScaleBySqrtN transforms (status %d) give the signal back, largest error %.3g\n", st, err);
    printf("  order 14 is refused: status %d (StatusBadSize = %d)\n",
           qrbgWHT_64f(x, y, 14, ScaleNone, NULL), StatusBadSize);
}

void demo_wht(void) {
    demo_small();
    demo_large();
}
