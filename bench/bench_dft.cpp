// Complex kernels against FFTW 3 at the same length and precision: FFTW
// plans made with FFTW_MEASURE and executed on 16-byte-aligned arrays with
// fftw_execute_dft, our kernels called on the same arrays under ScaleNone.
#include <fftw3.h>

#include <cstring>
#include <random>

#include "bench_common.h"
#include "qrbgen.h"

namespace {

template <class T>
struct Fftw;
template <>
struct Fftw<float> {
    using C = Qrbg32fc;
    using Fn = Status (*)(const Qrbg32fc*, Qrbg32fc*, int32_t);
    static void* alloc(int n) { return fftwf_malloc(sizeof(fftwf_complex) * static_cast<std::size_t>(n)); }
    static void release(void* p) { fftwf_free(p); }
    static void* plan(int n, void* in, void* out, int sign) {
        return fftwf_plan_dft_1d(n, static_cast<fftwf_complex*>(in), static_cast<fftwf_complex*>(out), sign,
                                 FFTW_MEASURE);
    }
    static void exec(void* p, void* in, void* out) {
        fftwf_execute_dft(static_cast<fftwf_plan>(p), static_cast<fftwf_complex*>(in),
                          static_cast<fftwf_complex*>(out));
    }
    static void destroy(void* p) { fftwf_destroy_plan(static_cast<fftwf_plan>(p)); }
    static constexpr const char* name = "dft32fc";
};
template <>
struct Fftw<double> {
    using C = Qrbg64fc;
    using Fn = Status (*)(const Qrbg64fc*, Qrbg64fc*, int32_t);
    static void* alloc(int n) { return fftw_malloc(sizeof(fftw_complex) * static_cast<std::size_t>(n)); }
    static void release(void* p) { fftw_free(p); }
    static void* plan(int n, void* in, void* out, int sign) {
        return fftw_plan_dft_1d(n, static_cast<fftw_complex*>(in), static_cast<fftw_complex*>(out), sign,
                                FFTW_MEASURE);
    }
    static void exec(void* p, void* in, void* out) {
        fftw_execute_dft(static_cast<fftw_plan>(p), static_cast<fftw_complex*>(in), static_cast<fftw_complex*>(out));
    }
    static void destroy(void* p) { fftw_destroy_plan(static_cast<fftw_plan>(p)); }
    static constexpr const char* name = "dft64fc";
};

template <class T>
void fill(void* p, int n) {
    std::mt19937 gen(static_cast<unsigned>(n));
    std::uniform_real_distribution<T> d(-1, 1);
    T* x = static_cast<T*>(p);
    for (int i = 0; i < 2 * n; ++i) x[i] = d(gen);
}

template <class T>
void ours(benchmark::State& st, int n, typename Fftw<T>::Fn f) {
    using F = Fftw<T>;
    void* in = F::alloc(n);
    void* out = F::alloc(n);
    fill<T>(in, n);
    for (auto _ : st) {
        f(static_cast<const typename F::C*>(in), static_cast<typename F::C*>(out), ScaleNone);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    F::release(in);
    F::release(out);
}

template <class T>
void peer(benchmark::State& st, int n, int sign) {
    using F = Fftw<T>;
    void* in = F::alloc(n);
    void* out = F::alloc(n);
    void* p = F::plan(n, in, out, sign);  // FFTW_MEASURE overwrites the arrays
    fill<T>(in, n);
    for (auto _ : st) {
        F::exec(p, in, out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    F::destroy(p);
    F::release(in);
    F::release(out);
}

template <class T>
void registerAll(int n, typename Fftw<T>::Fn fwd, typename Fftw<T>::Fn inv) {
    const std::string l = qrbbench::label(n);
    const std::string f = std::string(Fftw<T>::name) + "-fwd", b = std::string(Fftw<T>::name) + "-inv";
    benchmark::RegisterBenchmark((f + "/ours/" + l).c_str(), [=](benchmark::State& s) { ours<T>(s, n, fwd); });
    benchmark::RegisterBenchmark((f + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<T>(s, n, FFTW_FORWARD); });
    benchmark::RegisterBenchmark((b + "/ours/" + l).c_str(), [=](benchmark::State& s) { ours<T>(s, n, inv); });
    benchmark::RegisterBenchmark((b + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<T>(s, n, FFTW_BACKWARD); });
}

}  // namespace

int main(int argc, char** argv) {
#define QRBG_KERNELS_32fc(n, f, i) registerAll<float>(n, f, i);
#define QRBG_KERNELS_64fc(n, f, i) registerAll<double>(n, f, i);
#include "dft_kernels.inc"
    return qrbbench::runAll(argc, argv);
}
