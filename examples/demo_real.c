/* Real-input part of the demo: one real signal, its half spectrum in the
 * three packed layouts.
 *
 * The signal of 12 samples is 1 + cos(2 pi 2 n / 12) + 0.5 sin(2 pi 3 n / 12).
 * Under ScaleFwdByN the forward kernels give R(0) = 1, R(2) = 0.5 and
 * I(3) = -0.25, and zeros elsewhere; the layouts differ only in where
 * those values stand. */
#include <math.h>
#include <qrbgen.h>
#include <stdio.h>

#define N 12

static void print_array(const char* name, const double* v, int len) {
    int i;
    printf("  %-5s", name);
    for (i = 0; i < len; ++i) printf(" %+5.2f", fabs(v[i]) < 5e-16 ? 0.0 : v[i]);
    printf("\n");
}

void demo_real(void) {
    const double pi = 3.14159265358979323846;
    double x[N], ccs[N + 2], pack[N], perm[N], back[N], err = 0.0;
    float xf[N], packf[N];
    int n, st;

    for (n = 0; n < N; ++n) {
        x[n] = 1.0 + cos(2.0 * pi * 2.0 * n / N) + 0.5 * sin(2.0 * pi * 3.0 * n / N);
        xf[n] = (float)x[n];
    }
    st = qrbgDFTFwd_RToCCS_12_64f(x, ccs, ScaleFwdByN);
    st |= qrbgDFTFwd_RToPack_12_64f(x, pack, ScaleFwdByN);
    st |= qrbgDFTFwd_RToPerm_12_64f(x, perm, ScaleFwdByN);
    printf("Half spectrum of 1 + cos(2 pi 2n/12) + 0.5 sin(2 pi 3n/12), 64f, N = 12 (status %d):\n", st);
    printf("  CCS:  R0 I0 R1 I1 ... R6 I6 (N + 2 elements; I0 and I6 are +0)\n");
    print_array("CCS", ccs, N + 2);
    printf("  Pack: R0 R1 I1 ... R5 I5 R6\n");
    print_array("Pack", pack, N);
    printf("  Perm: R0 R6 R1 I1 ... R5 I5\n");
    print_array("Perm", perm, N);

    /* The single-precision kernel of the same length: the same values,
     * rounded by the single-precision rule. */
    st = qrbgDFTFwd_RToPack_12_32f(xf, packf, ScaleFwdByN);
    printf("\n32f Pack (status %d): R2 = %.7f, I3 = %.7f\n", st, packf[3], packf[6]);

    /* Back from the CCS spectrum with the same flag: the signal again. The
     * general entry takes the length as an argument. */
    st = qrbgDFTInv_CCSToR_64f(ccs, back, N, ScaleFwdByN);
    for (n = 0; n < N; ++n)
        if (fabs(back[n] - x[n]) > err) err = fabs(back[n] - x[n]);
    printf("Inverse through the general entry (status %d): largest error %.2g\n", st, err);

    /* The Hartley transform, cos + sin: R(k) - I(k) of the spectrum above. */
    st = qrbgHartley_12_64f(x, back, ScaleFwdByN);
    printf("Hartley (status %d):", st);
    for (n = 0; n < N; ++n) printf(" %+5.2f", fabs(back[n]) < 5e-16 ? 0.0 : back[n]);
    printf("\n");
}
