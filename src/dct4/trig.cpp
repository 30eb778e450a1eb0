// Sine and cosine of an angle given in units of pi. Only plan construction
// calls them; compute multiplies by what they stored.
//
// The angle is formed as always: the product of x with the double nearest
// to pi, rounded once to the element type. Its cosine and sine are then
// evaluated here, in double-double arithmetic (constants.h), and rounded
// once to the element type: the correctly rounded value, the same bits on
// every platform, where the C library's functions differ between platforms
// in the last bit at some arguments.
#include <bit>
#include <cstdint>
#include <type_traits>

#include "constants.h"
#include "nodes.h"

namespace qrbg::dct4 {

namespace {
constexpr double kPi = 3.141592653589793;

template <class T>
using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;

template <class T>
T angle(T x) {
    return static_cast<T>(static_cast<double>(x) * kPi);
}
// Cosine and sine of the angle of x, rounded to T. Plan construction asks
// for the cosine and then the sine of the same x; both come out of one
// evaluation, and the last pair is kept per thread for the second request.
template <class T>
struct Pair {
    bool valid = false;
    T x = T(0), c = T(0), s = T(0);
};
template <class T>
const Pair<T>& cosSinPi(T x) {
    thread_local Pair<T> last;
    if (!last.valid || std::bit_cast<Bits<T>>(x) != std::bit_cast<Bits<T>>(last.x)) {
        cexpr::DD c{}, s{};
        cexpr::cosSin(angle(x), c, s);
        last = {true, x, cexpr::round<T>(c), cexpr::round<T>(s)};
    }
    return last;
}
}  // namespace

float qrbgCosPi_32f(float x) { return cosSinPi(x).c; }
float qrbgSinPi_32f(float x) { return cosSinPi(x).s; }
double qrbgCosPi_64f(double x) { return cosSinPi(x).c; }
double qrbgSinPi_64f(double x) { return cosSinPi(x).s; }

}  // namespace qrbg::dct4
