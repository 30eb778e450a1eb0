/* Complex DFT part of the demo: transforms a short test signal with the
 * fixed-size kernels and prints its spectrum.
 *
 * The signal is a complex tone at bin 3 plus a half-amplitude one at bin 1;
 * the forward kernel under ScaleFwdByN turns it into amplitudes, and the
 * inverse kernel under the same flag gives the signal back. A prime length
 * and the general entry, which takes the length at run time, follow. */
#include <math.h>
#include <qrbgen.h>
#include <stdio.h>
#include <string.h>

#define N 8

static void print_spectrum(const char* title, const Qrbg64fc* X, int n) {
    int k;
    printf("%s\n", title);
    for (k = 0; k < n; ++k) {
        double mag = sqrt(X[k].re * X[k].re + X[k].im * X[k].im);
        int bar = (int)(mag * 40.0 + 0.5);
        printf("  bin %2d  %+.6f %+.6fi  |", k, X[k].re, X[k].im);
        while (bar-- > 0) putchar('#');
        putchar('\n');
    }
}

void demo_dft(void) {
    const double pi = 3.14159265358979323846;
    Qrbg64fc x[N], X[N], back[N];
    Qrbg32fc xf[48], Xf[48], xp[64], Xp[64];
    static const int lengths[] = {2, 13, 47, 64, 65};
    double err = 0.0;
    int n, i, st;

    for (n = 0; n < N; ++n) {
        double a = 2.0 * pi * 3.0 * n / N, b = 2.0 * pi * 1.0 * n / N;
        x[n].re = cos(a) + 0.5 * cos(b);
        x[n].im = sin(a) + 0.5 * sin(b);
    }
    st = qrbgDFTFwd_CToC_8_64fc(x, X, ScaleFwdByN);
    if (st != StatusOk) {
        fprintf(stderr, "forward transform failed: %d\n", st);
        return;
    }
    print_spectrum("Spectrum of a tone at bin 3 and a half-amplitude tone at bin 1 (64fc, N = 8):", X, N);

    st = qrbgDFTInv_CToC_8_64fc(X, back, ScaleFwdByN);
    for (n = 0; n < N; ++n) {
        double d = fabs(back[n].re - x[n].re) + fabs(back[n].im - x[n].im);
        if (d > err) err = d;
    }
    printf("\nInverse transform (status %d) gives the signal back, largest error %.3g\n", st, err);

    /* A 48-point single-precision transform of a real cosine at bin 5: the
     * energy shows up at bins 5 and 43 = 48 - 5, half in each. */
    for (n = 0; n < 48; ++n) {
        xf[n].re = (float)cos(2.0 * pi * 5.0 * n / 48.0);
        xf[n].im = 0.0f;
    }
    st = qrbgDFTFwd_CToC_48_32fc(xf, Xf, ScaleFwdByN);
    printf("\n32fc, N = 48, of cos(2 pi 5 n / 48) under ScaleFwdByN (status %d):\n", st);
    for (n = 0; n < 48; ++n)
        if (fabs(Xf[n].re) > 1e-4 || fabs(Xf[n].im) > 1e-4) printf("  bin %2d  %+.6f %+.6fi\n", n, Xf[n].re, Xf[n].im);

    /* Any alignment and in-place operation give the same bits. */
    st = qrbgDFTFwd_CToC_48_32fc(xf, xf, ScaleFwdByN);
    printf("  the same call in place (status %d) gives %s\n", st,
           memcmp(xf, Xf, sizeof Xf) == 0 ? "the same bits" : "other bits");

    /* A prime length: 61 points in single precision (complex Rader form). A
     * tone at bin 7 of amplitude 1 comes out at bin 7 alone. */
    for (n = 0; n < 61; ++n) {
        xp[n].re = (float)cos(2.0 * pi * 7.0 * n / 61.0);
        xp[n].im = (float)sin(2.0 * pi * 7.0 * n / 61.0);
    }
    st = qrbgDFTFwd_CToC_61_32fc(xp, Xp, ScaleFwdByN);
    printf("\n32fc, N = 61 (a prime), of exp(2 pi i 7 n / 61) under ScaleFwdByN (status %d):\n", st);
    for (n = 0; n < 61; ++n)
        if (fabs(Xp[n].re) > 1e-4 || fabs(Xp[n].im) > 1e-4) printf("  bin %2d  %+.6f %+.6fi\n", n, Xp[n].re, Xp[n].im);

    /* The general entry takes the length as an argument: here the first len
     * points of a constant 1, whose bin 0 is len under ScaleNone. A length
     * outside 2..64 is refused. */
    for (n = 0; n < 64; ++n) {
        xp[n].re = 1.0f;
        xp[n].im = 0.0f;
    }
    printf("\nGeneral entry qrbgDFTFwd_CToC_32fc on len points of 1:\n");
    for (i = 0; i < (int)(sizeof lengths / sizeof lengths[0]); ++i) {
        st = qrbgDFTFwd_CToC_32fc(xp, Xp, lengths[i], ScaleNone);
        if (st == StatusOk) printf("  len %2d: status %d, bin 0 = %g\n", lengths[i], st, Xp[0].re);
        else printf("  len %2d: status %d (StatusBadSize = %d)\n", lengths[i], st, StatusBadSize);
    }

    st = qrbgDFTFwd_CToC_4_32fc(xf, Xf, 3);
    printf("\nA flag of 3 is refused: status %d (StatusBadFlag = %d)\n", st, StatusBadFlag);
}
