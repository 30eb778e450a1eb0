// Sine and cosine of an angle given in units of pi. Only plan construction
// calls them; compute multiplies by what they stored.
//
// The angle is formed as always: the product of x with the double nearest
// to pi, rounded once to the element type. Its cosine and sine are then
// evaluated here, in double-double arithmetic (constants.h), and rounded
// once to the element type: the correctly rounded value, the same bits on
// every platform, where the C library's functions differ between platforms
// in the last bit at some arguments.
#include "constants.h"
#include "nodes.h"

namespace qrbg::dct4 {

namespace {
constexpr double kPi = 3.141592653589793;

template <class T>
T angle(T x) {
    return static_cast<T>(static_cast<double>(x) * kPi);
}
template <class T>
T cosOf(T a) {
    cexpr::DD c{}, s{};
    cexpr::cosSin(a, c, s);
    return cexpr::round<T>(c);
}
template <class T>
T sinOf(T a) {
    cexpr::DD c{}, s{};
    cexpr::cosSin(a, c, s);
    return cexpr::round<T>(s);
}
}  // namespace

float qrbgCosPi_32f(float x) { return cosOf(angle(x)); }
float qrbgSinPi_32f(float x) { return sinOf(angle(x)); }
double qrbgCosPi_64f(double x) { return cosOf(angle(x)); }
double qrbgSinPi_64f(double x) { return sinOf(angle(x)); }

}  // namespace qrbg::dct4
