// The WHT kernels and general entries: the bits of the level loop under
// every flag, whatever the alignment of the arrays, in place or not, with or
// without a caller's scratch; the matrix itself; argument tests and their
// order, nothing touched on failure; the scratch sizes, where the scratch
// comes from (one qrbMalloc of the table's size and one qrbFree, or none),
// the allocation failure; and the extent of what a kernel reads and writes.
// (Threads at once: concurrency_test.)
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "alloc_hook.h"
#include "test_util.h"
#include "wht_test_util.h"

using namespace qrbtest;

namespace {

const int32_t kBadOrders[] = {0, -1, 14, 15, INT_MIN, INT_MAX};

bool allBytes(const unsigned char* p, std::size_t n, unsigned char v) {
    return std::all_of(p, p + n, [v](unsigned char c) { return c == v; });
}

// The sizes are fixed; the double column is not simply twice the float one
// from order 11 on, because the group layout differs. The order is tested
// before the pointer, and the size may sit at any address.
TEST(Wht, BufferSizes) {
    const int32_t f32[13] = {0, 0, 0, 0, 0, 0, 0, 1024, 2048, 4096, 8192, 18432, 34816};
    const int32_t f64[13] = {0, 0, 0, 0, 0, 0, 0, 2048, 4096, 8192, 18432, 34816, 73728};
    for (int order = 1; order <= 13; ++order) {
        EXPECT_EQ(whtScratchBytes<float>(order), f32[order - 1]) << "order " << order;
        EXPECT_EQ(whtScratchBytes<double>(order), f64[order - 1]) << "order " << order;
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, nullptr), StatusNullPointer);
        EXPECT_EQ(qrbgWHTGetBufferSize_64f(order, nullptr), StatusNullPointer);
    }
    for (int32_t order : kBadOrders) {
        int32_t size = 12345;
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, &size), StatusBadSize) << order;
        EXPECT_EQ(qrbgWHTGetBufferSize_64f(order, &size), StatusBadSize) << order;
        EXPECT_EQ(size, 12345) << "size written for order " << order;
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, nullptr), StatusBadSize) << order;
    }
    alignas(8) unsigned char raw[8] = {};
    ASSERT_EQ(qrbgWHTGetBufferSize_64f(13, reinterpret_cast<int32_t*>(raw + 1)), StatusOk);
    int32_t got = 0;
    std::memcpy(&got, raw + 1, sizeof got);
    EXPECT_EQ(got, 73728);
}

// A bad order wins over everything in the general entry; then null pointers
// come before the flag, also next to a misaligned other pointer (either
// memory form); a bad flag is refused. No failure allocates, or writes the
// destination or a caller's buffer.
template <class T>
void badArguments() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t bytes = sizeof(T) << order;
        const auto f = Wht<T>::kernel(order);
        for (std::size_t off : {std::size_t(0), std::size_t(4)}) {
            Buffer src(bytes, 0), dst(bytes, off);
            std::memset(dst.data(), 0x7e, bytes);
            Buffer scratch(static_cast<std::size_t>(whtScratchBytes<T>(order)) + 16, 0);
            std::memset(scratch.data(), 0, scratch.size());
            allocLog() = AllocLog();
            for (uint8_t* b : {static_cast<uint8_t*>(nullptr), scratch.data()}) {
                for (int flag : kWhtBadFlags) {
                    EXPECT_EQ(f(src.as<T>(), dst.as<T>(), flag, b), StatusBadFlag) << "order " << order << " flag " << flag;
                    EXPECT_EQ(f(nullptr, dst.as<T>(), flag, b), StatusNullPointer);
                    EXPECT_EQ(f(src.as<T>(), nullptr, flag, b), StatusNullPointer);
                    EXPECT_EQ(f(nullptr, nullptr, flag, b), StatusNullPointer);
                    EXPECT_EQ(Wht<T>::entry(nullptr, dst.as<T>(), order, flag, b), StatusNullPointer);
                    EXPECT_EQ(Wht<T>::entry(src.as<T>(), dst.as<T>(), order, flag, b), StatusBadFlag);
                }
                EXPECT_EQ(f(nullptr, dst.as<T>(), ScaleNone, b), StatusNullPointer);
                EXPECT_EQ(f(src.as<T>(), nullptr, ScaleNone, b), StatusNullPointer);
                for (int32_t bad : kBadOrders) {
                    EXPECT_EQ(Wht<T>::entry(src.as<T>(), dst.as<T>(), bad, ScaleNone, b), StatusBadSize) << bad;
                    EXPECT_EQ(Wht<T>::entry(nullptr, nullptr, bad, 3, b), StatusBadSize) << bad;
                }
            }
            EXPECT_EQ(allocLog().mallocs, 0) << Wht<T>::name << " order " << order << ": allocation on failure";
            EXPECT_TRUE(allBytes(dst.data(), bytes, 0x7e) && dst.guardsIntact()) << "dst touched, order " << order;
            EXPECT_TRUE(allBytes(scratch.data(), scratch.size(), 0)) << "scratch touched on failure";
        }
    }
}
TEST(Wht, BadArguments32f) { badArguments<float>(); }
TEST(Wht, BadArguments64f) { badArguments<double>(); }

// Random data, every order and flag: each kernel and the general entry give
// the level loop's bits with src and dst on and off a 16-byte boundary (both
// aligned: the aligned form; either one off: the other form; doubles off
// their natural alignment), in place, with a null buffer, a caller's aligned
// buffer and one off a 16-byte boundary. At orders 8 to 13 a null or
// misaligned buffer (which is never touched) costs exactly one qrbMalloc of
// the table's size and the qrbFree of that block; when that qrbMalloc fails
// the call is StatusNoMemory, writes nothing and releases nothing. An aligned
// buffer, and any buffer at orders 1 to 7, cost no allocation.
template <class T>
void transform() {
    const std::pair<std::size_t, std::size_t> offsets[] = {{0, 0}, {0, 8}, {8, 0}, {4, 12}, {8, 8}};
    AllocLog& log = allocLog();
    for (int order = 1; order <= 13; ++order) {
        const std::size_t n = std::size_t(1) << order, bytes = sizeof(T) * n;
        const int32_t size = whtScratchBytes<T>(order);
        const auto x = randomReals<T>(n, 200u + order);
        for (int flag : kWhtFlags) {
            const auto want = levelLoop(x, order, flag);
            for (auto [so, dof] : offsets)
                for (std::size_t boff : {0, 16, 8, 1})  // null buffer, aligned, misaligned
                    for (bool viaEntry : {false, true}) {
                        Buffer s(bytes, so), d(bytes, dof), io(bytes, dof), buffer(std::size_t(size), boff % 16);
                        std::memcpy(s.data(), x.data(), bytes);
                        std::memcpy(io.data(), x.data(), bytes);
                        std::memset(d.data(), 0x3c, bytes);
                        std::memset(buffer.data(), 0x5a, buffer.size());
                        uint8_t* b = boff == 0 ? nullptr : buffer.data();
                        const auto call = [&](Buffer& src, Buffer& dst) {
                            return viaEntry ? Wht<T>::entry(src.as<T>(), dst.as<T>(), order, flag, b)
                                            : Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), flag, b);
                        };
                        const int allocs = order >= 8 && boff != 16;
                        const std::string where = std::string(Wht<T>::name) + " order " + std::to_string(order) +
                                                  " flag " + std::to_string(flag) + " src+" + std::to_string(so) +
                                                  " dst+" + std::to_string(dof) + " buffer+" + std::to_string(boff) +
                                                  (viaEntry ? " entry" : "");
                        log = AllocLog();
                        log.failNext = 1;
                        EXPECT_EQ(call(s, d), allocs ? StatusNoMemory : StatusOk) << where;
                        EXPECT_EQ(log.mallocs, allocs) << where;
                        EXPECT_EQ(log.frees, 0) << where;
                        if (allocs) {
                            EXPECT_TRUE(allBytes(d.data(), bytes, 0x3c)) << where << ": dst written on failure";
                            log = AllocLog();
                            ASSERT_EQ(call(s, d), StatusOk) << where;
                            EXPECT_TRUE(log.mallocs == 1 && log.frees == 1 && log.lastSize == size) << where;
                            EXPECT_TRUE(log.lastBlock != nullptr && log.lastFreed == log.lastBlock) << where;
                        }
                        EXPECT_TRUE(sameBits(d.data(), want.data(), bytes)) << where;
                        log = AllocLog();
                        ASSERT_EQ(call(io, io), StatusOk) << where;
                        EXPECT_TRUE(sameBits(io.data(), want.data(), bytes)) << where << " in place";
                        EXPECT_EQ(log.mallocs, allocs) << where;
                        EXPECT_TRUE(sameBits(s.data(), x.data(), bytes) && s.guardsIntact() && d.guardsIntact() &&
                                    io.guardsIntact() && buffer.guardsIntact())
                            << where << ": src changed or written outside the arrays";
                        EXPECT_TRUE(boff % 16 == 0 || allBytes(buffer.data(), buffer.size(), 0x5a))
                            << where << ": misaligned buffer written";
                    }
            // The matrix apart from the level loop: an impulse at j gives s
            // times row j, whose entry k is (-1)^popcount(j & k), exactly, with
            // s from whtScale.
            const T s = whtScale<T>(order, flag);
            for (std::size_t j : {std::size_t(0), std::size_t(1), (n / 2 + 1) % n, n - 1}) {
                std::vector<T> e(n, T(0)), y(n);
                e[j] = 1;
                ASSERT_EQ(Wht<T>::kernel(order)(e.data(), y.data(), flag, nullptr), StatusOk);
                int wrong = 0;
                for (std::size_t k = 0; k < n; ++k) wrong += y[k] != (__builtin_popcountll(j & k) & 1 ? -s : s);
                EXPECT_EQ(wrong, 0) << Wht<T>::name << " order " << order << " flag " << flag << " impulse at " << j;
            }
        }
    }
    log = AllocLog();
}
TEST(Wht, Transform32f) { transform<float>(); }
TEST(Wht, Transform64f) { transform<double>(); }

// The scratch of orders 8 to 13 is written on every call, also with aligned
// arrays, from its first to its last byte (the end of the auxiliary region
// for the three-pass orders) and never past it: the caller's buffer ends at
// an inaccessible page. src and dst end at one too, so a kernel reads and
// writes exactly its N elements. Orders 1 to 7 ignore the buffer: their
// empty one sits at an inaccessible address.
template <class T>
void extents() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t bytes = sizeof(T) << order;
        const int32_t size = whtScratchBytes<T>(order);
        const auto x = randomReals<T>(std::size_t(1) << order, 300u + order);
        const auto want = levelLoop(x, order, ScaleFwdByN);
        PageEndBuffer src(bytes), dst(bytes), scratch(static_cast<std::size_t>(size));
        std::memcpy(src.data(), x.data(), bytes);
        std::memset(scratch.data(), 0xff, static_cast<std::size_t>(size));  // NaN in every element
        ASSERT_EQ(Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), ScaleFwdByN, scratch.data()), StatusOk);
        EXPECT_TRUE(sameBits(dst.data(), want.data(), bytes)) << Wht<T>::name << " order " << order;
        if (order < 8) continue;
        const T* s = scratch.as<T>();
        const std::size_t elements = static_cast<std::size_t>(size) / sizeof(T);
        int untouched = 0;
        for (std::size_t i : {std::size_t(0), (std::size_t(1) << order) - 1, std::size_t(1) << order, elements - 1})
            if (i < elements) untouched += s[i] != s[i];  // still the NaN fill
        EXPECT_EQ(untouched, 0) << Wht<T>::name << " order " << order << ": scratch not used to its end";
    }
}
TEST(Wht, Extents32f) { extents<float>(); }
TEST(Wht, Extents64f) { extents<double>(); }

}  // namespace
