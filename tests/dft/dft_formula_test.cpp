// The base kernels follow the written formulas to the bit: each formula is
// evaluated here independently, in the stated precision and order, and
// compared with the kernel at scale 1 on random data.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "kernel_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

template <class T>
struct Cx {
    T re, im;
};
template <class T>
Cx<T> operator+(Cx<T> a, Cx<T> b) { return {a.re + b.re, a.im + b.im}; }
template <class T>
Cx<T> operator-(Cx<T> a, Cx<T> b) { return {a.re - b.re, a.im - b.im}; }
template <class T>
Cx<T> operator*(double c, Cx<T> a) { return {static_cast<T>(c * a.re), static_cast<T>(c * a.im)}; }
// z - i w and z + i w.
template <class T>
Cx<T> minusI(Cx<T> z, Cx<T> w) { return {z.re + w.im, z.im - w.re}; }
template <class T>
Cx<T> plusI(Cx<T> z, Cx<T> w) { return {z.re - w.im, z.im + w.re}; }

const double h3 = 0.5, c3 = 0.8660254037844386;
const double c51 = 0.30901699437494745, c52 = 0.80901699437494745;
const double s51 = 0.95105651629515353, s52 = 0.58778525229247314;
const double c71 = 0.62348980185873348, c72 = 0.22252093395631439, c73 = 0.90096886790241915;
const double s71 = 0.7818314824680298, s72 = 0.97492791218182362, s73 = 0.43388373911755812;
const double c8 = 0.70710678118654752;

using D = Cx<double>;
using F = Cx<float>;

std::vector<D> dft64(const std::vector<D>& x) {
    const std::size_t n = x.size();
    std::vector<D> X(n);
    switch (n) {
        case 2: X = {x[0] + x[1], x[0] - x[1]}; break;
        case 3: {
            D t = x[1] + x[2], d = x[1] - x[2];
            X[0] = x[0] + t;
            D u = x[0] - h3 * t, v = c3 * d;
            X[1] = minusI(u, v);
            X[2] = plusI(u, v);
            break;
        }
        case 4: {
            D a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
            X[0] = a + c;
            X[2] = a - c;
            X[1] = minusI(b, d);
            X[3] = plusI(b, d);
            break;
        }
        case 5: {
            D a = x[1] + x[4], d = x[1] - x[4], b = x[3] + x[2], e = x[3] - x[2];
            X[0] = x[0] + (a + b);
            D P = (c51 * a + x[0]) - c52 * b, Q = (x[0] - c52 * a) + c51 * b;
            D S1 = s51 * d - s52 * e, S2 = s52 * d + s51 * e;
            X[1] = minusI(P, S1);
            X[4] = plusI(P, S1);
            X[2] = minusI(Q, S2);
            X[3] = plusI(Q, S2);
            break;
        }
        case 7: {
            D a1 = x[1] + x[6], d1 = x[1] - x[6], a2 = x[5] + x[2], d2 = x[5] - x[2];
            D a3 = x[4] + x[3], d3 = x[4] - x[3];
            X[0] = x[0] + (a1 + (a2 + a3));
            D C1 = ((c71 * a1 + x[0]) - c72 * a2) - c73 * a3;
            D C2 = ((x[0] - c72 * a1) - c73 * a2) + c71 * a3;
            D C3 = ((x[0] - c73 * a1) + c71 * a2) - c72 * a3;
            D W1 = (s72 * d2 - s71 * d1) + s73 * d3;
            D W2 = s72 * d1 + (s73 * d2 + s71 * d3);
            D W3 = s72 * d3 - (s73 * d1 + s71 * d2);
            X[1] = plusI(C1, W1);
            X[6] = minusI(C1, W1);
            X[2] = minusI(C2, W2);
            X[5] = plusI(C2, W2);
            X[3] = plusI(C3, W3);
            X[4] = minusI(C3, W3);
            break;
        }
        case 8: {
            D a[4], b[4];
            for (int i = 0; i < 4; ++i) {
                a[i] = x[i] + x[i + 4];
                b[i] = x[i] - x[i + 4];
            }
            D e0 = a[0] + a[2], e1 = a[0] - a[2], o0 = a[1] + a[3], o1 = a[1] - a[3];
            X[0] = e0 + o0;
            X[4] = e0 - o0;
            X[2] = minusI(e1, o1);
            X[6] = plusI(e1, o1);
            D u = c8 * b[1], v = c8 * b[3], P = u - v, Q = u + v;
            D C1 = b[0] + P, S1 = b[2] + Q, C3 = b[0] - P, S3 = Q - b[2];
            X[1] = minusI(C1, S1);
            X[7] = plusI(C1, S1);
            X[3] = minusI(C3, S3);
            X[5] = plusI(C3, S3);
            break;
        }
        default: ADD_FAILURE() << "no formula for " << n;
    }
    return X;
}

// 32fc: sums of inputs in single; an expression with a product by a double
// constant evaluated in double and rounded once.
float dd(double v) { return static_cast<float>(v); }
std::vector<F> dft32(const std::vector<F>& x) {
    const std::size_t n = x.size();
    std::vector<F> X(n);
    switch (n) {
        case 2: X = {x[0] + x[1], x[0] - x[1]}; break;
        case 3: {
            F t = x[1] + x[2], d = x[1] - x[2];
            X[0] = x[0] + t;
            F u = {dd(double(x[0].re) - h3 * double(t.re)), dd(double(x[0].im) - h3 * double(t.im))};
            F v = {dd(c3 * double(d.re)), dd(c3 * double(d.im))};
            X[1] = minusI(u, v);
            X[2] = plusI(u, v);
            break;
        }
        case 4: {
            F a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
            X[0] = a + c;
            X[2] = a - c;
            X[1] = minusI(b, d);
            X[3] = plusI(b, d);
            break;
        }
        case 5: {
            F a = x[1] + x[4], d = x[1] - x[4], b = x[3] + x[2], e = x[3] - x[2];
            X[0] = (x[0] + a) + b;
            auto lane = [](float x0, float a, float b, float d, float e, float out[4]) {
                out[0] = dd((c51 * double(a) + double(x0)) - c52 * double(b));
                out[1] = dd((double(x0) - c52 * double(a)) + c51 * double(b));
                out[2] = dd(s51 * double(d) - s52 * double(e));
                out[3] = dd(s52 * double(d) + s51 * double(e));
            };
            float r[4], i[4];
            lane(x[0].re, a.re, b.re, d.re, e.re, r);
            lane(x[0].im, a.im, b.im, d.im, e.im, i);
            F P = {r[0], i[0]}, Q = {r[1], i[1]}, S1 = {r[2], i[2]}, S2 = {r[3], i[3]};
            X[1] = minusI(P, S1);
            X[4] = plusI(P, S1);
            X[2] = minusI(Q, S2);
            X[3] = plusI(Q, S2);
            break;
        }
        default: ADD_FAILURE() << "no formula for " << n;
    }
    return X;
}

// Both directions at scale 1 on random data: the inverse is the forward
// formula with its outputs mirrored.
template <class T, class Formula>
void check(const std::vector<int>& lengths, Formula formula) {
    for (auto [fwd, inv] : complexPairs(sizeof(T) == 4 ? Type::C32 : Type::C64)) {
        const int n = fwd->n;
        if (std::find(lengths.begin(), lengths.end(), n) == lengths.end()) continue;
        for (int trial = 0; trial < 20; ++trial) {
            std::vector<Cx<T>> x(static_cast<std::size_t>(n)), y(x.size()), back(x.size());
            const auto raw = randomReals<T>(2 * x.size(), 100u * n + trial, T(-8), T(8));
            std::memcpy(x.data(), raw.data(), raw.size() * sizeof(T));
            const std::vector<Cx<T>> want = formula(x);
            ASSERT_EQ(fwd->call(x.data(), y.data(), ScaleNone), StatusOk);
            ASSERT_EQ(inv->call(x.data(), back.data(), ScaleNone), StatusOk);
            for (int i = 0; i < n; ++i) {
                EXPECT_TRUE(sameBits(&y[i], &want[i], sizeof(Cx<T>))) << fwd->name << " bin " << i;
                EXPECT_TRUE(sameBits(&back[i], &want[(n - i) % n], sizeof(Cx<T>))) << inv->name << " bin " << i;
            }
        }
    }
}

// Rule C over the base kernels in single precision, for N = 4 * b with
// b = 2 or 4: 4-point transforms at stride b, every twiddle row n2 >= 1
// multiplied as a full complex product (trivial factors included), then
// b-point transforms.
std::vector<F> dft4(const std::vector<F>& x, bool inverse) {
    F a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
    return inverse ? std::vector<F>{a + c, plusI(b, d), a - c, minusI(b, d)}
                   : std::vector<F>{a + c, minusI(b, d), a - c, plusI(b, d)};
}
std::vector<F> ruleC(const std::vector<F>& x, bool inverse) {
    const int n = static_cast<int>(x.size()), b = n / 4;
    const long double pi = 3.141592653589793238462643383279502884L;
    std::vector<std::vector<F>> Y(static_cast<std::size_t>(b));
    for (int n2 = 0; n2 < b; ++n2) {
        Y[n2] = dft4({x[n2], x[b + n2], x[2 * b + n2], x[3 * b + n2]}, inverse);
        for (int k1 = 0; k1 < 4 && n2 > 0; ++k1) {
            const long double ang = 2 * pi * (n2 * k1 % n) / n;
            const float c = static_cast<float>(std::cos(ang));
            const float s = static_cast<float>(inverse ? std::sin(ang) : -std::sin(ang));
            const F z = Y[n2][k1];
            Y[n2][k1] = {z.re * c - z.im * s, z.re * s + z.im * c};
        }
    }
    std::vector<F> X(x.size());
    for (int k1 = 0; k1 < 4; ++k1) {
        std::vector<F> col(static_cast<std::size_t>(b));
        for (int n2 = 0; n2 < b; ++n2) col[n2] = Y[n2][k1];
        std::vector<F> W = b == 2 ? std::vector<F>{col[0] + col[1], col[0] - col[1]} : dft4(col, inverse);
        for (int k2 = 0; k2 < b; ++k2) X[k1 + 4 * k2] = W[k2];
    }
    return X;
}

}  // namespace

TEST(DftFormulas, SingleRuleCAtLengths8And16) {
    int checked = 0;
    for (auto [fwd, inv] : complexPairs(Type::C32)) {
        if (fwd->n != 8 && fwd->n != 16) continue;
        ++checked;
        for (int trial = 0; trial < 20; ++trial) {
            std::vector<F> x(static_cast<std::size_t>(fwd->n)), y(x.size());
            const auto raw = randomReals<float>(2 * x.size(), 300u * fwd->n + trial, -8.f, 8.f);
            std::memcpy(x.data(), raw.data(), raw.size() * sizeof(float));
            for (const KernelInfo* k : {fwd, inv}) {
                const std::vector<F> want = ruleC(x, k->inverse);
                ASSERT_EQ(k->call(x.data(), y.data(), ScaleNone), StatusOk);
                EXPECT_TRUE(sameBits(y.data(), want.data(), y.size() * sizeof(F))) << k->name;
            }
        }
    }
    EXPECT_EQ(checked, 2);
}

TEST(DftFormulas, Double) { check<double>({2, 3, 4, 5, 7, 8}, dft64); }
TEST(DftFormulas, Single) { check<float>({2, 3, 4, 5}, dft32); }
