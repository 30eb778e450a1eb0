// Every wide variant of every kernel, called directly (not through
// the exported name, which the loader binds to one of them), against the
// kernel's 16-byte form bit for bit: random and structured inputs, all four
// flags, arrays at every offset from a 16-byte boundary, in place and out of
// place, a source that ends at an inaccessible page, and bad arguments. A
// variant that this processor cannot run is reported as skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "qrbgen.h"
#include "test_util.h"

using namespace qrbtest;

using C32 = Qrbg32fc;
using C64 = Qrbg64fc;
using F32 = Qrbg32f;
using F64 = Qrbg64f;

#define QRBG_VARIANT(kernel, kind, type, n, inverse, se, de, sse2, variant, name, feature, feature2) \
    extern "C" Status sse2(const type*, type*, int32_t);                                           \
    extern "C" Status variant(const type*, type*, int32_t);
#include "variants.inc"
#undef QRBG_VARIANT

namespace {

using Invoke = Status (*)(const void*, void*, int32_t);

template <class E, Status (*F)(const E*, E*, int32_t)>
Status invoke(const void* src, void* dst, int32_t flag) {
    return F(static_cast<const E*>(src), static_cast<E*>(dst), flag);
}

struct VariantCase {
    const char* kernel;
    const char* name;
    bool single;
    int n;
    std::size_t elem;      // bytes of one element
    int srcElems, dstElems;
    Invoke sse2, variant;
    bool (*runs)();  // whether this processor has the variant's instruction set
    // The arrays hold the longer of the two, so that in place works too.
    std::size_t bytes() const { return elem * static_cast<std::size_t>(std::max(srcElems, dstElems)); }
    std::size_t dstBytes() const { return elem * static_cast<std::size_t>(dstElems); }
    std::size_t realBytes() const { return single ? 4u : 8u; }
};

#define QRBG_VARIANT(kernel, kind, type, n, inverse, se, de, sse2, variant, name, feature, feature2)         \
    VariantCase{#kernel,                                                                                     \
                name,                                                                                        \
                std::is_same_v<type, C32> || std::is_same_v<type, F32>,                                      \
                n,                                                                                           \
                sizeof(type),                                                                                \
                se,                                                                                          \
                de,                                                                                          \
                invoke<type, sse2>,                                                                          \
                invoke<type, variant>,                                                                       \
                [] {                                                                                         \
                    __builtin_cpu_init();                                                                    \
                    return __builtin_cpu_supports(feature) && __builtin_cpu_supports(feature2);              \
                }},
const VariantCase kCases[] = {
#include "variants.inc"
};
#undef QRBG_VARIANT

void PrintTo(const VariantCase& c, std::ostream* os) { *os << c.kernel << " " << c.name; }

// Inputs that reach different corners of the arithmetic: random values,
// an impulse, zeros of both signs (where the sign of every zero result
// must agree too), and a wide range of magnitudes.
std::vector<std::vector<unsigned char>> inputs(const VariantCase& c) {
    const std::size_t reals = c.bytes() / c.realBytes();
    std::vector<std::vector<double>> values;
    for (std::uint32_t seed : {1u, 2u, 3u}) values.push_back(randomReals<double>(reals, seed * 7919u + static_cast<std::uint32_t>(c.n)));
    std::vector<double> impulse(reals, 0.0);
    impulse[reals > 2 ? 2 : 0] = 1.0;  // a 2-point real kernel reads two reals
    values.push_back(impulse);
    std::vector<double> zeros(reals, 0.0);
    for (std::size_t i = 0; i < reals; i += 3) zeros[i] = -0.0;
    values.push_back(zeros);
    std::vector<double> range = randomReals<double>(reals, 99u);
    for (std::size_t i = 0; i < reals; ++i) range[i] *= std::ldexp(1.0, static_cast<int>(i % 40) - 20);
    values.push_back(range);
    std::vector<std::vector<unsigned char>> out;
    for (const auto& v : values) {
        std::vector<unsigned char> b(c.bytes());
        for (std::size_t i = 0; i < reals; ++i) {
            if (c.single) {
                const float f = static_cast<float>(v[i]);
                std::memcpy(b.data() + 4 * i, &f, 4);
            } else {
                std::memcpy(b.data() + 8 * i, &v[i], 8);
            }
        }
        out.push_back(std::move(b));
    }
    return out;
}

std::vector<unsigned char> run(Invoke f, const VariantCase& c, const std::vector<unsigned char>& x, int flag) {
    Buffer s(c.bytes(), 0), d(c.bytes(), 0);
    std::memcpy(s.data(), x.data(), x.size());
    EXPECT_EQ(f(s.data(), d.data(), flag), StatusOk);
    return {d.data(), d.data() + c.dstBytes()};
}

class WideVariant : public testing::TestWithParam<VariantCase> {};

TEST_P(WideVariant, SameBitsAsTheSixteenByteForm) {
    const VariantCase& c = GetParam();
    if (!c.runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << c.name;
    const int flags[] = {ScaleFwdByN, ScaleInvByN, ScaleBySqrtN, ScaleNone};
    for (const auto& x : inputs(c)) {
        for (int flag : flags) {
            const auto ref = run(c.sse2, c, x, flag);
            for (std::size_t so : {0u, 4u, 8u}) {
                for (std::size_t dof : {0u, 8u, 12u}) {
                    if (!c.single && (so % 8 || dof % 8)) continue;
                    Buffer s(c.bytes(), so), d(c.bytes(), dof);
                    std::memcpy(s.data(), x.data(), x.size());
                    std::memset(d.data(), 0xff, c.bytes());
                    ASSERT_EQ(c.variant(s.data(), d.data(), flag), StatusOk);
                    ASSERT_TRUE(sameBits(d.data(), ref.data(), ref.size()))
                        << c.kernel << " " << c.name << " flag " << flag << " src+" << so << " dst+" << dof;
                    EXPECT_TRUE(d.guardsIntact() && s.guardsIntact()) << c.kernel << " " << c.name;
                    EXPECT_TRUE(sameBits(s.data(), x.data(), x.size())) << "src changed: " << c.kernel << " " << c.name;
                }
                Buffer io(c.bytes(), so);
                std::memcpy(io.data(), x.data(), x.size());
                ASSERT_EQ(c.variant(io.data(), io.data(), flag), StatusOk);
                ASSERT_TRUE(sameBits(io.data(), ref.data(), ref.size()))
                    << "in place: " << c.kernel << " " << c.name << " flag " << flag << " +" << so;
            }
        }
    }
}

// A source that ends at an inaccessible page: no load of a variant leaves
// the array.
TEST_P(WideVariant, ReadsNothingBehindTheSource) {
    const VariantCase& c = GetParam();
    if (!c.runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << c.name;
    const auto x = inputs(c).front();
    const auto ref = run(c.sse2, c, x, ScaleNone);
    PageEndBuffer s(c.bytes());
    std::memcpy(s.data(), x.data(), x.size());
    Buffer d(c.bytes(), 0);
    ASSERT_EQ(c.variant(s.data(), d.data(), ScaleNone), StatusOk);
    EXPECT_TRUE(sameBits(d.data(), ref.data(), ref.size())) << c.kernel << " " << c.name;
}

// The argument tests come first, in their order, and touch nothing.
TEST_P(WideVariant, BadArgumentsTouchNothing) {
    const VariantCase& c = GetParam();
    if (!c.runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << c.name;
    Buffer s(c.bytes(), 0), d(c.bytes(), 8);
    std::memset(d.data(), 0x7e, c.bytes());
    EXPECT_EQ(c.variant(nullptr, d.data(), 3), StatusNullPointer);
    EXPECT_EQ(c.variant(s.data(), nullptr, 3), StatusNullPointer);
    for (int flag : {0, 3, 16, -1}) EXPECT_EQ(c.variant(s.data(), d.data(), flag), StatusBadFlag);
    for (std::size_t i = 0; i < c.bytes(); ++i) ASSERT_EQ(d.data()[i], 0x7e) << c.kernel << " " << c.name;
}

std::string caseName(const testing::TestParamInfo<VariantCase>& info) {
    return std::string(info.param.kernel + 4) + "_" + info.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, WideVariant, testing::ValuesIn(kCases), caseName);

}  // namespace
