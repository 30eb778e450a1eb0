/* A program of a library user: one call of every family and the companion
 * allocator. Exits 0 when all of them answered as documented. */
#include <qrbgen.h>
#include <stdio.h>

int main(void) {
    const LibVersion* v = qrbgenGetLibVersion();
    Qrbg64fc x[8] = {{1, 0}}, X[8];
    float w[4] = {1, 2, 3, 4}, y[4];
    Dct4Spec* spec = 0;
    float d[64] = {1}, e[64];
    void* block = qrbMalloc(64);
    int failures = 0;
    failures += v->major != 6 || v->minor != 1;
    failures += qrbgDFTFwd_CToC_8_64fc(x, X, ScaleNone) != StatusOk || X[5].re != 1.0;
    failures += qrbgWHT_32f(w, y, 2, ScaleNone, 0) != StatusOk || y[0] != 10.0f;
    failures += qrbgDCT4InitAlloc_32f(&spec, 64) != StatusOk;
    failures += qrbgDCT4_32f(d, e, spec) != StatusOk || qrbgDCT4Free_32f(spec) != StatusOk;
    failures += block == 0;
    qrbFree(block);
    printf("consumer: %s, %d failures\n", v->name, failures);
    return failures != 0;
}
