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

template <>
struct Wht<float> {
    using Fn = Status (*)(const float*, float*, int32_t, uint8_t*);
    static constexpr const char* name = "32f";
    static Fn kernel(int order) {
        static const Fn k[13] = {QRBT_NOBUF(1, 32f), QRBT_NOBUF(2, 32f), QRBT_NOBUF(3, 32f),
                                 qrbgWHT_4_32f,      qrbgWHT_5_32f,      qrbgWHT_6_32f,
                                 qrbgWHT_7_32f,      qrbgWHT_8_32f,      qrbgWHT_9_32f,
                                 qrbgWHT_10_32f,     qrbgWHT_11_32f,     qrbgWHT_12_32f,
                                 qrbgWHT_13_32f};
        return k[order - 1];
    }
    static Status entry(const float* s, float* d, int32_t order, int32_t flag, uint8_t* b) {
        return qrbgWHT_32f(s, d, order, flag, b);
    }
    static Status bufferSize(int32_t order, int32_t* size) { return qrbgWHTGetBufferSize_32f(order, size); }
};

template <>
struct Wht<double> {
    using Fn = Status (*)(const double*, double*, int32_t, uint8_t*);
    static constexpr const char* name = "64f";
    static Fn kernel(int order) {
        static const Fn k[13] = {QRBT_NOBUF(1, 64f), QRBT_NOBUF(2, 64f), QRBT_NOBUF(3, 64f),
                                 qrbgWHT_4_64f,      qrbgWHT_5_64f,      qrbgWHT_6_64f,
                                 qrbgWHT_7_64f,      qrbgWHT_8_64f,      qrbgWHT_9_64f,
                                 qrbgWHT_10_64f,     qrbgWHT_11_64f,     qrbgWHT_12_64f,
                                 qrbgWHT_13_64f};
        return k[order - 1];
    }
    static Status entry(const double* s, double* d, int32_t order, int32_t flag, uint8_t* b) {
        return qrbgWHT_64f(s, d, order, flag, b);
    }
    static Status bufferSize(int32_t order, int32_t* size) { return qrbgWHTGetBufferSize_64f(order, size); }
};
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

}  // namespace qrbtest
