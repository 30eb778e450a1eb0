// Correctly rounded cosines and sines of rational multiples of pi.
//
// Kernel constants must be the same bits whatever machine runs the
// generator (the i386 build runs it under an emulator with another C
// library), so they are not taken from the platform's libm: they are
// evaluated in double-double arithmetic and rounded once.
#pragma once
#include <cstdint>

namespace qrbgen::plans {

// cos(pi * p / q) and sin(pi * p / q), rounded to nearest double / float.
double cosPiFrac(std::int64_t p, std::int64_t q);
double sinPiFrac(std::int64_t p, std::int64_t q);
float cosPiFracF(std::int64_t p, std::int64_t q);
float sinPiFracF(std::int64_t p, std::int64_t q);

// sqrt(a / b) rounded to nearest double / float (for constants such as
// sqrt(5)/4 and the 1/sqrt(N) scales).
double sqrtFrac(std::int64_t a, std::int64_t b);

// A double-double value hi + lo and its correct rounding to float.
struct DD {
    double hi, lo;
};
float roundToFloat(DD v);
DD cosPiFracDD(std::int64_t p, std::int64_t q);
DD sinPiFracDD(std::int64_t p, std::int64_t q);
// a / b and sqrt(a / b) in double-double.
DD fracDD(std::int64_t a, std::int64_t b);
DD sqrtFracDD(std::int64_t a, std::int64_t b);

// Double-double arithmetic, for constants that are sums, products and
// quotients of the values above and are rounded once at the end.
DD ddAdd(DD a, DD b);
DD ddMul(DD a, DD b);
DD ddDiv(DD a, DD b);
double roundToDouble(DD v);

}  // namespace qrbgen::plans
