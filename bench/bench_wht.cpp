// Walsh-Hadamard kernels against what a user would otherwise write: the
// plain in-place radix-2 loop in the element type followed by the scale,
// compiled here with the library's flags. Every order of both precisions,
// once with a caller's scratch buffer (family "wht32f", "wht64f") and once
// with a null buffer, so that orders 8 to 13 allocate per call
// ("wht32f-nullbuf", "wht64f-nullbuf"). In builds with wide forms, each
// form the processor runs is also called directly, with a caller's buffer,
// over orders 4 to 13 ("wht32f-sse2", "wht32f-avx2", "wht32f-avx512", and so
// for 64f), each against the same loop. Both sides use ScaleBySqrtN, under
// which repeated in-place application by the loop keeps its data bounded.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "bench_common.h"
#include "qrbgen.h"
#include "qrbg_simd.h"
#if QRBG_WIDE_FORMS
#include "wht_variants.h"
#endif

namespace {

template <class T>
using Kernel = Status (*)(const T*, T*, int32_t, uint8_t*);

#define QRBB_NOBUF(O, T) [](const Qrbg##T* s, Qrbg##T* d, int32_t f, uint8_t*) { return qrbgWHT_##O##_##T(s, d, f); }

const Kernel<float> kKernels32f[13] = {
    QRBB_NOBUF(1, 32f), QRBB_NOBUF(2, 32f), QRBB_NOBUF(3, 32f), qrbgWHT_4_32f,  qrbgWHT_5_32f,
    qrbgWHT_6_32f,      qrbgWHT_7_32f,      qrbgWHT_8_32f,      qrbgWHT_9_32f,  qrbgWHT_10_32f,
    qrbgWHT_11_32f,     qrbgWHT_12_32f,     qrbgWHT_13_32f};
const Kernel<double> kKernels64f[13] = {
    QRBB_NOBUF(1, 64f), QRBB_NOBUF(2, 64f), QRBB_NOBUF(3, 64f), qrbgWHT_4_64f,  qrbgWHT_5_64f,
    qrbgWHT_6_64f,      qrbgWHT_7_64f,      qrbgWHT_8_64f,      qrbgWHT_9_64f,  qrbgWHT_10_64f,
    qrbgWHT_11_64f,     qrbgWHT_12_64f,     qrbgWHT_13_64f};
#undef QRBB_NOBUF

template <class T>
struct Type;
template <>
struct Type<float> {
    static constexpr const char* name = "wht32f";
    static Kernel<float> kernel(int order) { return kKernels32f[order - 1]; }
    static int32_t bufferSize(int order) {
        int32_t s = 0;
        qrbgWHTGetBufferSize_32f(order, &s);
        return s;
    }
};
template <>
struct Type<double> {
    static constexpr const char* name = "wht64f";
    static Kernel<double> kernel(int order) { return kKernels64f[order - 1]; }
    static int32_t bufferSize(int order) {
        int32_t s = 0;
        qrbgWHTGetBufferSize_64f(order, &s);
        return s;
    }
};

// The peer: the textbook loop, level by level, then the scale.
template <class T>
__attribute__((noinline)) void plainWht(T* x, int n, T s) {
    for (int h = 1; h < n; h *= 2)
        for (int i = 0; i < n; i += 2 * h)
            for (int j = i; j < i + h; ++j) {
                const T a = x[j], b = x[j + h];
                x[j] = a + b;
                x[j + h] = a - b;
            }
    for (int i = 0; i < n; ++i) x[i] *= s;
}

template <class T>
T* alignedArray(std::size_t n) {
    void* p = std::aligned_alloc(64, ((n * sizeof(T) + 63) / 64) * 64);
    T* x = static_cast<T*>(p);
    std::mt19937 gen(static_cast<unsigned>(n));
    std::uniform_real_distribution<double> d(-1, 1);
    for (std::size_t i = 0; i < n; ++i) x[i] = static_cast<T>(d(gen));
    return x;
}

template <class T>
void ours(benchmark::State& st, int order, bool withBuffer, Kernel<T> f) {
    const std::size_t n = std::size_t(1) << order;
    T* src = alignedArray<T>(n);
    T* dst = alignedArray<T>(n);
    const int32_t size = Type<T>::bufferSize(order);
    uint8_t* buffer = withBuffer && size > 0 ? static_cast<uint8_t*>(qrbMalloc(size)) : nullptr;
    for (auto _ : st) {
        if (f(src, dst, ScaleBySqrtN, buffer) != StatusOk) st.SkipWithError("kernel failed");
        benchmark::DoNotOptimize(dst);
        benchmark::ClobberMemory();
    }
    qrbFree(buffer);
    std::free(src);
    std::free(dst);
}

template <class T>
void peer(benchmark::State& st, int order) {
    const int n = 1 << order;
    T* x = alignedArray<T>(static_cast<std::size_t>(n));
    const T s = static_cast<T>(1.0 / std::sqrt(static_cast<double>(n)));
    for (auto _ : st) {
        plainWht(x, n, s);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
    std::free(x);
}

template <class T>
void registerAll() {
    for (int order = 1; order <= 13; ++order) {
        const std::string l = qrbbench::label(1 << order);
        for (bool withBuffer : {true, false}) {
            const std::string family = std::string(Type<T>::name) + (withBuffer ? "" : "-nullbuf");
            benchmark::RegisterBenchmark((family + "/ours/" + l).c_str(),
                                         [=](benchmark::State& s) { ours<T>(s, order, withBuffer, Type<T>::kernel(order)); });
            benchmark::RegisterBenchmark((family + "/peer/" + l).c_str(),
                                         [=](benchmark::State& s) { peer<T>(s, order); });
        }
    }
}

#if QRBG_WIDE_FORMS
// Every form of orders 4 to 13, called by its internal name.
#define QRBB_FORM_TABLE(V, f1, f2)                                                                          \
    struct Form_##V {                                                                                       \
        static constexpr const char* name = #V;                                                             \
        static bool runs() {                                                                                \
            __builtin_cpu_init();                                                                           \
            return __builtin_cpu_supports(f1) && __builtin_cpu_supports(f2);                                \
        }                                                                                                   \
        static Kernel<float> kernel(float*, int o) {                                                        \
            static const Kernel<float> k[10] = {owngWHT_4_32f_##V,  owngWHT_5_32f_##V,  owngWHT_6_32f_##V,  \
                                                owngWHT_7_32f_##V,  owngWHT_8_32f_##V,  owngWHT_9_32f_##V,  \
                                                owngWHT_10_32f_##V, owngWHT_11_32f_##V, owngWHT_12_32f_##V, \
                                                owngWHT_13_32f_##V};                                        \
            return k[o - 4];                                                                                \
        }                                                                                                   \
        static Kernel<double> kernel(double*, int o) {                                                      \
            static const Kernel<double> k[10] = {owngWHT_4_64f_##V,  owngWHT_5_64f_##V,  owngWHT_6_64f_##V,  \
                                                 owngWHT_7_64f_##V,  owngWHT_8_64f_##V,  owngWHT_9_64f_##V,  \
                                                 owngWHT_10_64f_##V, owngWHT_11_64f_##V, owngWHT_12_64f_##V, \
                                                 owngWHT_13_64f_##V};                                        \
            return k[o - 4];                                                                                \
        }                                                                                                   \
    };
QRBG_WHT_FORMS(QRBB_FORM_TABLE)
#undef QRBB_FORM_TABLE

template <class T, class F>
void registerForm() {
    if (!F::runs()) return;
    for (int order = 4; order <= 13; ++order) {
        const std::string l = qrbbench::label(1 << order);
        const std::string family = std::string(Type<T>::name) + "-" + F::name;
        const Kernel<T> f = F::kernel(static_cast<T*>(nullptr), order);
        benchmark::RegisterBenchmark((family + "/ours/" + l).c_str(),
                                     [=](benchmark::State& s) { ours<T>(s, order, true, f); });
        benchmark::RegisterBenchmark((family + "/peer/" + l).c_str(),
                                     [=](benchmark::State& s) { peer<T>(s, order); });
    }
}

template <class T>
void registerForms() {
#define QRBB_REGISTER(V, f1, f2) registerForm<T, Form_##V>();
    QRBG_WHT_FORMS(QRBB_REGISTER)
#undef QRBB_REGISTER
}
#else
template <class T>
void registerForms() {}
#endif

}  // namespace

int main(int argc, char** argv) {
    registerAll<float>();
    registerAll<double>();
    registerForms<float>();
    registerForms<double>();
    return qrbbench::runAll(argc, argv);
}
