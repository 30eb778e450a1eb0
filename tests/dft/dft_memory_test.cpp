// The frame of every complex kernel: order of the argument tests, nothing
// touched on failure, any alignment and in-place operation giving the same
// bits, dst written in full and nothing outside the caller's arrays.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dft_test_util.h"
#include "test_util.h"

using namespace qrbtest;

namespace {

template <class T>
using C = typename Types<T>::C;

template <class T>
void badArguments() {
    for (const auto& k : kernels<T>()) {
        const std::size_t bytes = sizeof(C<T>) * static_cast<std::size_t>(k.n);
        for (auto f : {k.fwd, k.inv}) {
            for (std::size_t off : {std::size_t(0), std::size_t(8)}) {
                // src and dst misaligned in turn, so that each null test is
                // also made with a misaligned other pointer
                Buffer src(bytes, 8 - off), dst(bytes, off);
                auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 3);
                std::memcpy(src.data(), x.data(), bytes);
                std::memset(dst.data(), 0x7e, bytes);
                std::vector<unsigned char> before(dst.data(), dst.data() + bytes);
                for (int flag : kBadFlags) {
                    EXPECT_EQ(f(src.as<C<T>>(), dst.as<C<T>>(), flag), StatusBadFlag) << "N=" << k.n << " flag " << flag;
                    // Pointer tests come first, also with a misaligned other pointer.
                    EXPECT_EQ(f(nullptr, dst.as<C<T>>(), flag), StatusNullPointer);
                    EXPECT_EQ(f(src.as<C<T>>(), nullptr, flag), StatusNullPointer);
                    EXPECT_EQ(f(nullptr, nullptr, flag), StatusNullPointer);
                }
                EXPECT_EQ(f(nullptr, dst.as<C<T>>(), ScaleNone), StatusNullPointer);
                EXPECT_EQ(f(src.as<C<T>>(), nullptr, ScaleNone), StatusNullPointer);
                EXPECT_TRUE(sameBits(before.data(), dst.data(), bytes)) << "dst touched on failure, N=" << k.n;
                EXPECT_TRUE(dst.guardsIntact());
            }
        }
    }
}

// Every combination of offsets from a 16-byte boundary (and src == dst)
// gives the bits of the aligned, out-of-place call.
template <class T>
void alignmentsAndAliasing() {
    const std::size_t offsets[] = {0, 4, 8, 12};
    for (const auto& k : kernels<T>()) {
        const std::size_t bytes = sizeof(C<T>) * static_cast<std::size_t>(k.n);
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 11u * k.n);
        for (bool inverse : {false, true}) {
            auto f = inverse ? k.inv : k.fwd;
            for (int flag : kFlags) {
                Buffer rs(bytes, 0), rd(bytes, 0);
                std::memcpy(rs.data(), x.data(), bytes);
                ASSERT_EQ(f(rs.as<C<T>>(), rd.as<C<T>>(), flag), StatusOk);
                for (std::size_t so : offsets) {
                    for (std::size_t dof : offsets) {
                        if (sizeof(T) == 8 && (so % 8 || dof % 8)) continue;  // doubles stay 8-aligned
                        Buffer s(bytes, so), d(bytes, dof);
                        std::memcpy(s.data(), x.data(), bytes);
                        std::memset(d.data(), 0xff, bytes);  // NaN marker in every element
                        ASSERT_EQ(f(s.as<C<T>>(), d.as<C<T>>(), flag), StatusOk);
                        EXPECT_TRUE(sameBits(d.data(), rd.data(), bytes))
                            << Types<T>::name << " N=" << k.n << " src+" << so << " dst+" << dof;
                        EXPECT_TRUE(d.guardsIntact()) << "N=" << k.n;
                        EXPECT_TRUE(s.guardsIntact()) << "N=" << k.n;
                        EXPECT_TRUE(sameBits(s.data(), x.data(), bytes)) << "src changed, N=" << k.n;
                    }
                    Buffer io(bytes, so);
                    std::memcpy(io.data(), x.data(), bytes);
                    ASSERT_EQ(f(io.as<C<T>>(), io.as<C<T>>(), flag), StatusOk);
                    EXPECT_TRUE(sameBits(io.data(), rd.data(), bytes)) << "in place, N=" << k.n << " offset " << so;
                }
            }
        }
    }
}

// src ends at the end of a page and the next page is inaccessible: no load
// leaves the array. Bytes behind src cannot influence anything either.
template <class T>
void pageEnd() {
    for (const auto& k : kernels<T>()) {
        const std::size_t bytes = sizeof(C<T>) * static_cast<std::size_t>(k.n);
        auto x = randomReals<T>(2 * static_cast<std::size_t>(k.n), 13u * k.n);
        for (auto f : {k.fwd, k.inv}) {
            PageEndBuffer src(bytes);
            std::memcpy(src.data(), x.data(), bytes);
            Buffer ref(bytes, 0);
            ASSERT_EQ(f(src.as<C<T>>(), ref.as<C<T>>(), ScaleNone), StatusOk);
            // The same data followed by NaN and infinity give the same bits.
            Buffer s2(bytes + 64, 0), d2(bytes, 0);
            std::memcpy(s2.data(), x.data(), bytes);
            T* tail = reinterpret_cast<T*>(s2.data() + bytes);
            for (int i = 0; i < 64 / static_cast<int>(sizeof(T)); ++i)
                tail[i] = i % 2 ? std::numeric_limits<T>::infinity() : std::numeric_limits<T>::quiet_NaN();
            ASSERT_EQ(f(s2.as<C<T>>(), d2.as<C<T>>(), ScaleNone), StatusOk);
            EXPECT_TRUE(sameBits(ref.data(), d2.data(), bytes)) << "N=" << k.n;
            if (sizeof(T) == 4) {
                // 32fc: the array may also end 8 bytes off a 16-byte boundary.
                PageEndBuffer odd(bytes);
                std::memcpy(odd.data(), x.data(), bytes);
                Buffer d3(bytes, 8);
                ASSERT_EQ(f(odd.as<C<T>>(), d3.as<C<T>>(), ScaleNone), StatusOk);
            }
        }
    }
}

}  // namespace

TEST(DftFrame, BadArgumentsSingle) { badArguments<float>(); }
TEST(DftFrame, BadArgumentsDouble) { badArguments<double>(); }
TEST(DftFrame, AlignmentsAndAliasingSingle) { alignmentsAndAliasing<float>(); }
TEST(DftFrame, AlignmentsAndAliasingDouble) { alignmentsAndAliasing<double>(); }
TEST(DftFrame, SourceAtPageEndSingle) { pageEnd<float>(); }
TEST(DftFrame, SourceAtPageEndDouble) { pageEnd<double>(); }
