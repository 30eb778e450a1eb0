// Shared by the DCT-IV tests: both precisions behind one interface, an exact
// enough reference transform, and error measures.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "qrbgen.h"

namespace dct4test {

template <class T>
struct Api;
template <>
struct Api<float> {
    static constexpr int32_t maxLog = 26;
    static Status getSize(int32_t n, int32_t* s) { return qrbgDCT4GetSize_32f(n, s); }
    static Status init(Dct4Spec** p, int32_t n, uint8_t* m) { return qrbgDCT4Init_32f(p, n, m); }
    static Status initAlloc(Dct4Spec** p, int32_t n) { return qrbgDCT4InitAlloc_32f(p, n); }
    static Status free(Dct4Spec* p) { return qrbgDCT4Free_32f(p); }
    static Status run(const float* s, float* d, Dct4Spec* p) { return qrbgDCT4_32f(s, d, p); }
};
template <>
struct Api<double> {
    static constexpr int32_t maxLog = 25;
    static Status getSize(int32_t n, int32_t* s) { return qrbgDCT4GetSize_64f(n, s); }
    static Status init(Dct4Spec** p, int32_t n, uint8_t* m) { return qrbgDCT4Init_64f(p, n, m); }
    static Status initAlloc(Dct4Spec** p, int32_t n) { return qrbgDCT4InitAlloc_64f(p, n); }
    static Status free(Dct4Spec* p) { return qrbgDCT4Free_64f(p); }
    static Status run(const double* s, double* d, Dct4Spec* p) { return qrbgDCT4_64f(s, d, p); }
};

// O(N^2) DCT-IV in long double, the cosines taken from one table of the 8N
// angles pi j / (4N).
template <class T>
std::vector<long double> referenceDct4(const std::vector<T>& x) {
    const std::size_t N = x.size(), P = 8 * N;
    const long double pi = 3.141592653589793238462643383279502884L;
    std::vector<long double> cs(P), y(N);
    for (std::size_t j = 0; j < P; ++j) cs[j] = std::cos(pi * static_cast<long double>(j) / (4.0L * N));
    for (std::size_t k = 0; k < N; ++k) {
        long double s = 0;
        for (std::size_t n = 0; n < N; ++n) s += x[n] * cs[((2 * n + 1) * (2 * k + 1)) % P];
        y[k] = s;
    }
    return y;
}

// Root-mean-square error relative to the root-mean-square of the exact result.
template <class T>
double relRms(const std::vector<T>& got, const std::vector<long double>& exact) {
    long double e = 0, r = 0;
    for (std::size_t i = 0; i < got.size(); ++i) {
        const long double d = static_cast<long double>(got[i]) - exact[i];
        e += d * d;
        r += exact[i] * exact[i];
    }
    return static_cast<double>(std::sqrt(e / r));
}

// The relative root-mean-square error of y / (N/2) against x: the transform
// applied twice gives N/2 times its input.
template <class T>
double roundTripError(const std::vector<T>& x, const std::vector<T>& y) {
    long double e = 0, r = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const long double d = y[i] / (x.size() / 2.0L) - x[i];
        e += d * d;
        r += static_cast<long double>(x[i]) * x[i];
    }
    return static_cast<double>(std::sqrt(e / r));
}

// The error bound of a length: the documented root-mean-square figures with
// a margin of a quarter for the platform's sine and cosine.
template <class T>
double accuracyBound(int32_t N) {
    const bool single = sizeof(T) == 4;
    double b;
    if (N <= 8) b = single ? 6.3e-8 : 2e-16;
    else if (N <= 32) b = single ? 1e-7 : 3e-16;
    else if (N <= 2048) b = single ? 1.4e-7 : 3.5e-16;
    else if (N <= 65536) b = single ? 1.7e-7 : 7e-16;
    else b = single ? 1.9e-7 : 8e-16;
    return 1.25 * b;
}

}  // namespace dct4test
