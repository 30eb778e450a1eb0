// Prints one line per transform, size, flag and memory form: a hash of the
// output bits for a fixed input. Two builds of the library compute the same
// bits exactly when their outputs are equal; the test scripts compare the
// GCC and Clang builds and the x86-64 and i386 builds, every family in both.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "dct4_test_util.h"
#include "kernel_table.h"
#include "test_util.h"
#include "wht_test_util.h"

namespace {

// Exactly representable inputs from an integer generator, the same on every
// platform.
template <class T>
std::vector<T> input(std::size_t n, std::uint32_t seed) {
    std::vector<T> v(n);
    for (auto& x : v) {
        seed = seed * 1664525u + 1013904223u;
        x = static_cast<T>(static_cast<std::int32_t>(seed >> 8) - (1 << 23)) / static_cast<T>(1 << 23);
    }
    return v;
}

std::uint64_t fnv(const void* p, std::size_t bytes) {
    std::uint64_t h = 1469598103934665603ull;
    for (std::size_t i = 0; i < bytes; ++i) h = (h ^ static_cast<const unsigned char*>(p)[i]) * 1099511628211ull;
    return h;
}

void line(const char* family, const char* type, int size, int flag, int offset, const void* p, std::size_t bytes) {
    std::printf("%s %s %d %d %d %016llx\n", family, type, size, flag, offset,
                static_cast<unsigned long long>(fnv(p, bytes)));
}

// Every generated kernel, whatever its kind, from the generated table.
void kernels() {
    for (const qrbtest::KernelInfo& k : qrbtest::allKernels()) {
        const std::size_t reals = k.srcBytes() / k.realBytes();
        std::vector<unsigned char> x(k.srcBytes());
        if (k.single()) std::memcpy(x.data(), input<float>(reals, 100u + k.n).data(), x.size());
        else std::memcpy(x.data(), input<double>(reals, 100u + k.n).data(), x.size());
        for (int flag : qrbtest::kFlags)
            for (std::size_t off : {std::size_t(0), k.realBytes()}) {
                qrbtest::Buffer src(k.srcBytes(), off), dst(k.dstBytes(), off);
                std::memcpy(src.data(), x.data(), src.size());
                k.call(src.data(), dst.data(), flag);
                line(k.name, "", k.n, flag, int(off), dst.data(), dst.size());
            }
    }
}

template <class T>
void wht() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t n = std::size_t(1) << order;
        const auto x = input<T>(n, 200u + order);
        for (int flag : qrbtest::kWhtFlags)
            for (std::size_t off : {std::size_t(0), sizeof(T)}) {
                qrbtest::Buffer src(sizeof(T) * n, off), dst(sizeof(T) * n, off);
                std::memcpy(src.data(), x.data(), src.size());
                qrbtest::Wht<T>::entry(src.as<T>(), dst.as<T>(), order, flag, nullptr);
                line("wht", qrbtest::Wht<T>::name, order, flag, int(off), dst.data(), dst.size());
            }
    }
}

template <class T>
void dct4() {
    for (std::int32_t n = 2; n <= (1 << 20); n *= 2) {
        Dct4Spec* spec = nullptr;
        if (dct4test::Api<T>::initAlloc(&spec, n) != StatusOk) continue;
        const auto x = input<T>(static_cast<std::size_t>(n), 300u + n);
        std::vector<T> y(static_cast<std::size_t>(n));
        dct4test::Api<T>::run(x.data(), y.data(), spec);
        line("dct4", sizeof(T) == 4 ? "32f" : "64f", n, 0, 0, y.data(), sizeof(T) * y.size());
        dct4test::Api<T>::free(spec);
    }
}

}  // namespace

int main() {
    kernels();
    wht<float>();
    wht<double>();
    dct4<float>();
    dct4<double>();
    return 0;
}
