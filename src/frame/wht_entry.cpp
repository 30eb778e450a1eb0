// General WHT entries: the order as an argument, forwarded to the kernel of
// that order through a constant table. Pointers, flag and memory form are
// the kernel's business; the entry tests the order only.
#include <cstdint>

#include "qrbgen.h"

namespace {

template <class T>
using Kernel = Status (*)(const T*, T*, std::int32_t, std::uint8_t*);

// Orders 1 to 3 have no scratch argument; the table calls them through an
// adapter with the common signature, which drops `buffer`.
template <class T, Status (*K)(const T*, T*, std::int32_t)>
Status withoutBuffer(const T* src, T* dst, std::int32_t flag, std::uint8_t*) {
    return K(src, dst, flag);
}

constexpr Kernel<Qrbg32f> kWht32f[13] = {
    withoutBuffer<Qrbg32f, qrbgWHT_1_32f>, withoutBuffer<Qrbg32f, qrbgWHT_2_32f>,
    withoutBuffer<Qrbg32f, qrbgWHT_3_32f>, qrbgWHT_4_32f, qrbgWHT_5_32f, qrbgWHT_6_32f, qrbgWHT_7_32f,
    qrbgWHT_8_32f, qrbgWHT_9_32f, qrbgWHT_10_32f, qrbgWHT_11_32f, qrbgWHT_12_32f, qrbgWHT_13_32f,
};

constexpr Kernel<Qrbg64f> kWht64f[13] = {
    withoutBuffer<Qrbg64f, qrbgWHT_1_64f>, withoutBuffer<Qrbg64f, qrbgWHT_2_64f>,
    withoutBuffer<Qrbg64f, qrbgWHT_3_64f>, qrbgWHT_4_64f, qrbgWHT_5_64f, qrbgWHT_6_64f, qrbgWHT_7_64f,
    qrbgWHT_8_64f, qrbgWHT_9_64f, qrbgWHT_10_64f, qrbgWHT_11_64f, qrbgWHT_12_64f, qrbgWHT_13_64f,
};

template <class T>
inline Status forward(const Kernel<T> (&table)[13], const T* src, T* dst, std::int32_t order, std::int32_t flag,
                      std::uint8_t* buffer) {
    // Orders 1 to 13 map to 0 to 12; everything else, zero and negative
    // orders included, lands above 12 as an unsigned number.
    const std::uint32_t k = static_cast<std::uint32_t>(order) - 1u;
    if (k > 12u) return StatusBadSize;
    return table[k](src, dst, flag, buffer);
}

}  // namespace

extern "C" QRBG_API Status qrbgWHT_32f(const Qrbg32f* src, Qrbg32f* dst, std::int32_t order, std::int32_t flag,
                                       std::uint8_t* buffer) {
    return forward(kWht32f, src, dst, order, flag, buffer);
}

extern "C" QRBG_API Status qrbgWHT_64f(const Qrbg64f* src, Qrbg64f* dst, std::int32_t order, std::int32_t flag,
                                       std::uint8_t* buffer) {
    return forward(kWht64f, src, dst, order, flag, buffer);
}
