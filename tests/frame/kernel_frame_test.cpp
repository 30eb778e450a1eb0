// The frame of every fixed-size kernel, whatever its kind: the order of the
// argument tests, nothing touched on failure, the scale as the last
// product, every alignment and in-place operation giving the same bits,
// dst written in full and nothing outside the caller's arrays touched; and
// the general entries, which forward every length to its kernel.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "general_table.h"
#include "kernel_table.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

// The aligned, out-of-place result of a kernel under a flag.
std::vector<unsigned char> reference(const KernelInfo& k, const std::vector<unsigned char>& x, int flag) {
    Buffer s(k.srcBytes(), 0), d(k.dstBytes(), 0);
    std::memcpy(s.data(), x.data(), x.size());
    EXPECT_EQ(k.call(s.data(), d.data(), flag), StatusOk) << k.name;
    return {d.data(), d.data() + k.dstBytes()};
}

// Offsets from a 16-byte boundary that keep the reals of the element type
// in their natural places, and one that does not for doubles.
std::vector<std::size_t> offsets(const KernelInfo& k) {
    if (k.single()) return {0, 4, 8, 12};
    return {0, 4, 8};
}

}  // namespace

// Null pointers come first, also with a misaligned other pointer; then the
// flag. A failing call writes nothing.
TEST(KernelFrame, BadArgumentsTouchNothing) {
    for (const KernelInfo& k : allKernels()) {
        const auto x = randomInput(k, 3);
        for (std::size_t off : {std::size_t(0), std::size_t(8)}) {
            Buffer src(k.srcBytes(), 8 - off), dst(k.dstBytes(), off);
            std::memcpy(src.data(), x.data(), x.size());
            std::memset(dst.data(), 0x7e, k.dstBytes());
            std::vector<unsigned char> before(dst.data(), dst.data() + k.dstBytes());
            for (int flag : kBadFlags) {
                EXPECT_EQ(k.call(src.data(), dst.data(), flag), StatusBadFlag) << k.name << " flag " << flag;
                EXPECT_EQ(k.call(nullptr, dst.data(), flag), StatusNullPointer) << k.name;
                EXPECT_EQ(k.call(src.data(), nullptr, flag), StatusNullPointer) << k.name;
                EXPECT_EQ(k.call(nullptr, nullptr, flag), StatusNullPointer) << k.name;
            }
            EXPECT_EQ(k.call(nullptr, dst.data(), ScaleNone), StatusNullPointer) << k.name;
            EXPECT_EQ(k.call(src.data(), nullptr, ScaleNone), StatusNullPointer) << k.name;
            EXPECT_TRUE(sameBits(before.data(), dst.data(), k.dstBytes())) << "dst touched on failure: " << k.name;
            EXPECT_TRUE(dst.guardsIntact()) << k.name;
            EXPECT_TRUE(sameBits(src.data(), x.data(), x.size())) << k.name;
        }
    }
}

// Under every flag each output is the ScaleNone output times the kernel's
// scale constant, rounded once: the scale is the last operation, on every
// output, and the data path does not depend on the flag. (The single
// precision real kernels multiply by the scale inside a double expression
// where there is one, so there only the flags that select 1 are held to
// the bits of ScaleNone.)
TEST(KernelFrame, ScaleIsTheLastProduct) {
    for (const KernelInfo& k : allKernels()) {
        const auto x = randomInput(k, 5);
        const auto none = reference(k, x, ScaleNone);
        const std::size_t reals = k.dstBytes() / k.realBytes();
        for (int flag : kFlags) {
            const auto got = reference(k, x, flag);
            if (scaleValue(k, flag) == 1.0L) {
                EXPECT_TRUE(sameBits(got.data(), none.data(), got.size())) << k.name << " flag " << flag;
                continue;
            }
            if (k.single() && !k.complexKind()) continue;
            for (std::size_t i = 0; i < reals; ++i) {
                const auto at = [&](const std::vector<unsigned char>& v, auto t) {
                    std::memcpy(&t, v.data() + sizeof t * i, sizeof t);
                    return t;
                };
                if (k.single()) ASSERT_EQ(at(got, 0.0f), at(none, 0.0f) * scaleConstant<float>(k, flag)) << k.name << " flag " << flag;
                else ASSERT_EQ(at(got, 0.0), at(none, 0.0) * scaleConstant<double>(k, flag)) << k.name << " flag " << flag;
            }
        }
    }
}

// Every combination of offsets from a 16-byte boundary, and src == dst,
// gives the bits of the aligned, out-of-place call; dst is written in full
// (a NaN marker in every byte disappears) and nothing around it.
TEST(KernelFrame, AnyAlignmentAndInPlaceGiveTheSameBits) {
    for (const KernelInfo& k : allKernels()) {
        const auto x = randomInput(k, 11u * static_cast<std::uint32_t>(k.n));
        for (int flag : {ScaleNone, ScaleBySqrtN}) {
            const auto ref = reference(k, x, flag);
            for (std::size_t so : offsets(k)) {
                for (std::size_t dof : offsets(k)) {
                    Buffer s(k.srcBytes(), so), d(k.dstBytes(), dof);
                    std::memcpy(s.data(), x.data(), x.size());
                    std::memset(d.data(), 0xff, k.dstBytes());
                    ASSERT_EQ(k.call(s.data(), d.data(), flag), StatusOk);
                    EXPECT_TRUE(sameBits(d.data(), ref.data(), ref.size())) << k.name << " src+" << so << " dst+" << dof;
                    EXPECT_TRUE(d.guardsIntact()) << k.name;
                    EXPECT_TRUE(s.guardsIntact()) << k.name;
                    EXPECT_TRUE(sameBits(s.data(), x.data(), x.size())) << "src changed: " << k.name;
                }
                // In place: the array holds the longer of the two arrays.
                const std::size_t bytes = std::max(k.srcBytes(), k.dstBytes());
                Buffer io(bytes, so);
                std::memset(io.data(), 0, bytes);
                std::memcpy(io.data(), x.data(), x.size());
                ASSERT_EQ(k.call(io.data(), io.data(), flag), StatusOk);
                EXPECT_TRUE(sameBits(io.data(), ref.data(), ref.size())) << "in place: " << k.name << " +" << so;
            }
        }
    }
}

// src ends at the end of a page and the next page is inaccessible: no load
// leaves the array. Bytes behind src cannot influence anything either.
TEST(KernelFrame, NothingIsReadBehindTheSource) {
    for (const KernelInfo& k : allKernels()) {
        const auto x = randomInput(k, 13u * static_cast<std::uint32_t>(k.n));
        const auto ref = reference(k, x, ScaleNone);
        for (std::size_t dof : {std::size_t(0), std::size_t(8)}) {
            PageEndBuffer src(k.srcBytes());
            std::memcpy(src.data(), x.data(), x.size());
            Buffer d(k.dstBytes(), dof);
            ASSERT_EQ(k.call(src.data(), d.data(), ScaleNone), StatusOk) << k.name;
            EXPECT_TRUE(sameBits(d.data(), ref.data(), ref.size())) << k.name;
        }
        // NaNs in both precisions behind the array.
        Buffer s2(k.srcBytes() + 64, 0), d2(k.dstBytes(), 0);
        std::memcpy(s2.data(), x.data(), x.size());
        std::memset(s2.data() + k.srcBytes(), 0xff, 64);
        ASSERT_EQ(k.call(s2.data(), d2.data(), ScaleNone), StatusOk);
        EXPECT_TRUE(sameBits(d2.data(), ref.data(), ref.size())) << k.name;
    }
}

// The general entries, from the generated table of them: a length outside
// 2..64 is refused before anything else; every length inside reaches its
// kernel, which answers for pointers and flag and gives its own bits.
// A length outside 2..64 is StatusBadSize whatever the pointers and the
// flag, and neither array is touched.
TEST(GeneralEntry, LengthsOutsideTheRangeAreRefusedFirst) {
    for (const GeneralInfo& e : allGeneralEntries()) {
        ASSERT_NE(findKernel(e.kind, e.type, 64, e.inverse), nullptr) << e.name;
        const KernelInfo& k = *findKernel(e.kind, e.type, 64, e.inverse);
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
            const KernelInfo* k = findKernel(e.kind, e.type, n, e.inverse);
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
