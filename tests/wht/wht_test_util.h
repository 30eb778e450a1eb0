// The WHT kernels of both precisions behind one signature, the plain
// level-by-level loop every kernel must reproduce bit for bit, and the scale
// of each flag derived independently of the library's stored constants.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "qrbgen.h"

namespace qrbtest {

inline const int kWhtFlags[] = {ScaleFwdByN, ScaleInvByN, ScaleBySqrtN, ScaleNone};
inline const int kWhtBadFlags[] = {0, 3, 5, 6, 7, 9, 12, 16, -1};

template <class T>
struct Wht;

// Orders 1 to 3 take no buffer; the table hides that behind a common
// signature so that tests can loop over orders.
#define QRBT_NOBUF(O, T) [](const Qrbg##T* s, Qrbg##T* d, int32_t f, uint8_t*) { return qrbgWHT_##O##_##T(s, d, f); }
#define QRBT_WHT(E, T)                                                                                              \
    template <>                                                                                                     \
    struct Wht<E> {                                                                                                 \
        using Fn = Status (*)(const E*, E*, int32_t, uint8_t*);                                                     \
        static constexpr const char* name = #T;                                                                     \
        static Fn kernel(int order) {                                                                               \
            static const Fn k[13] = {QRBT_NOBUF(1, T), QRBT_NOBUF(2, T), QRBT_NOBUF(3, T), qrbgWHT_4_##T,           \
                                     qrbgWHT_5_##T,    qrbgWHT_6_##T,    qrbgWHT_7_##T,    qrbgWHT_8_##T,           \
                                     qrbgWHT_9_##T,    qrbgWHT_10_##T,   qrbgWHT_11_##T,   qrbgWHT_12_##T,          \
                                     qrbgWHT_13_##T};                                                               \
            return k[order - 1];                                                                                    \
        }                                                                                                           \
        static Status entry(const E* s, E* d, int32_t order, int32_t flag, uint8_t* b) {                            \
            return qrbgWHT_##T(s, d, order, flag, b);                                                               \
        }                                                                                                           \
        static Status bufferSize(int32_t order, int32_t* size) { return qrbgWHTGetBufferSize_##T(order, size); }    \
    };
QRBT_WHT(float, 32f)
QRBT_WHT(double, 64f)
#undef QRBT_WHT
#undef QRBT_NOBUF

// The scale of a flag. 1/sqrt(2) is taken as 1.0 / sqrt(2.0) in double,
// which is 0x3FE6A09E667F3BCC, one unit below the correctly rounded value,
// and that rounded once more (0x3F3504F3) for floats; the powers of two come
// from ldexp. A wrong stored constant in the library shows up against these.
template <class T>
T whtScale(int order, int flag) {
    switch (flag) {
        case ScaleFwdByN:
        case ScaleInvByN: return std::ldexp(T(1), -order);
        case ScaleBySqrtN:
            if (order % 2 == 0) return std::ldexp(T(1), -order / 2);
            return static_cast<T>(1.0 / std::sqrt(2.0)) * std::ldexp(T(1), -(order - 1) / 2);
        default: return T(1);
    }
}

// Level 0 over the whole array, then level 1, ..., in the element type, then
// the scale: the definition of every kernel's bits.
template <class T>
std::vector<T> levelLoop(std::vector<T> v, int order, int flag) {
    const std::size_t n = std::size_t(1) << order;
    for (std::size_t h = 1; h < n; h *= 2)
        for (std::size_t i = 0; i < n; i += 2 * h)
            for (std::size_t j = i; j < i + h; ++j) {
                const T a = v[j], b = v[j + h];
                v[j] = a + b;
                v[j + h] = a - b;
            }
    const T s = whtScale<T>(order, flag);
    for (auto& x : v) x *= s;
    return v;
}

// The bytes of the scratch area a caller brings at `order`.
template <class T>
int32_t whtScratchBytes(int order) {
    int32_t size = -1;
    Wht<T>::bufferSize(order, &size);
    return size;
}

}  // namespace qrbtest
