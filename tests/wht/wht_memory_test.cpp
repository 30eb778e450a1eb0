// The WHT frame: argument tests and their order, nothing touched on
// failure, the scratch sizes, the allocation made for a null buffer (exactly
// one qrbMalloc of the table's size and one qrbFree, none otherwise), the
// allocation failure, and the extent of what a kernel reads and writes.
//
// This program defines qrbMalloc and qrbFree itself. The library reaches
// them through its PLT, so these definitions take precedence over the
// companion library's; they count, record and, on request, fail, and
// otherwise forward to the real ones.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "test_util.h"
#include "wht_test_util.h"

using namespace qrbtest;

namespace {

struct AllocLog {
    int mallocs = 0, frees = 0;
    int32_t lastSize = -1;
    void* lastBlock = nullptr;
    void* lastFreed = nullptr;
    bool failNext = false;
    void reset() { *this = AllocLog(); }
};
AllocLog g_log;

template <class F>
F realFunction(const char* name) {
    void* p = dlsym(RTLD_NEXT, name);
    if (p == nullptr) std::abort();
    return reinterpret_cast<F>(p);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void* qrbMalloc(int32_t size) {
    static const auto real = realFunction<void* (*)(int32_t)>("qrbMalloc");
    ++g_log.mallocs;
    g_log.lastSize = size;
    if (g_log.failNext) {
        g_log.failNext = false;
        return g_log.lastBlock = nullptr;
    }
    return g_log.lastBlock = real(size);
}

extern "C" __attribute__((visibility("default"))) void qrbFree(void* p) {
    static const auto real = realFunction<void (*)(void*)>("qrbFree");
    ++g_log.frees;
    g_log.lastFreed = p;
    real(p);
}

namespace {

const int32_t kBadOrders[] = {0, -1, 14, 15, INT_MIN, INT_MAX};

template <class T>
std::size_t bytesOf(int order) {
    return sizeof(T) << order;
}

template <class T>
int32_t scratchSize(int order) {
    int32_t size = -1;
    EXPECT_EQ(Wht<T>::bufferSize(order, &size), StatusOk);
    return size;
}

// The sizes are fixed; the double column is not simply twice the float one
// from order 11 on, because the group layout differs.
TEST(WhtMemory, BufferSizes) {
    const int32_t f32[13] = {0, 0, 0, 0, 0, 0, 0, 1024, 2048, 4096, 8192, 18432, 34816};
    const int32_t f64[13] = {0, 0, 0, 0, 0, 0, 0, 2048, 4096, 8192, 18432, 34816, 73728};
    for (int order = 1; order <= 13; ++order) {
        EXPECT_EQ(scratchSize<float>(order), f32[order - 1]) << "order " << order;
        EXPECT_EQ(scratchSize<double>(order), f64[order - 1]) << "order " << order;
    }
    for (int32_t order : kBadOrders) {
        int32_t size = 12345;
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, &size), StatusBadSize) << order;
        EXPECT_EQ(qrbgWHTGetBufferSize_64f(order, &size), StatusBadSize) << order;
        EXPECT_EQ(size, 12345) << "size written for order " << order;
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, nullptr), StatusBadSize) << "the order is tested first";
    }
    for (int order : {1, 8, 13}) {
        EXPECT_EQ(qrbgWHTGetBufferSize_32f(order, nullptr), StatusNullPointer);
        EXPECT_EQ(qrbgWHTGetBufferSize_64f(order, nullptr), StatusNullPointer);
    }
    // The size may sit at any address.
    alignas(8) unsigned char raw[8] = {};
    ASSERT_EQ(qrbgWHTGetBufferSize_64f(13, reinterpret_cast<int32_t*>(raw + 1)), StatusOk);
    int32_t got = 0;
    std::memcpy(&got, raw + 1, sizeof got);
    EXPECT_EQ(got, 73728);
}

// Null pointers come before the flag, also next to a misaligned other
// pointer; a bad flag is refused; neither allocates, reads or writes, not
// even with a null buffer.
template <class T>
void badArguments() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t bytes = bytesOf<T>(order);
        const auto f = Wht<T>::kernel(order);
        for (std::size_t off : {std::size_t(0), std::size_t(4), std::size_t(8)}) {
            Buffer src(bytes, 0), dst(bytes, off);
            const auto x = randomReals<T>(std::size_t(1) << order, 5u);
            std::memcpy(src.data(), x.data(), bytes);
            std::memset(dst.data(), 0x7e, bytes);
            const std::vector<unsigned char> before(dst.data(), dst.data() + bytes);
            Buffer scratch(static_cast<std::size_t>(scratchSize<T>(order)) + 16, 0);
            g_log.reset();
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
            }
            EXPECT_EQ(g_log.mallocs, 0) << Wht<T>::name << " order " << order << ": allocation on failure";
            EXPECT_TRUE(sameBits(before.data(), dst.data(), bytes)) << "dst touched on failure, order " << order;
            EXPECT_TRUE(dst.guardsIntact());
            Buffer untouched(scratch.size(), 0);
            EXPECT_TRUE(sameBits(scratch.data(), untouched.data(), scratch.size())) << "scratch touched on failure";
        }
    }
    // A bad order wins over everything else and allocates nothing.
    T a[2] = {1, 2}, b[2] = {3, 4};
    g_log.reset();
    for (int32_t order : kBadOrders) {
        EXPECT_EQ(Wht<T>::entry(a, b, order, ScaleNone, nullptr), StatusBadSize) << order;
        EXPECT_EQ(Wht<T>::entry(nullptr, nullptr, order, 3, nullptr), StatusBadSize) << order;
    }
    EXPECT_EQ(g_log.mallocs, 0);
    EXPECT_EQ(b[0], T(3));
}
TEST(WhtMemory, BadArguments32f) { badArguments<float>(); }
TEST(WhtMemory, BadArguments64f) { badArguments<double>(); }

// A null buffer at orders 8 to 13 costs exactly one allocation of the
// table's size and its release, on both memory forms and through the
// general entry; a caller's buffer and orders 1 to 7 cost none.
template <class T>
void allocations() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t bytes = bytesOf<T>(order);
        const auto f = Wht<T>::kernel(order);
        const int32_t size = scratchSize<T>(order);
        Buffer scratch(static_cast<std::size_t>(size) + 16, 0);
        for (std::size_t off : {std::size_t(0), std::size_t(4)}) {
            Buffer src(bytes, off), dst(bytes, 0);
            g_log.reset();
            ASSERT_EQ(f(src.as<T>(), dst.as<T>(), ScaleBySqrtN, nullptr), StatusOk);
            const int expected = order >= 8 ? 1 : 0;
            EXPECT_EQ(g_log.mallocs, expected) << Wht<T>::name << " order " << order << " src+" << off;
            EXPECT_EQ(g_log.frees, expected) << Wht<T>::name << " order " << order;
            if (order >= 8) {
                EXPECT_EQ(g_log.lastSize, size) << "order " << order;
                EXPECT_NE(g_log.lastBlock, nullptr);
                EXPECT_EQ(g_log.lastFreed, g_log.lastBlock) << "released another block";
            }
            g_log.reset();
            ASSERT_EQ(Wht<T>::entry(src.as<T>(), dst.as<T>(), order, ScaleNone, nullptr), StatusOk);
            EXPECT_EQ(g_log.mallocs, expected);
            EXPECT_EQ(g_log.frees, expected);
            g_log.reset();
            ASSERT_EQ(f(src.as<T>(), dst.as<T>(), ScaleNone, scratch.data()), StatusOk);
            EXPECT_EQ(g_log.mallocs + g_log.frees, 0) << "caller's buffer, order " << order;
        }
    }
}
TEST(WhtMemory, Allocations32f) { allocations<float>(); }
TEST(WhtMemory, Allocations64f) { allocations<double>(); }

// When qrbMalloc fails the kernel returns StatusNoMemory, writes nothing
// and releases nothing.
template <class T>
void allocationFailure() {
    for (int order = 8; order <= 13; ++order) {
        const std::size_t bytes = bytesOf<T>(order);
        for (std::size_t off : {std::size_t(0), std::size_t(8)}) {
            Buffer src(bytes, 0), dst(bytes, off);
            std::memset(dst.data(), 0x3c, bytes);
            const std::vector<unsigned char> before(dst.data(), dst.data() + bytes);
            g_log.reset();
            g_log.failNext = true;
            EXPECT_EQ(Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), ScaleNone, nullptr), StatusNoMemory)
                << Wht<T>::name << " order " << order;
            EXPECT_EQ(g_log.mallocs, 1);
            EXPECT_EQ(g_log.frees, 0);
            EXPECT_TRUE(sameBits(before.data(), dst.data(), bytes)) << "dst written, order " << order;
            g_log.failNext = true;
            EXPECT_EQ(Wht<T>::entry(src.as<T>(), dst.as<T>(), order, ScaleNone, nullptr), StatusNoMemory);
            EXPECT_TRUE(sameBits(before.data(), dst.data(), bytes));
        }
    }
    g_log.reset();
}
TEST(WhtMemory, AllocationFailure32f) { allocationFailure<float>(); }
TEST(WhtMemory, AllocationFailure64f) { allocationFailure<double>(); }

// A caller's buffer that is not a multiple of 16 bytes is never touched:
// the kernel works through scratch of its own, exactly as with a null
// buffer, and gives the same bits.
template <class T>
void misalignedBuffer() {
    for (int order = 8; order <= 13; ++order) {
        const std::size_t bytes = bytesOf<T>(order);
        const int32_t size = scratchSize<T>(order);
        const auto x = randomReals<T>(std::size_t(1) << order, 700u + order);
        const auto want = levelLoop(x, order, ScaleInvByN);
        for (std::size_t boff : {std::size_t(1), std::size_t(4), std::size_t(8), std::size_t(12)}) {
            for (std::size_t doff : {std::size_t(0), sizeof(T)}) {
                Buffer src(bytes, 0), dst(bytes, doff), scratch(static_cast<std::size_t>(size), boff);
                std::memcpy(src.data(), x.data(), bytes);
                std::memset(scratch.data(), 0x5a, scratch.size());
                g_log.reset();
                ASSERT_EQ(Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), ScaleInvByN, scratch.data()), StatusOk);
                EXPECT_TRUE(sameBits(dst.data(), want.data(), bytes)) << Wht<T>::name << " order " << order;
                EXPECT_EQ(g_log.mallocs, 1) << "order " << order << " buffer+" << boff;
                EXPECT_EQ(g_log.frees, 1);
                EXPECT_EQ(g_log.lastSize, size);
                EXPECT_TRUE(std::all_of(scratch.data(), scratch.data() + scratch.size(),
                                        [](unsigned char c) { return c == 0x5a; }))
                    << "misaligned buffer written, order " << order;
                EXPECT_TRUE(scratch.guardsIntact());
                g_log.failNext = true;
                EXPECT_EQ(Wht<T>::entry(src.as<T>(), dst.as<T>(), order, ScaleNone, scratch.data()), StatusNoMemory);
                EXPECT_TRUE(sameBits(dst.data(), want.data(), bytes)) << "dst written on failure";
            }
        }
    }
    g_log.reset();
}
TEST(WhtMemory, MisalignedBuffer32f) { misalignedBuffer<float>(); }
TEST(WhtMemory, MisalignedBuffer64f) { misalignedBuffer<double>(); }

// The scratch of orders 8 to 13 is written on every call, also with aligned
// arrays, from its first to its last byte (the end of the auxiliary region
// for the three-pass orders) and never past it: the caller's buffer ends at
// an inaccessible page. src and dst end at one too, so a kernel reads and
// writes exactly its N elements. Orders 1 to 7 ignore the buffer: an
// inaccessible address works.
template <class T>
void extents() {
    PageEndBuffer noAccess(0);
    for (int order = 1; order <= 13; ++order) {
        const std::size_t bytes = bytesOf<T>(order);
        const int32_t size = scratchSize<T>(order);
        const auto x = randomReals<T>(std::size_t(1) << order, 300u + order);
        const auto want = levelLoop(x, order, ScaleFwdByN);
        PageEndBuffer src(bytes), dst(bytes);
        std::memcpy(src.data(), x.data(), bytes);
        if (order < 8) {
            ASSERT_EQ(Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), ScaleFwdByN, noAccess.data()), StatusOk);
            EXPECT_TRUE(sameBits(dst.data(), want.data(), bytes)) << Wht<T>::name << " order " << order;
            continue;
        }
        PageEndBuffer scratch(static_cast<std::size_t>(size));
        std::memset(scratch.data(), 0xff, static_cast<std::size_t>(size));  // NaN in every element
        ASSERT_EQ(Wht<T>::kernel(order)(src.as<T>(), dst.as<T>(), ScaleFwdByN, scratch.data()), StatusOk);
        EXPECT_TRUE(sameBits(dst.data(), want.data(), bytes)) << Wht<T>::name << " order " << order;
        const T* s = scratch.as<T>();
        const std::size_t elements = static_cast<std::size_t>(size) / sizeof(T);
        int untouched = 0;
        for (std::size_t i : {std::size_t(0), (std::size_t(1) << order) - 1, std::size_t(1) << order, elements - 1})
            if (i < elements) untouched += s[i] != s[i];  // still the NaN fill
        EXPECT_EQ(untouched, 0) << Wht<T>::name << " order " << order << ": scratch not used to its end";
    }
}
TEST(WhtMemory, Extents32f) { extents<float>(); }
TEST(WhtMemory, Extents64f) { extents<double>(); }

}  // namespace
