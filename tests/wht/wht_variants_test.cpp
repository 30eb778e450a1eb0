// Every wide form of the Walsh-Hadamard kernels and general entries, called
// directly (not through the exported names, which the loader binds to one
// of them), against the 16-byte form bit for bit: every order from 3 on,
// every flag, arrays aligned and off a 16-byte boundary, in place, with no
// buffer and with a caller's buffer, of which a variant must touch exactly
// the bytes the 16-byte form touches. A form this processor cannot run is
// reported as skipped.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "test_util.h"
#include "wht_test_util.h"
#include "wht_variants.h"

using namespace qrbtest;

namespace {

template <class T>
using Kernel = Status (*)(const T*, T*, int32_t, uint8_t*);
template <class T>
using Entry = Status (*)(const T*, T*, int32_t, int32_t, uint8_t*);

template <class T, Status (*K)(const T*, T*, int32_t)>
Status order3(const T* s, T* d, int32_t f, uint8_t*) {
    return K(s, d, f);
}

struct Form {
    const char* name;
    bool (*runs)();
    Kernel<float> k32[11];  // orders 3 to 13
    Kernel<double> k64[11];
    Entry<float> e32;
    Entry<double> e64;
    Kernel<float> kernel(float*, int order) const { return k32[order - 3]; }
    Kernel<double> kernel(double*, int order) const { return k64[order - 3]; }
    Entry<float> entry(float*) const { return e32; }
    Entry<double> entry(double*) const { return e64; }
};

#define QRBT_ORDERS(V, T)                                                                                  \
    {order3<Qrbg##T, owngWHT_3_##T##_##V>, owngWHT_4_##T##_##V, owngWHT_5_##T##_##V, owngWHT_6_##T##_##V, \
     owngWHT_7_##T##_##V, owngWHT_8_##T##_##V, owngWHT_9_##T##_##V, owngWHT_10_##T##_##V,                 \
     owngWHT_11_##T##_##V, owngWHT_12_##T##_##V, owngWHT_13_##T##_##V}
#define QRBT_FORM(V, f1, f2)                                                               \
    Form{#V,                                                                               \
         [] {                                                                              \
             __builtin_cpu_init();                                                         \
             return __builtin_cpu_supports(f1) && __builtin_cpu_supports(f2);              \
         },                                                                                \
         QRBT_ORDERS(V, 32f), QRBT_ORDERS(V, 64f), owngWHT_32f_##V, owngWHT_64f_##V},
const Form kForms[] = {QRBG_WHT_FORMS(QRBT_FORM)};
#undef QRBT_FORM
#undef QRBT_ORDERS
const Form& kSse2 = kForms[0];

void PrintTo(const Form& f, std::ostream* os) { *os << f.name; }

// The bytes of a caller's buffer that a call writes: filled with two
// patterns in turn, a byte is written when it differs from the pattern in
// either run (the values written do not depend on the pattern).
template <class T, class Call>
std::vector<bool> touchedBytes(int order, Call&& call) {
    int32_t size = 0;
    EXPECT_EQ(Wht<T>::bufferSize(order, &size), StatusOk);
    std::vector<bool> touched(static_cast<std::size_t>(size), false);
    for (unsigned char pattern : {0x00, 0xff}) {
        Buffer b(static_cast<std::size_t>(size), 0);
        std::memset(b.data(), pattern, b.size());
        call(b.data());
        EXPECT_TRUE(b.guardsIntact()) << "written behind the caller's buffer, order " << order;
        for (std::size_t i = 0; i < b.size(); ++i) touched[i] = touched[i] || b.data()[i] != pattern;
    }
    return touched;
}

class WhtForm : public testing::TestWithParam<Form> {};

template <class T>
void sameBitsAsSse2(const Form& form) {
    const std::size_t offsets[] = {0, 8, 4 + 8 * (sizeof(T) == 8)};  // 16-byte aligned, off by 8, off by 4 or 12
    for (int order = 3; order <= 13; ++order) {
        const std::size_t n = std::size_t(1) << order, bytes = n * sizeof(T);
        const auto x = randomReals<T>(n, 500u + order);
        const auto ref = form.kernel(static_cast<T*>(nullptr), order);
        const auto sse2 = kSse2.kernel(static_cast<T*>(nullptr), order);
        const auto entry = form.entry(static_cast<T*>(nullptr));
        const std::string where = std::string(form.name) + " " + Wht<T>::name + " order " + std::to_string(order);
        for (int flag : kWhtFlags) {
            std::vector<T> want(n);
            ASSERT_EQ(sse2(x.data(), want.data(), flag, nullptr), StatusOk);
            for (std::size_t so : offsets)
                for (std::size_t dof : offsets) {
                    Buffer s(bytes, so), d(bytes, dof);
                    std::memcpy(s.data(), x.data(), bytes);
                    std::memset(d.data(), 0xff, bytes);
                    ASSERT_EQ(ref(s.as<T>(), d.as<T>(), flag, nullptr), StatusOk);
                    ASSERT_TRUE(sameBits(d.data(), want.data(), bytes)) << where << " flag " << flag << " +" << so << " +" << dof;
                    EXPECT_TRUE(sameBits(s.data(), x.data(), bytes) && s.guardsIntact() && d.guardsIntact()) << where;
                    // The general entry, with a null buffer as well.
                    std::memset(d.data(), 0xff, bytes);
                    ASSERT_EQ(entry(s.as<T>(), d.as<T>(), order, flag, nullptr), StatusOk);
                    ASSERT_TRUE(sameBits(d.data(), want.data(), bytes)) << where << " entry, flag " << flag;
                }
            for (std::size_t off : offsets) {
                Buffer io(bytes, off);
                std::memcpy(io.data(), x.data(), bytes);
                ASSERT_EQ(ref(io.as<T>(), io.as<T>(), flag, nullptr), StatusOk);
                ASSERT_TRUE(sameBits(io.data(), want.data(), bytes)) << where << " in place +" << off;
            }
        }
        // A caller's buffer: the same bits, and the same bytes of it written.
        std::vector<T> got(n);
        const auto touched = touchedBytes<T>(order, [&](uint8_t* b) {
            ASSERT_EQ(ref(x.data(), got.data(), ScaleNone, b), StatusOk);
        });
        std::vector<T> want(n);
        const auto touchedSse2 = touchedBytes<T>(order, [&](uint8_t* b) {
            ASSERT_EQ(sse2(x.data(), want.data(), ScaleNone, b), StatusOk);
        });
        EXPECT_TRUE(sameBits(got.data(), want.data(), bytes)) << where << " with a buffer";
        EXPECT_EQ(touched, touchedSse2) << where << ": other bytes of the caller's buffer written";
        const auto viaEntry = touchedBytes<T>(order, [&](uint8_t* b) {
            ASSERT_EQ(entry(x.data(), got.data(), order, ScaleNone, b), StatusOk);
        });
        EXPECT_EQ(viaEntry, touchedSse2) << where << " entry";
    }
}

TEST_P(WhtForm, SameBitsAsTheSixteenByteForm32f) {
    if (!GetParam().runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << GetParam().name;
    sameBitsAsSse2<float>(GetParam());
}
TEST_P(WhtForm, SameBitsAsTheSixteenByteForm64f) {
    if (!GetParam().runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << GetParam().name;
    sameBitsAsSse2<double>(GetParam());
}

// The checks every form makes, and in the same order: a null pointer before
// a bad flag, a bad order before everything.
TEST_P(WhtForm, RefusesWhatTheSixteenByteFormRefuses) {
    const Form& f = GetParam();
    if (!f.runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << f.name;
    std::vector<float> x(1 << 13, 1.0f), y(1 << 13);
    for (int order = 3; order <= 13; ++order) {
        for (int flag : kWhtBadFlags) {
            EXPECT_EQ(f.kernel(x.data(), order)(x.data(), y.data(), flag, nullptr), StatusBadFlag) << order;
            EXPECT_EQ(f.kernel(x.data(), order)(nullptr, y.data(), flag, nullptr), StatusNullPointer) << order;
        }
        EXPECT_EQ(f.kernel(x.data(), order)(x.data(), nullptr, ScaleNone, nullptr), StatusNullPointer) << order;
    }
    for (int order : {0, -1, 14})
        EXPECT_EQ(f.entry(x.data())(nullptr, nullptr, order, 0, nullptr), StatusBadSize) << order;
}

INSTANTIATE_TEST_SUITE_P(Wide, WhtForm, testing::ValuesIn(kForms + 1, std::end(kForms)),
                         [](const testing::TestParamInfo<Form>& i) { return std::string(i.param.name); });

}  // namespace
