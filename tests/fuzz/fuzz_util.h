// Shared by the fuzz targets, each of which includes it in its one source
// file: a reader over the fuzzer's bytes, arrays that end exactly where their
// heap block ends (so that AddressSanitizer sees any access past them, which
// the guard bytes of test_util.h's Buffer would hide) with a checked margin
// in front, the library's allocator counted and made to fail on request
// (alloc_hook.h), and the check that stops the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "alloc_hook.h"
#include "qrbgen.h"

namespace qrbfuzz {

[[noreturn]] inline void fail(const char* what, const char* where, long detail) {
    std::fprintf(stderr, "fuzz check failed: %s (%s, %ld)\n", what, where, detail);
    std::abort();
}
#define QRBF_CHECK(cond, where, detail) \
    do {                                \
        if (!(cond)) ::qrbfuzz::fail(#cond, where, static_cast<long>(detail)); \
    } while (0)

// The fuzzer's bytes, read front to back; past the end everything is zero.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : p_(data), end_(data + size) {}
    std::uint8_t u8() { return p_ < end_ ? *p_++ : 0; }
    std::uint32_t u32() {
        std::uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v |= std::uint32_t(u8()) << (8 * i);
        return v;
    }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    // Copies what is left, cycled over `bytes` bytes (zeros if nothing is).
    void fill(unsigned char* out, std::size_t bytes) {
        const std::size_t n = static_cast<std::size_t>(end_ - p_);
        for (std::size_t i = 0; i < bytes; ++i) out[i] = n ? p_[i % n] : 0;
    }

private:
    const std::uint8_t* p_;
    const std::uint8_t* end_;
};

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QRBF_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QRBF_ASAN 1
#endif

// `bytes` bytes at `offset` (0 to 63) bytes into their heap block, which is
// 16-byte aligned, so that the array's address is `offset` modulo 16. The
// margin in front holds a pattern that must survive. Under
// AddressSanitizer the array ends exactly where its block ends, so any
// access past it is reported; otherwise a checked margin follows it too.
class Array {
public:
    static constexpr unsigned char kMargin = 0xA5;
#ifdef QRBF_ASAN
    static constexpr std::size_t kTail = 0;
#else
    static constexpr std::size_t kTail = 64;
#endif
    Array(std::size_t bytes, std::size_t offset) : bytes_(bytes), offset_(offset) {
        total_ = offset + bytes + kTail;
        block_ = static_cast<unsigned char*>(std::malloc(total_ ? total_ : 1));
        if (!block_) std::abort();
        std::memset(block_, kMargin, total_);
        data_ = block_ + offset;
    }
    ~Array() { std::free(block_); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    unsigned char* data() { return data_; }
    template <class T>
    T* as() {
        return reinterpret_cast<T*>(data_);
    }
    std::size_t size() const { return bytes_; }
    std::size_t offset() const { return offset_; }
    // Nothing outside the array was written.
    bool marginsIntact() const {
        for (std::size_t i = 0; i < total_; ++i)
            if ((i < offset_ || i >= offset_ + bytes_) && block_[i] != kMargin) return false;
        return true;
    }

private:
    std::size_t bytes_, offset_, total_;
    unsigned char* block_;
    unsigned char* data_;
};

using qrbtest::allocLog;

// Bit for bit the same numbers; two NaNs count as the same, since the two
// memory forms of a kernel may order the operands of a commutative
// operation differently, which changes only which NaN payload survives.
inline bool sameValues(const void* a, const void* b, std::size_t bytes, std::size_t scalar) {
    const auto* p = static_cast<const unsigned char*>(a);
    const auto* q = static_cast<const unsigned char*>(b);
    for (std::size_t i = 0; i + scalar <= bytes; i += scalar) {
        if (std::memcmp(p + i, q + i, scalar) == 0) continue;
        if (scalar == 4) {
            float x, y;
            std::memcpy(&x, p + i, 4), std::memcpy(&y, q + i, 4);
            if (x != x && y != y) continue;
        } else {
            double x, y;
            std::memcpy(&x, p + i, 8), std::memcpy(&y, q + i, 8);
            if (x != x && y != y) continue;
        }
        return false;
    }
    return true;
}

inline bool validFlag(std::int32_t f) {
    return f == ScaleFwdByN || f == ScaleInvByN || f == ScaleBySqrtN || f == ScaleNone;
}
// A flag: mostly one of the four, sometimes anything.
inline std::int32_t pickFlag(Input& in) {
    const std::uint8_t b = in.u8();
    static const std::int32_t good[4] = {ScaleFwdByN, ScaleInvByN, ScaleBySqrtN, ScaleNone};
    return b < 192 ? good[b & 3] : in.i32();
}

}  // namespace qrbfuzz
