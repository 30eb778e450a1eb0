// Helpers shared by the tests: arrays at chosen alignments, arrays that end
// at an inaccessible page, random data and bitwise comparison.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

namespace qrbtest {

// A byte area with a chosen offset from a 64-byte boundary and guard bytes
// on both sides, so that writes outside [data, data + bytes) can be seen.
class Buffer {
public:
    static constexpr std::size_t kGuard = 64;
    static constexpr unsigned char kGuardByte = 0xA5;

    Buffer(std::size_t bytes, std::size_t offset) : bytes_(bytes), storage_(bytes + offset + 2 * kGuard + 64) {
        auto base = reinterpret_cast<std::uintptr_t>(storage_.data());
        std::uintptr_t aligned = (base + kGuard + 63) & ~std::uintptr_t(63);
        data_ = reinterpret_cast<unsigned char*>(aligned + offset);
        std::memset(storage_.data(), kGuardByte, storage_.size());
    }
    unsigned char* data() { return data_; }
    template <class T>
    T* as() {
        return reinterpret_cast<T*>(data_);
    }
    std::size_t size() const { return bytes_; }
    // True when every byte outside the array still holds the guard pattern.
    bool guardsIntact() const {
        const unsigned char* begin = storage_.data();
        const unsigned char* end = begin + storage_.size();
        for (const unsigned char* p = begin; p < end; ++p) {
            if (p >= data_ && p < data_ + bytes_) continue;
            if (*p != kGuardByte) return false;
        }
        return true;
    }

private:
    std::size_t bytes_;
    std::vector<unsigned char> storage_;
    unsigned char* data_;
};

// `bytes` bytes that end exactly at the end of a readable page, followed by
// an inaccessible page: a read behind the array faults.
class PageEndBuffer {
public:
    explicit PageEndBuffer(std::size_t bytes) {
        page_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        std::size_t pages = (bytes + page_ - 1) / page_ + 1;
        total_ = pages * page_;
        void* m = mmap(nullptr, total_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED) throw std::runtime_error("mmap failed");
        base_ = static_cast<unsigned char*>(m);
        if (mprotect(base_ + total_ - page_, page_, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
        data_ = base_ + total_ - page_ - bytes;
    }
    ~PageEndBuffer() { munmap(base_, total_); }
    PageEndBuffer(const PageEndBuffer&) = delete;
    PageEndBuffer& operator=(const PageEndBuffer&) = delete;
    unsigned char* data() { return data_; }
    template <class T>
    T* as() {
        return reinterpret_cast<T*>(data_);
    }

private:
    std::size_t page_, total_;
    unsigned char* base_;
    unsigned char* data_;
};

template <class T>
std::vector<T> randomReals(std::size_t n, std::uint32_t seed, T lo = T(-1), T hi = T(1)) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> dist(static_cast<double>(lo), static_cast<double>(hi));
    std::vector<T> v(n);
    for (auto& x : v) x = static_cast<T>(dist(gen));
    return v;
}

// Normally distributed values, rounded to T.
template <class T>
std::vector<T> gaussianReals(std::size_t n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> dist;
    std::vector<T> v(n);
    for (auto& x : v) x = static_cast<T>(dist(gen));
    return v;
}

// The exact DFT of n complex values (interleaved in x) in long double,
// unscaled.
template <class T>
std::vector<std::complex<long double>> referenceDft(const std::vector<T>& x, int n, bool inverse) {
    std::vector<std::complex<long double>> out(static_cast<std::size_t>(n));
    const long double pi = 3.141592653589793238462643383279502884L;
    for (int k = 0; k < n; ++k) {
        std::complex<long double> acc = 0;
        for (int j = 0; j < n; ++j) {
            long double ang = 2 * pi * static_cast<long double>((static_cast<long>(j) * k) % n) / n;
            acc += std::complex<long double>(x[2 * j], x[2 * j + 1]) *
                   std::complex<long double>(std::cos(ang), inverse ? std::sin(ang) : -std::sin(ang));
        }
        out[k] = acc;
    }
    return out;
}

inline bool sameBits(const void* a, const void* b, std::size_t bytes) { return std::memcmp(a, b, bytes) == 0; }

}  // namespace qrbtest
