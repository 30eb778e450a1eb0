// The general entries, from the generated table of them: a length outside
// 2..64 is refused before anything else and nothing is touched; every
// length inside reaches its kernel, which answers for pointers and flag and
// gives its own bits at any alignment.
#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "general_table.h"
#include "kernel_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

// The kernel of length n that an entry forwards to.
const KernelInfo* kernelOf(const GeneralInfo& e, int n) { return findKernel(e.kind, e.type, n, e.inverse); }

}  // namespace

// A length outside 2..64 is StatusBadSize whatever the pointers and the
// flag, and neither array is touched.
TEST(GeneralEntry, LengthsOutsideTheRangeAreRefusedFirst) {
    for (const GeneralInfo& e : allGeneralEntries()) {
        ASSERT_NE(kernelOf(e, 64), nullptr) << e.name;
        const KernelInfo& k = *kernelOf(e, 64);
        const auto x = randomInput(k, 1);
        Buffer src(k.srcBytes(), 0), dst(k.dstBytes(), 8);
        std::memcpy(src.data(), x.data(), x.size());
        std::memset(dst.data(), 0x7e, k.dstBytes());
        const std::vector<unsigned char> before(dst.data(), dst.data() + k.dstBytes());
        for (int32_t len : {1, 0, -1, 65, INT_MIN}) {
            for (int flag : {int(ScaleNone), 3}) {
                EXPECT_EQ(e.call(src.data(), dst.data(), len, flag), StatusBadSize) << e.name << " len " << len;
                EXPECT_EQ(e.call(nullptr, dst.data(), len, flag), StatusBadSize) << e.name << " len " << len;
                EXPECT_EQ(e.call(src.data(), nullptr, len, flag), StatusBadSize) << e.name << " len " << len;
                EXPECT_EQ(e.call(nullptr, nullptr, len, flag), StatusBadSize) << e.name << " len " << len;
            }
        }
        EXPECT_TRUE(sameBits(before.data(), dst.data(), k.dstBytes())) << e.name;
        EXPECT_TRUE(dst.guardsIntact() && src.guardsIntact()) << e.name;
        EXPECT_TRUE(sameBits(src.data(), x.data(), x.size())) << e.name;
    }
}

// Every length inside reaches its kernel: the kernel's own statuses for a
// null pointer and a bad flag, and the kernel's bits for aligned and
// misaligned arrays under every flag.
TEST(GeneralEntry, EveryLengthGivesItsKernel) {
    int complexEntries = 0;
    for (const GeneralInfo& e : allGeneralEntries()) {
        complexEntries += e.kind == Kind::CToC;
        for (int n = 2; n <= 64; ++n) {
            const KernelInfo* k = kernelOf(e, n);
            ASSERT_NE(k, nullptr) << e.name << " has no kernel of length " << n;
            const auto x = randomInput(*k, 101u * static_cast<std::uint32_t>(n));
            Buffer ks(k->srcBytes(), 0), kd(k->dstBytes(), 0);
            std::memcpy(ks.data(), x.data(), x.size());
            EXPECT_EQ(e.call(nullptr, kd.data(), n, ScaleNone), StatusNullPointer) << e.name << " len " << n;
            EXPECT_EQ(e.call(ks.data(), nullptr, n, ScaleNone), StatusNullPointer) << e.name << " len " << n;
            EXPECT_EQ(e.call(ks.data(), kd.data(), n, 3), StatusBadFlag) << e.name << " len " << n;
            for (int flag : kFlags) {
                ASSERT_EQ(k->call(ks.data(), kd.data(), flag), StatusOk) << k->name;
                for (auto [so, dof] : {std::pair<std::size_t, std::size_t>{0, 0}, {8, 0}, {0, 8}}) {
                    Buffer s(k->srcBytes(), so), d(k->dstBytes(), dof);
                    std::memcpy(s.data(), x.data(), x.size());
                    ASSERT_EQ(e.call(s.data(), d.data(), n, flag), StatusOk) << e.name << " len " << n;
                    EXPECT_TRUE(sameBits(d.data(), kd.data(), k->dstBytes())) << e.name << " len " << n << " flag " << flag;
                    EXPECT_TRUE(d.guardsIntact()) << e.name << " len " << n;
                }
            }
        }
    }
    EXPECT_EQ(complexEntries, 4);
}
