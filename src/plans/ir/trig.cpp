#include "trig.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace qrbgen::plans {
namespace {

// Error-free transformations (Knuth two-sum, Dekker product via fma-free split).
DD twoSum(double a, double b) {
    double s = a + b;
    double bb = s - a;
    double e = (a - (s - bb)) + (b - bb);
    return {s, e};
}
DD quickTwoSum(double a, double b) {
    double s = a + b;
    return {s, b - (s - a)};
}
void split(double a, double& hi, double& lo) {
    const double c = 134217729.0 * a;  // 2^27 + 1
    const double big = c - a;
    hi = c - big;
    lo = a - hi;
}
DD twoProd(double a, double b) {
    double p = a * b;
    double ah, al, bh, bl;
    split(a, ah, al);
    split(b, bh, bl);
    double e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
    return {p, e};
}
DD add(DD a, DD b) {
    DD s = twoSum(a.hi, b.hi);
    DD t = twoSum(a.lo, b.lo);
    s.lo += t.hi;
    s = quickTwoSum(s.hi, s.lo);
    s.lo += t.lo;
    return quickTwoSum(s.hi, s.lo);
}
DD mul(DD a, DD b) {
    DD p = twoProd(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return quickTwoSum(p.hi, p.lo);
}
DD mulD(DD a, double b) {
    DD p = twoProd(a.hi, b);
    p.lo += a.lo * b;
    return quickTwoSum(p.hi, p.lo);
}
DD divDD(DD a, DD b) {
    double q1 = a.hi / b.hi;
    DD r = add(a, mulD(b, -q1));
    double q2 = r.hi / b.hi;
    r = add(r, mulD(b, -q2));
    double q3 = r.hi / b.hi;
    return add(quickTwoSum(q1, q2), DD{q3, 0.0});
}
DD neg(DD a) { return {-a.hi, -a.lo}; }

const DD kPi = {3.141592653589793116e+00, 1.224646799147353207e-16};

// Taylor series on |x| <= pi/4: enough terms for ~2^-110 relative error.
DD sinTaylor(DD x) {
    DD x2 = mul(x, x);
    DD term = x, sum = x;
    for (int k = 1; k < 30; ++k) {
        term = mul(term, x2);
        term = divDD(term, DD{double((2 * k) * (2 * k + 1)), 0.0});
        term = neg(term);
        sum = add(sum, term);
        if (std::fabs(term.hi) < 1e-40) break;
    }
    return sum;
}
DD cosTaylor(DD x) {
    DD x2 = mul(x, x);
    DD term = {1.0, 0.0}, sum = {1.0, 0.0};
    for (int k = 1; k < 30; ++k) {
        term = mul(term, x2);
        term = divDD(term, DD{double((2 * k - 1) * (2 * k)), 0.0});
        term = neg(term);
        sum = add(sum, term);
        if (std::fabs(term.hi) < 1e-40) break;
    }
    return sum;
}

// pi * p / q for 0 <= p/q <= 1/4, in double-double.
DD angle(std::int64_t p, std::int64_t q) {
    return mul(kPi, divDD(DD{double(p), 0.0}, DD{double(q), 0.0}));
}

// Reduce the angle pi*p/q exactly: returns the octant-free pieces so that
// cos(pi p/q) = sc * f(pi r/s) with f cos or sin.
struct Reduced {
    bool useSin;  // evaluate sin instead of cos
    bool negate;
    std::int64_t p, q;
};

Reduced reduceCos(std::int64_t p, std::int64_t q) {
    if (q <= 0) throw std::invalid_argument("cosPiFrac: bad denominator");
    // Work with angle t = p/q modulo 2 (in units of pi).
    std::int64_t m = 2 * q;
    p %= m;
    if (p < 0) p += m;
    bool negate = false;
    // cos is even: map (1, 2) to (0, 1) by t -> 2 - t.
    if (p > q) p = m - p;
    // cos(pi - t) = -cos(t): map (1/2, 1] to [0, 1/2).
    if (2 * p > q) {
        p = q - p;
        negate = true;
    }
    // Now t in [0, 1/2]. cos(t) = sin(pi/2 - t): use sin for t > 1/4.
    if (4 * p > q) return {true, negate, q - 2 * p, 2 * q};
    return {false, negate, p, q};
}

DD evalReduced(const Reduced& r) {
    DD x = angle(r.p, r.q);
    DD v = r.useSin ? sinTaylor(x) : cosTaylor(x);
    return r.negate ? neg(v) : v;
}

}  // namespace

DD cosPiFracDD(std::int64_t p, std::int64_t q) { return evalReduced(reduceCos(p, q)); }
// sin(t) = cos(t - 1/2)
DD sinPiFracDD(std::int64_t p, std::int64_t q) { return evalReduced(reduceCos(2 * p - q, 2 * q)); }

double cosPiFrac(std::int64_t p, std::int64_t q) {
    DD v = cosPiFracDD(p, q);
    return v.hi + v.lo;
}
double sinPiFrac(std::int64_t p, std::int64_t q) {
    DD v = sinPiFracDD(p, q);
    return v.hi + v.lo;
}

float roundToFloat(DD v) {
    // Round hi to float; if hi lies exactly halfway between two floats the
    // low part decides, so the result is the correct rounding of hi + lo.
    float f = static_cast<float>(v.hi);
    double back = static_cast<double>(f);
    if (back == v.hi || v.lo == 0.0) return f;
    float lower = back < v.hi ? f : std::nextafter(f, -INFINITY);
    float upper = back < v.hi ? std::nextafter(f, INFINITY) : f;
    double mid = (static_cast<double>(lower) + static_cast<double>(upper)) / 2.0;
    if (mid != v.hi) return f;
    return v.lo > 0 ? upper : lower;
}
float cosPiFracF(std::int64_t p, std::int64_t q) { return roundToFloat(cosPiFracDD(p, q)); }
float sinPiFracF(std::int64_t p, std::int64_t q) { return roundToFloat(sinPiFracDD(p, q)); }

DD fracDD(std::int64_t a, std::int64_t b) { return divDD(DD{double(a), 0.0}, DD{double(b), 0.0}); }

DD sqrtFracDD(std::int64_t a, std::int64_t b) {
    // Newton step in double-double from the double estimate.
    DD x = fracDD(a, b);
    double y0 = std::sqrt(x.hi);
    DD y = {y0, 0.0};
    // y1 = y + (x - y^2) / (2y)
    DD r = add(x, neg(mul(y, y)));
    DD corr = divDD(r, DD{2.0 * y0, 0.0});
    return add(y, corr);
}

double sqrtFrac(std::int64_t a, std::int64_t b) {
    DD y = sqrtFracDD(a, b);
    return y.hi + y.lo;
}

DD ddAdd(DD a, DD b) { return add(a, b); }
DD ddMul(DD a, DD b) { return mul(a, b); }
DD ddDiv(DD a, DD b) { return divDD(a, b); }
double roundToDouble(DD v) { return v.hi + v.lo; }

}  // namespace qrbgen::plans
