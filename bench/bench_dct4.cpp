// DCT-IV against FFTW 3's REDFT11 at the same length and precision. FFTW's
// transform is twice ours; the factor does not change the work. Both run on
// the same 16-byte-aligned arrays; our plan is built once, FFTW's with
// FFTW_MEASURE. A second pair of families compares the time of our Init
// with FFTW's planning time (wisdom forgotten before every plan). In builds
// with wide forms, each form of compute the processor runs is also called
// directly, 2 to 2^20 points ("dct4-32f-sse2", "dct4-32f-avx2",
// "dct4-32f-avx512", and so for 64f), each against FFTW.
#include <fftw3.h>

#include <random>
#include <vector>

#include "bench_common.h"
#include "qrbgen.h"
#include "qrbg_simd.h"
#if QRBG_WIDE_FORMS
#include "compute_forms.h"
#endif

namespace {

template <class T>
struct Peer;
template <>
struct Peer<float> {
    using Plan = fftwf_plan;
    static float* alloc(int n) { return static_cast<float*>(fftwf_malloc(sizeof(float) * n)); }
    static void release(float* p) { fftwf_free(p); }
    static Plan plan(int n, float* in, float* out) {
        return fftwf_plan_r2r_1d(n, in, out, FFTW_REDFT11, FFTW_MEASURE);
    }
    static void exec(Plan p, float* in, float* out) { fftwf_execute_r2r(p, in, out); }
    static void destroy(Plan p) { fftwf_destroy_plan(p); }
    static void forget() { fftwf_forget_wisdom(); }
    static Status getSize(int n, int32_t* s) { return qrbgDCT4GetSize_32f(n, s); }
    static Status init(Dct4Spec** p, int n, uint8_t* m) { return qrbgDCT4Init_32f(p, n, m); }
    static Status run(const float* s, float* d, Dct4Spec* p) { return qrbgDCT4_32f(s, d, p); }
    static constexpr const char* name = "dct4-32f";
};
template <>
struct Peer<double> {
    using Plan = fftw_plan;
    static double* alloc(int n) { return static_cast<double*>(fftw_malloc(sizeof(double) * n)); }
    static void release(double* p) { fftw_free(p); }
    static Plan plan(int n, double* in, double* out) {
        return fftw_plan_r2r_1d(n, in, out, FFTW_REDFT11, FFTW_MEASURE);
    }
    static void exec(Plan p, double* in, double* out) { fftw_execute_r2r(p, in, out); }
    static void destroy(Plan p) { fftw_destroy_plan(p); }
    static void forget() { fftw_forget_wisdom(); }
    static Status getSize(int n, int32_t* s) { return qrbgDCT4GetSize_64f(n, s); }
    static Status init(Dct4Spec** p, int n, uint8_t* m) { return qrbgDCT4Init_64f(p, n, m); }
    static Status run(const double* s, double* d, Dct4Spec* p) { return qrbgDCT4_64f(s, d, p); }
    static constexpr const char* name = "dct4-64f";
};

template <class T>
void fill(T* x, int n) {
    std::mt19937 gen(static_cast<unsigned>(n));
    std::uniform_real_distribution<T> d(-1, 1);
    for (int i = 0; i < n; ++i) x[i] = d(gen);
}

template <class T, class Run>
void ours(benchmark::State& st, int n, Run run) {
    using P = Peer<T>;
    int32_t size = 0;
    P::getSize(n, &size);
    std::vector<uint8_t> block(size);
    Dct4Spec* spec = nullptr;
    if (P::init(&spec, n, block.data()) != StatusOk) {
        st.SkipWithError("Init failed");
        return;
    }
    T* in = P::alloc(n);
    T* out = P::alloc(n);
    fill(in, n);
    for (auto _ : st) {
        run(in, out, spec);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    P::release(in);
    P::release(out);
}

template <class T>
void peer(benchmark::State& st, int n) {
    using P = Peer<T>;
    T* in = P::alloc(n);
    T* out = P::alloc(n);
    auto p = P::plan(n, in, out);  // FFTW_MEASURE overwrites the arrays
    fill(in, n);
    for (auto _ : st) {
        P::exec(p, in, out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    P::destroy(p);
    P::release(in);
    P::release(out);
}

template <class T>
void oursInit(benchmark::State& st, int n) {
    using P = Peer<T>;
    int32_t size = 0;
    P::getSize(n, &size);
    std::vector<uint8_t> block(size);
    for (auto _ : st) {
        Dct4Spec* spec = nullptr;
        P::init(&spec, n, block.data());
        benchmark::DoNotOptimize(spec);
    }
}

template <class T>
void peerPlan(benchmark::State& st, int n) {
    using P = Peer<T>;
    T* in = P::alloc(n);
    T* out = P::alloc(n);
    for (auto _ : st) {
        P::forget();
        auto p = P::plan(n, in, out);
        benchmark::DoNotOptimize(p);
        st.PauseTiming();
        P::destroy(p);
        st.ResumeTiming();
    }
    P::release(in);
    P::release(out);
}

template <class T>
void registerAll() {
    using P = Peer<T>;
    const std::string f = P::name, fi = f + "-init";
    for (int n = 2; n <= (1 << 22); n *= 2) {
        const std::string l = qrbbench::label(n);
        benchmark::RegisterBenchmark((f + "/ours/" + l).c_str(), [=](benchmark::State& s) { ours<T>(s, n, P::run); });
        benchmark::RegisterBenchmark((f + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<T>(s, n); });
    }
    for (int n : {16, 256, 4096, 65536, 1 << 20}) {
        const std::string l = qrbbench::label(n);
        benchmark::RegisterBenchmark((fi + "/ours/" + l).c_str(), [=](benchmark::State& s) { oursInit<T>(s, n); });
        benchmark::RegisterBenchmark((fi + "/peer/" + l).c_str(), [=](benchmark::State& s) { peerPlan<T>(s, n); });
    }
}

#if QRBG_WIDE_FORMS
template <class T>
using ComputeFn = Status (*)(const T*, T*, const qrbg::dct4::Env1*);

template <class T>
void registerForm(const char* form, bool runs, ComputeFn<T> fn) {
    if (!runs) return;
    const std::string f = std::string(Peer<T>::name) + "-" + form;
    const auto run = [fn](const T* s, T* d, Dct4Spec* p) {
        return fn(s, d, reinterpret_cast<const qrbg::dct4::Env1*>(p));
    };
    for (int n = 2; n <= (1 << 20); n *= 2) {
        const std::string l = qrbbench::label(n);
        benchmark::RegisterBenchmark((f + "/ours/" + l).c_str(), [=](benchmark::State& s) { ours<T>(s, n, run); });
        benchmark::RegisterBenchmark((f + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<T>(s, n); });
    }
}

void registerForms() {
    __builtin_cpu_init();
#define QRBB_FORM(V, f1, f2)                                                                            \
    registerForm<float>(#V, __builtin_cpu_supports(f1) && __builtin_cpu_supports(f2), owngDCT4Compute_32f_##V); \
    registerForm<double>(#V, __builtin_cpu_supports(f1) && __builtin_cpu_supports(f2), owngDCT4Compute_64f_##V);
    QRBG_DCT4_FORMS(QRBB_FORM)
#undef QRBB_FORM
}
#else
void registerForms() {}
#endif

}  // namespace

int main(int argc, char** argv) {
    registerAll<float>();
    registerAll<double>();
    registerForms();
    return qrbbench::runAll(argc, argv);
}
