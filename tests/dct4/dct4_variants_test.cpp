// Every wide form of DCT-IV compute, called directly (not through the
// exported compute, which the loader binds to one of them), against the
// 16-byte form: every length from 2 to 2^16 and some longer ones, both
// precisions, arrays aligned, off by one element and in place. A form must
// give the same output bits and leave the plan's whole block (tables,
// records and scratch) exactly as the 16-byte form leaves it. A form this
// processor cannot run is reported as skipped.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "compute_forms.h"
#include "dct4_test_util.h"
#include "test_util.h"

using namespace qrbtest;
using qrbg::dct4::Env1;

namespace {

template <class T>
using ComputeFn = Status (*)(const T*, T*, const Env1*);

struct Form {
    const char* name;
    bool (*runs)();
    ComputeFn<float> c32;
    ComputeFn<double> c64;
    ComputeFn<float> fn(float*) const { return c32; }
    ComputeFn<double> fn(double*) const { return c64; }
};
#define QRBT_FORM(V, f1, f2)                                                  \
    Form{#V,                                                                  \
         [] {                                                                 \
             __builtin_cpu_init();                                            \
             return __builtin_cpu_supports(f1) && __builtin_cpu_supports(f2); \
         },                                                                   \
         owngDCT4Compute_32f_##V, owngDCT4Compute_64f_##V},
const Form kForms[] = {QRBG_DCT4_FORMS(QRBT_FORM)};
#undef QRBT_FORM
void PrintTo(const Form& f, std::ostream* os) { *os << f.name; }

template <class T>
void sameAsSse2(const Form& form, int32_t n) {
    const std::string where = std::string(form.name) + (sizeof(T) == 4 ? " 32f" : " 64f") + " N " + std::to_string(n);
    int32_t size = 0;
    ASSERT_EQ(dct4test::Api<T>::getSize(n, &size), StatusOk) << where;
    Buffer block(static_cast<std::size_t>(size), 0);
    Dct4Spec* spec = nullptr;
    ASSERT_EQ(dct4test::Api<T>::init(&spec, n, block.data()), StatusOk) << where;
    const auto* root = reinterpret_cast<const Env1*>(spec);
    const ComputeFn<T> sse2 = kForms[0].fn(static_cast<T*>(nullptr)), wide = form.fn(static_cast<T*>(nullptr));
    const std::size_t bytes = sizeof(T) * static_cast<std::size_t>(n);
    const auto x = randomReals<T>(static_cast<std::size_t>(n), 900u + static_cast<std::uint32_t>(n));
    const auto other = randomReals<T>(static_cast<std::size_t>(n), 77u);

    // The 16-byte form's output and the block it leaves; before each run the
    // scratch holds another input's values, so a byte that a form fails to
    // write shows.
    std::vector<T> want(static_cast<std::size_t>(n)), scrap(static_cast<std::size_t>(n));
    ASSERT_EQ(sse2(other.data(), scrap.data(), root), StatusOk);
    ASSERT_EQ(sse2(x.data(), want.data(), root), StatusOk);
    const std::vector<unsigned char> blockWant(block.data(), block.data() + block.size());

    for (std::size_t so : {std::size_t(0), sizeof(T)})
        for (std::size_t dof : {std::size_t(0), sizeof(T)}) {
            Buffer s(bytes, so), d(bytes, dof);
            std::memcpy(s.data(), x.data(), bytes);
            ASSERT_EQ(sse2(other.data(), scrap.data(), root), StatusOk);
            ASSERT_EQ(wide(s.as<T>(), d.as<T>(), root), StatusOk);
            ASSERT_TRUE(sameBits(d.data(), want.data(), bytes)) << where << " src+" << so << " dst+" << dof;
            EXPECT_TRUE(sameBits(s.data(), x.data(), bytes) && s.guardsIntact() && d.guardsIntact()) << where;
            ASSERT_TRUE(sameBits(block.data(), blockWant.data(), block.size()))
                << where << ": the plan's block differs from the 16-byte form's";
        }
    Buffer io(bytes, sizeof(T));
    std::memcpy(io.data(), x.data(), bytes);
    ASSERT_EQ(wide(io.as<T>(), io.as<T>(), root), StatusOk);
    EXPECT_TRUE(sameBits(io.data(), want.data(), bytes)) << where << " in place";
    EXPECT_TRUE(block.guardsIntact()) << where;
}

class Dct4Form : public testing::TestWithParam<Form> {};

template <class T>
void everyLength(const Form& f) {
    std::vector<int32_t> lengths;
    for (int32_t n = 2; n <= (1 << 16); n *= 2) lengths.push_back(n);
    for (int32_t n : {1 << 17, 1 << 18, 1 << 20}) lengths.push_back(n);
    for (int32_t n : lengths) {
        sameAsSse2<T>(f, n);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST_P(Dct4Form, SameBitsAndBlockAsTheSixteenByteForm32f) {
    if (!GetParam().runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << GetParam().name;
    everyLength<float>(GetParam());
}
TEST_P(Dct4Form, SameBitsAndBlockAsTheSixteenByteForm64f) {
    if (!GetParam().runs()) GTEST_SKIP() << "this processor lacks the instruction set of " << GetParam().name;
    everyLength<double>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Wide, Dct4Form, testing::ValuesIn(kForms + 1, std::end(kForms)),
                         [](const testing::TestParamInfo<Form>& i) { return std::string(i.param.name); });

}  // namespace
