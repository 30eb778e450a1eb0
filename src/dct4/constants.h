// Cosines, sines and tangents of rational multiples of pi, evaluated at
// compile time and rounded once to the element type.
//
// The kernels' constants must be the same bits whichever compiler builds the
// library, so they are not left to a compiler's folding of its own
// trigonometric built-ins (which one compiler offers in constant expressions
// and another does not). They are computed here in double-double arithmetic,
// about 106 significant bits, from a Taylor series on the first octant, and
// rounded to nearest from that: every step is an IEEE double operation,
// which every compiler evaluates alike.
#pragma once

#include <bit>
#include <cstdint>

namespace qrbg::dct4::cexpr {

struct DD {
    double hi, lo;
};

// Error-free sum and product (the product by Dekker's splitting, so that no
// fused multiply-add is needed).
constexpr DD twoSum(double a, double b) {
    const double s = a + b, bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}
constexpr DD quickTwoSum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}
constexpr void split(double a, double& hi, double& lo) {
    const double c = 134217729.0 * a;  // 2^27 + 1
    hi = c - (c - a);
    lo = a - hi;
}
constexpr DD twoProd(double a, double b) {
    const double p = a * b;
    double ah = 0, al = 0, bh = 0, bl = 0;
    split(a, ah, al);
    split(b, bh, bl);
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}
constexpr DD add(DD a, DD b) {
    DD s = twoSum(a.hi, b.hi);
    const DD t = twoSum(a.lo, b.lo);
    s.lo += t.hi;
    s = quickTwoSum(s.hi, s.lo);
    s.lo += t.lo;
    return quickTwoSum(s.hi, s.lo);
}
constexpr DD neg(DD a) { return {-a.hi, -a.lo}; }
constexpr DD mul(DD a, DD b) {
    DD p = twoProd(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return quickTwoSum(p.hi, p.lo);
}
constexpr DD mulD(DD a, double b) {
    DD p = twoProd(a.hi, b);
    p.lo += a.lo * b;
    return quickTwoSum(p.hi, p.lo);
}
constexpr DD div(DD a, DD b) {
    const double q1 = a.hi / b.hi;
    DD r = add(a, mulD(b, -q1));
    const double q2 = r.hi / b.hi;
    r = add(r, mulD(b, -q2));
    const double q3 = r.hi / b.hi;
    return add(quickTwoSum(q1, q2), DD{q3, 0.0});
}
constexpr double fabs(double x) { return x < 0 ? -x : x; }

inline constexpr DD kPi = {3.141592653589793116e+00, 1.224646799147353207e-16};

// Taylor series on |x| <= pi/4.
constexpr DD sinSeries(DD x) {
    const DD x2 = mul(x, x);
    DD term = x, sum = x;
    for (int k = 1; k < 30 && fabs(term.hi) >= 1e-40; ++k) {
        term = neg(div(mul(term, x2), DD{double((2 * k) * (2 * k + 1)), 0.0}));
        sum = add(sum, term);
    }
    return sum;
}
constexpr DD cosSeries(DD x) {
    const DD x2 = mul(x, x);
    DD term = {1.0, 0.0}, sum = {1.0, 0.0};
    for (int k = 1; k < 30 && fabs(term.hi) >= 1e-40; ++k) {
        term = neg(div(mul(term, x2), DD{double((2 * k - 1) * (2 * k)), 0.0}));
        sum = add(sum, term);
    }
    return sum;
}

// cos(pi p / q), q > 0: the angle is reduced exactly, as a fraction, to the
// first octant, where one of the two series converges fast.
constexpr DD cosPi(std::int64_t p, std::int64_t q) {
    const std::int64_t m = 2 * q;
    p %= m;
    if (p < 0) p += m;
    if (p > q) p = m - p;  // cos is even and has period 2
    bool negate = false;
    if (2 * p > q) p = q - p, negate = true;  // cos(pi - t) = -cos(t)
    DD v{};
    if (4 * p > q)  // cos(t) = sin(pi/2 - t)
        v = sinSeries(mul(kPi, div(DD{double(q - 2 * p), 0.0}, DD{double(2 * q), 0.0})));
    else
        v = cosSeries(mul(kPi, div(DD{double(p), 0.0}, DD{double(q), 0.0})));
    return negate ? neg(v) : v;
}
// sin(t) = cos(t - pi/2)
constexpr DD sinPi(std::int64_t p, std::int64_t q) { return cosPi(2 * p - q, 2 * q); }

// ---- Cosine and sine of a double ---------------------------------------------
// For the tables a plan fills at Init: the argument is a double (the angle
// as the plan rounds it), not a fraction of pi, and the value is wanted to
// about 2^-100 relative, so that it can be rounded once to float or double.

// pi/2 as the unevaluated sum of three doubles, about 160 bits.
inline constexpr double kHalfPi[3] = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, -0x1.f1976b7ed8fbcp-110};

constexpr std::int64_t nearest(double v) {
    return static_cast<std::int64_t>(v < 0 ? v - 0.5 : v + 0.5);
}

// a = k pi/2 + r with |r| a little over pi/4, r in double-double. k pi/2's
// leading product is exact (twoProd), and a minus its high part is exact
// too, since both lie within a factor of two of each other when k != 0.
// Meant for |a| below 2^20, where k times each part of pi/2 stays exact
// enough; a plan's angles stay below 2 pi.
constexpr DD reduceHalfPi(double a, std::int64_t& k) {
    k = nearest(a * 0.63661977236758134308);  // 2/pi; k may be off by one near a boundary, r stays small
    if (k == 0) return {a, 0.0};
    const double kd = static_cast<double>(k);
    const DD p = twoProd(kd, kHalfPi[0]);
    DD r = twoSum(a - p.hi, -p.lo);
    r = add(r, neg(twoProd(kd, kHalfPi[1])));
    return add(r, DD{-kd * kHalfPi[2], 0.0});
}

// Steps of the table below: cos and sin of j/128 for j = 0 .. 101, which
// covers |r| up to pi/4 and some.
inline constexpr int kTrigSteps = 102;
inline constexpr double kTrigStep = 128.0;
struct TrigTable {
    DD c[kTrigSteps], s[kTrigSteps];
};
inline constexpr TrigTable kTrigTable = [] {
    TrigTable t{};
    for (int j = 0; j < kTrigSteps; ++j) {
        t.c[j] = cosSeries(DD{j / kTrigStep, 0.0});
        t.s[j] = sinSeries(DD{j / kTrigStep, 0.0});
    }
    return t;
}();

// 1/k!, k = 0 .. 9.
struct InvFactorials {
    DD v[10];
};
inline constexpr InvFactorials kInvFactorial = [] {
    InvFactorials f{};
    f.v[0] = {1.0, 0.0};
    for (int k = 1; k < 10; ++k) f.v[k] = div(f.v[k - 1], DD{double(k), 0.0});
    return f;
}();

// cos and sin of |t| <= 1/256 and a little, by their series:
//   cos t = 1 - t2 (1/2! - t2 (1/4! - t2 (1/6! - t2/8!)))
//   sin t = t (1 - t2 (1/3! - t2 (1/5! - t2 (1/7! - t2/9!))))
// with t2 = t^2. The innermost bracket is a double: its rounding error,
// below 2^-63, is multiplied by t2^3 < 2^-48 on the way out. The first
// term left out is below 2^-114 of the value.
constexpr void smallCosSin(DD t, DD& c, DD& s) {
    const DD t2 = mul(t, t);
    const DD* f = kInvFactorial.v;
    DD pc = add(f[6], DD{-t2.hi * f[8].hi, 0.0});
    DD ps = add(f[7], DD{-t2.hi * f[9].hi, 0.0});
    pc = add(f[4], neg(mul(t2, pc)));
    ps = add(f[5], neg(mul(t2, ps)));
    pc = add(f[2], neg(mul(t2, pc)));
    ps = add(f[3], neg(mul(t2, ps)));
    c = add(f[0], neg(mul(t2, pc)));
    s = mul(t, add(f[0], neg(mul(t2, ps))));
}

// cos(a) and sin(a) for a double a, |a| < 2^20, to about 2^-100 relative.
constexpr void cosSin(double a, DD& c, DD& s) {
    std::int64_t k = 0;
    const DD r = reduceHalfPi(a, k);
    // r = j/128 + t, with t exact: r.hi and j/128 are within a factor of two.
    const std::int64_t j = nearest(r.hi * kTrigStep);
    const std::int64_t aj = j < 0 ? -j : j;
    const DD t = quickTwoSum(r.hi - static_cast<double>(j) / kTrigStep, r.lo);
    DD ct{}, st{};
    smallCosSin(t, ct, st);
    DD cr = ct, sr = st;
    if (j != 0) {
        const DD cj = kTrigTable.c[aj], sj = j < 0 ? neg(kTrigTable.s[aj]) : kTrigTable.s[aj];
        cr = add(mul(cj, ct), neg(mul(sj, st)));
        sr = add(mul(sj, ct), mul(cj, st));
    }
    switch (((k % 4) + 4) % 4) {
        case 0: c = cr, s = sr; break;
        case 1: c = neg(sr), s = cr; break;
        case 2: c = neg(cr), s = neg(sr); break;
        default: c = sr, s = neg(cr); break;
    }
}

// Rounded once to nearest: a normalised double-double's high part is the
// double nearest to its value. For a float, the high part is rounded, and
// only where it lies exactly halfway between two floats does the low part
// decide.
template <class T>
constexpr T round(DD v) {
    if constexpr (sizeof(T) == 8) {
        return v.hi;
    } else {
        const float f = static_cast<float>(v.hi);
        const double back = f;
        if (back == v.hi || v.lo == 0.0) return f;
        // The two floats around hi: f and its neighbour on the side of hi.
        const std::uint32_t bits = std::bit_cast<std::uint32_t>(f);
        const bool awayFromZero = (back < v.hi) == (f > 0);
        const float other = std::bit_cast<float>(awayFromZero ? bits + 1 : bits - 1);
        const double mid = (back + static_cast<double>(other)) / 2.0;
        if (mid != v.hi) return f;
        const float lower = back < v.hi ? f : other, upper = back < v.hi ? other : f;
        return v.lo > 0 ? upper : lower;
    }
}

}  // namespace qrbg::dct4::cexpr

namespace qrbg::dct4 {

// cos, sin and tan of pi p / q, rounded once to T.
template <class T>
constexpr T cpi(std::int64_t p, std::int64_t q) {
    return cexpr::round<T>(cexpr::cosPi(p, q));
}
template <class T>
constexpr T spi(std::int64_t p, std::int64_t q) {
    return cexpr::round<T>(cexpr::sinPi(p, q));
}
template <class T>
constexpr T tpi(std::int64_t p, std::int64_t q) {
    return cexpr::round<T>(cexpr::div(cexpr::sinPi(p, q), cexpr::cosPi(p, q)));
}

}  // namespace qrbg::dct4
