// The built complex kernels as tables, a long-double reference DFT and the
// scale a kernel must apply under each flag.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

#include "qrbgen.h"

namespace qrbtest {

template <class T>
struct Types;
template <>
struct Types<float> {
    using C = Qrbg32fc;
    using Fn = Status (*)(const Qrbg32fc*, Qrbg32fc*, int32_t);
    static constexpr const char* name = "32fc";
};
template <>
struct Types<double> {
    using C = Qrbg64fc;
    using Fn = Status (*)(const Qrbg64fc*, Qrbg64fc*, int32_t);
    static constexpr const char* name = "64fc";
};

template <class T>
struct Kernel {
    int n;
    typename Types<T>::Fn fwd, inv;
};

template <class T>
const std::vector<Kernel<T>>& kernels();

template <>
inline const std::vector<Kernel<float>>& kernels<float>() {
    static const std::vector<Kernel<float>> v = {
#define QRBG_KERNELS_32fc(n, f, i) {n, f, i},
#include "dft_kernels.inc"
#undef QRBG_KERNELS_32fc
    };
    return v;
}
template <>
inline const std::vector<Kernel<double>>& kernels<double>() {
    static const std::vector<Kernel<double>> v = {
#define QRBG_KERNELS_64fc(n, f, i) {n, f, i},
#include "dft_kernels.inc"
#undef QRBG_KERNELS_64fc
    };
    return v;
}

inline const int kFlags[] = {ScaleFwdByN, ScaleInvByN, ScaleBySqrtN, ScaleNone};
inline const int kBadFlags[] = {0, 3, 5, 6, 7, 9, 12, 16, -1};

// The scale a kernel applies: 1/N and 1/sqrt(N) evaluated in double,
// rounded once to T.
template <class T>
T scaleFor(int n, bool inverse, int flag) {
    double s = 1.0;
    if (flag == ScaleBySqrtN) s = 1.0 / std::sqrt(static_cast<double>(n));
    else if ((flag == ScaleFwdByN && !inverse) || (flag == ScaleInvByN && inverse)) s = 1.0 / n;
    return static_cast<T>(s);
}

// Exact DFT in long double, unscaled.
template <class T>
std::vector<std::complex<long double>> referenceDft(const std::vector<T>& x, int n, bool inverse) {
    std::vector<std::complex<long double>> out(static_cast<std::size_t>(n));
    const long double pi = 3.141592653589793238462643383279502884L;
    for (int k = 0; k < n; ++k) {
        std::complex<long double> acc = 0;
        for (int j = 0; j < n; ++j) {
            long double ang = 2 * pi * static_cast<long double>((static_cast<long>(j) * k) % n) / n;
            std::complex<long double> w(std::cos(ang), inverse ? std::sin(ang) : -std::sin(ang));
            acc += std::complex<long double>(x[2 * j], x[2 * j + 1]) * w;
        }
        out[k] = acc;
    }
    return out;
}

}  // namespace qrbtest
