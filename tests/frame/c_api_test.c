/* A C99 program against the public header: the types, status and flag
 * values, the version record and a kernel call, with plain C linkage. */
#include <qrbgen.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;
#define CHECK(cond)                                                   \
    do {                                                              \
        if (!(cond)) {                                                \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                               \
        }                                                             \
    } while (0)

int main(void) {
    const LibVersion* v = qrbgenGetLibVersion();
    Qrbg64fc x[4] = {{1.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}};
    Qrbg64fc y[4];
    Qrbg32fc xf[2] = {{1.0f, 2.0f}, {3.0f, 4.0f}};
    Qrbg32fc yf[2];
    void* block;
    int i;

    CHECK(v != NULL && v == qrbgenGetLibVersion());
    CHECK(v->major == 6 && v->minor == 1 && v->buildMajor == 137 && v->buildMinor == 336);
    CHECK(memcmp(v->targetCpu, "v8\0\0", 4) == 0);
    CHECK(strcmp(v->name, "libqrbgenv8.so.6.1") == 0);
    CHECK(sizeof(Qrbg32fc) == 8 && sizeof(Qrbg64fc) == 16);
    CHECK(StatusOk == 0 && StatusBadRule == -5 && StatusBadSize == -6 && StatusNullPointer == -8 &&
          StatusBadFlag == -16);
    CHECK(ScaleFwdByN == 1 && ScaleInvByN == 2 && ScaleBySqrtN == 4 && ScaleNone == 8);

    CHECK(qrbgDFTFwd_CToC_4_64fc(x, y, ScaleNone) == StatusOk);
    for (i = 0; i < 4; ++i) CHECK(y[i].re == 1.0 && y[i].im == 0.0);
    CHECK(qrbgDFTFwd_CToC_2_32fc(xf, yf, ScaleFwdByN) == StatusOk);
    CHECK(yf[0].re == 2.0f && yf[0].im == 3.0f && yf[1].re == -1.0f && yf[1].im == -1.0f);
    CHECK(qrbgDFTInv_CToC_4_64fc(NULL, y, 3) == StatusNullPointer);

    block = qrbMalloc(100);
    CHECK(block != NULL && ((unsigned long)block % 32) == 0);
    qrbFree(block);
    CHECK(qrbMalloc(0) == NULL && qrbMalloc(-1) == NULL);
    qrbFree(NULL);

    if (failures == 0) printf("c_api_test: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
