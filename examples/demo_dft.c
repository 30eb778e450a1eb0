/* Complex DFT part of the demo: transforms a short test signal with the
 * fixed-size kernels and prints its spectrum.
 *
 * The signal is a complex tone at bin 3 plus a half-amplitude one at bin 1;
 * the forward kernel under ScaleFwdByN turns it into amplitudes, and the
 * inverse kernel under the same flag gives the signal back. */
#include <math.h>
#include <qrbgen.h>
#include <stdio.h>

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
    Qrbg32fc xf[4], Xf[4];
    double err = 0.0;
    int n, st;

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

    for (n = 0; n < 4; ++n) {
        xf[n].re = (float)n;
        xf[n].im = 0.0f;
    }
    st = qrbgDFTFwd_CToC_4_32fc(xf, Xf, ScaleNone);
    printf("\n32fc, N = 4, of the ramp 0 1 2 3 (status %d):\n", st);
    for (n = 0; n < 4; ++n) printf("  bin %d  %+g %+gi\n", n, Xf[n].re, Xf[n].im);

    st = qrbgDFTFwd_CToC_4_32fc(xf, Xf, 3);
    printf("\nA flag of 3 is refused: status %d (StatusBadFlag = %d)\n", st, StatusBadFlag);
}
