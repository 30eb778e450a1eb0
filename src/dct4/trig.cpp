// Sine and cosine of an angle given in units of pi. Only plan construction
// calls them; compute multiplies by what they stored.
#include <cmath>

#include "nodes.h"

namespace qrbg::dct4 {

namespace {
constexpr double kPi = 3.141592653589793;
}

// A single-precision plan takes every table entry from the single-precision
// functions; only the product with pi is formed in double and rounded once.
float qrbgCosPi_32f(float x) { return std::cos(static_cast<float>(static_cast<double>(x) * kPi)); }
float qrbgSinPi_32f(float x) { return std::sin(static_cast<float>(static_cast<double>(x) * kPi)); }
double qrbgCosPi_64f(double x) { return std::cos(x * kPi); }
double qrbgSinPi_64f(double x) { return std::sin(x * kPi); }

}  // namespace qrbg::dct4
