// Fixed kernels of the DCT-IV on lane vectors: the odd-frequency transforms
// H(L) of the first stage, the synthesis kernels T(m) of the last stage, and
// the complex DFTs F4, F8 inside the twiddled kernels D(m') of a split.
//
// Every kernel is a template over the vector type and its size, fully
// unrolled by the compiler; its constants are cosines and sines evaluated at
// compile time in double-double arithmetic and rounded once to the element
// type (constants.h).
#pragma once

#include "constants.h"
#include "simd.h"

namespace qrbg::dct4 {
inline namespace QRBG_ISA {

template <class T>
constexpr T kH = static_cast<T>(0.7071067811865475244008443621048490393L);  // sqrt(1/2)

template <class V>
struct Cx {
    V re, im;
};
template <class V>
QRBG_INLINE Cx<V> operator+(Cx<V> a, Cx<V> b) { return {a.re + b.re, a.im + b.im}; }
template <class V>
QRBG_INLINE Cx<V> operator-(Cx<V> a, Cx<V> b) { return {a.re - b.re, a.im - b.im}; }
// z (c + j s)
template <class V>
QRBG_INLINE Cx<V> rot(Cx<V> z, V c, V s) {
    return {c * z.re - s * z.im, s * z.re + c * z.im};
}
template <class V>
QRBG_INLINE Cx<V> rotc(Cx<V> z, typename V::T c, typename V::T s) {
    return rot(z, V::set1(c), V::set1(s));
}

// ---- H(L): G[q] = sum v[i] e(j pi (2q+1) i / L), q < L/2 ---------------------
// Point i of the input is v[i S]; G[q] is (re, im) of the q-th odd frequency.

template <int L>
constexpr int hRadix = (L == 8 || L == 32) ? 2 : 4;

template <class T, int L>
struct HTw {
    static constexpr int r = hRadix<L>, n = L / r;
    struct Tab {
        T c[n / 2 > 0 ? n / 2 : 1][4];
        T s[n / 2 > 0 ? n / 2 : 1][4];
    };
    static constexpr Tab tab = [] {
        Tab t{};
        for (int p = 0; p < n / 2; ++p)
            for (int a = 1; a < r; ++a) {
                t.c[p][a] = cpi<T>((2 * p + 1) * a, L);
                t.s[p][a] = spi<T>((2 * p + 1) * a, L);
            }
        return t;
    }();
};

template <class V, int L, int S>
QRBG_INLINE void H(const V* v, Cx<V>* G) {
    using T = typename V::T;
    if constexpr (L == 2) {
        G[0] = {v[0], v[S]};
    } else if constexpr (L == 4) {
        const V h = V::set1(kH<T>);
        const V s = h * (v[S] - v[3 * S]), d = h * (v[S] + v[3 * S]);
        G[0] = {v[0] + s, d + v[2 * S]};
        G[1] = {v[0] - s, d - v[2 * S]};
    } else {
        constexpr int r = hRadix<L>, n = L / r;
        using Tw = HTw<T, L>;
        Cx<V> Y[r][n / 2];
#pragma GCC unroll 4
        for (int a = 0; a < r; ++a) H<V, n, S * r>(v + a * S, Y[a]);
#pragma GCC unroll 16
        for (int p = 0; p < n / 2; ++p) {
            Cx<V> P[r];
            P[0] = Y[0][p];
#pragma GCC unroll 4
            for (int a = 1; a < r; ++a) P[a] = rotc(Y[a][p], Tw::tab.c[p][a], Tw::tab.s[p][a]);
            if constexpr (r == 2) {
                G[p] = P[0] + P[1];
                G[n - 1 - p] = {P[0].re - P[1].re, P[1].im - P[0].im};
            } else {
                const Cx<V> A = P[0] + P[2], B = P[0] - P[2], C = P[1] + P[3], D = P[1] - P[3];
                G[p] = A + C;
                G[n + p] = {B.re - D.im, B.im + D.re};
                G[n - 1 - p] = {B.re + D.im, D.re - B.im};
                G[2 * n - 1 - p] = {A.re - C.re, C.im - A.im};
            }
        }
    }
}

// ---- T(m): v[t] = Re sum z_c e(j pi (c + 1/2) t / m), t < 2m -----------------
// Radix 2 for m up to 16; radix 4 (R4) for the 32-column kernel and its
// 8-column sub-kernels.

template <class T, int m, bool R4>
struct TTw {
    static constexpr bool radix4 = R4 && m >= 8;
    static constexpr int cnt = radix4 ? m / 4 : (m / 2 > 0 ? m / 2 : 1);
    struct Tab {
        T c[cnt][4];
        T s[cnt][4];
    };
    static constexpr Tab tab = [] {
        Tab t{};
        for (int c = 0; c < cnt; ++c)
            for (int k = 1; k <= (radix4 ? 3 : 1); ++k) {
                t.c[c][k] = cpi<T>((2 * c + 1) * k, 2 * m);
                t.s[c][k] = spi<T>((2 * c + 1) * k, 2 * m);
            }
        return t;
    }();
};

template <class V, int m, bool R4>
QRBG_INLINE void Tk(const Cx<V>* z, V* out) {
    using T = typename V::T;
    if constexpr (m == 1) {
        out[0] = z[0].re;
        out[1] = z[0].im.neg();
    } else if constexpr (R4 && m >= 8) {
        constexpr int n = m / 4;
        using Tw = TTw<T, m, R4>;
        Cx<V> Z[4][n];
#pragma GCC unroll 8
        for (int c = 0; c < n; ++c) {
            const Cx<V> a = z[c], b = z[m - 1 - c], e = z[m / 2 + c], f = z[m / 2 - 1 - c];
            const Cx<V> A{a.re + b.re, a.im - b.im}, B{a.re - b.re, a.im + b.im};
            const Cx<V> C{e.re + f.re, e.im - f.im}, D{e.re - f.re, e.im + f.im};
            Z[0][c] = A + C;
            Z[1][c] = rotc(Cx<V>{B.re - D.im, B.im + D.re}, Tw::tab.c[c][1], Tw::tab.s[c][1]);
            Z[2][c] = rotc(A - C, Tw::tab.c[c][2], Tw::tab.s[c][2]);
            Z[3][c] = rotc(Cx<V>{B.re + D.im, B.im - D.re}, Tw::tab.c[c][3], Tw::tab.s[c][3]);
        }
        V o[4][2 * n];
#pragma GCC unroll 4
        for (int r = 0; r < 4; ++r) Tk<V, n, R4>(Z[r], o[r]);
#pragma GCC unroll 16
        for (int s = 0; s < 2 * n; ++s)
#pragma GCC unroll 4
            for (int r = 0; r < 4; ++r) out[4 * s + r] = o[r][s];
    } else {
        constexpr int h = m / 2;
        using Tw = TTw<T, m, R4>;
        Cx<V> zp[h], zm[h];
#pragma GCC unroll 16
        for (int c = 0; c < h; ++c) {
            const Cx<V> a = z[c], b = z[m - 1 - c];
            zp[c] = {a.re + b.re, a.im - b.im};
            const Cx<V> d{a.re - b.re, a.im + b.im};
            if constexpr (m == 2) {
                const V k = V::set1(kH<T>);
                zm[c] = {k * (d.re - d.im), k * (d.re + d.im)};
            } else {
                zm[c] = rotc(d, Tw::tab.c[c][1], Tw::tab.s[c][1]);
            }
        }
        V e[m], o[m];
        Tk<V, h, R4>(zp, e);
        Tk<V, h, R4>(zm, o);
#pragma GCC unroll 32
        for (int s = 0; s < m; ++s) out[2 * s] = e[s], out[2 * s + 1] = o[s];
    }
}

// ---- F4, F8: complex DFTs with positive exponent, x[a S] -> X[t] -------------

template <class V>
QRBG_INLINE void F4(Cx<V> x0, Cx<V> x1, Cx<V> x2, Cx<V> x3, Cx<V>* X, int step) {
    const Cx<V> a0 = x0 + x2, a1 = x0 - x2, b0 = x1 + x3, b1 = x1 - x3;
    X[0] = a0 + b0;
    X[2 * step] = a0 - b0;
    X[step] = {a1.re - b1.im, a1.im + b1.re};
    X[3 * step] = {a1.re + b1.im, a1.im - b1.re};
}

template <class V>
QRBG_INLINE void F8(const Cx<V>* x, int S, Cx<V>* X, int step) {
    using T = typename V::T;
    const V h = V::set1(kH<T>);
    Cx<V> u[4], w[4];
#pragma GCC unroll 4
    for (int a = 0; a < 4; ++a) u[a] = x[a * S] + x[(a + 4) * S], w[a] = x[a * S] - x[(a + 4) * S];
    w[1] = {h * (w[1].re - w[1].im), h * (w[1].re + w[1].im)};
    w[2] = {w[2].im.neg(), w[2].re};
    {
        const V t = h * (w[3].re + w[3].im), d = h * (w[3].re - w[3].im);
        w[3] = {t.neg(), d};
    }
    F4(u[0], u[1], u[2], u[3], X, 2 * step);
    F4(w[0], w[1], w[2], w[3], X + step, 2 * step);
}

}  // namespace QRBG_ISA
}  // namespace qrbg::dct4
