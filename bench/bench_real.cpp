// Real and Hartley kernels against FFTW 3 at the same length and precision:
// the forward kernels against its real-to-complex transform, the inverse
// kernels against complex-to-real (asked to keep its input, so that every
// call sees the same data), the Hartley kernels against its DHT. FFTW plans
// are made with FFTW_MEASURE (the fastest of several plannings, see
// bench_common.h) and executed on 16-byte-aligned arrays; our
// kernels run on the same arrays under ScaleNone. Every kernel in the
// generated table takes part, so the families join as they are built.
#include <fftw3.h>

#include <cstring>
#include <random>

#include "bench_common.h"
#include "kernel_table.h"

namespace {

using qrbtest::Kind;
using qrbtest::KernelInfo;

enum class Peer { R2C, C2R, DHT };

Peer peerOf(Kind k) {
    switch (k) {
        case Kind::RToCCS:
        case Kind::RToPack:
        case Kind::RToPerm: return Peer::R2C;
        case Kind::Hartley: return Peer::DHT;
        default: return Peer::C2R;
    }
}

template <class T>
struct Fftw;
template <>
struct Fftw<float> {
    static void* alloc(std::size_t bytes) { return fftwf_malloc(bytes); }
    static void release(void* p) { fftwf_free(p); }
    static void* plan(Peer peer, int n, void* in, void* out) {
        const unsigned flags = FFTW_MEASURE | FFTW_PRESERVE_INPUT;
        auto* r = static_cast<float*>(in);
        switch (peer) {
            case Peer::R2C: return fftwf_plan_dft_r2c_1d(n, r, static_cast<fftwf_complex*>(out), flags);
            case Peer::C2R: return fftwf_plan_dft_c2r_1d(n, static_cast<fftwf_complex*>(in), static_cast<float*>(out), flags);
            case Peer::DHT: return fftwf_plan_r2r_1d(n, r, static_cast<float*>(out), FFTW_DHT, flags);
        }
        return nullptr;
    }
    static void exec(void* p) { fftwf_execute(static_cast<fftwf_plan>(p)); }
    static void destroy(void* p) { fftwf_destroy_plan(static_cast<fftwf_plan>(p)); }
    static void forget() { fftwf_forget_wisdom(); }
};
template <>
struct Fftw<double> {
    static void* alloc(std::size_t bytes) { return fftw_malloc(bytes); }
    static void release(void* p) { fftw_free(p); }
    static void* plan(Peer peer, int n, void* in, void* out) {
        const unsigned flags = FFTW_MEASURE | FFTW_PRESERVE_INPUT;
        auto* r = static_cast<double*>(in);
        switch (peer) {
            case Peer::R2C: return fftw_plan_dft_r2c_1d(n, r, static_cast<fftw_complex*>(out), flags);
            case Peer::C2R: return fftw_plan_dft_c2r_1d(n, static_cast<fftw_complex*>(in), static_cast<double*>(out), flags);
            case Peer::DHT: return fftw_plan_r2r_1d(n, r, static_cast<double*>(out), FFTW_DHT, flags);
        }
        return nullptr;
    }
    static void exec(void* p) { fftw_execute(static_cast<fftw_plan>(p)); }
    static void destroy(void* p) { fftw_destroy_plan(static_cast<fftw_plan>(p)); }
    static void forget() { fftw_forget_wisdom(); }
};

// Room for the larger of the two layouts: N + 2 reals, or N/2 + 1 complex values.
std::size_t arrayBytes(int n, std::size_t real) { return real * static_cast<std::size_t>(n + 2); }

template <class T>
void fill(void* p, int n) {
    std::mt19937 gen(static_cast<unsigned>(n));
    std::uniform_real_distribution<T> d(-1, 1);
    T* x = static_cast<T*>(p);
    for (int i = 0; i < n + 2; ++i) x[i] = d(gen);
}

template <class T>
void ours(benchmark::State& st, const KernelInfo& k) {
    void* in = Fftw<T>::alloc(arrayBytes(k.n, sizeof(T)));
    void* out = Fftw<T>::alloc(arrayBytes(k.n, sizeof(T)));
    fill<T>(in, k.n);
    for (auto _ : st) {
        k.call(in, out, ScaleNone);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    Fftw<T>::release(in);
    Fftw<T>::release(out);
}

template <class T>
void peer(benchmark::State& st, Peer kind, int n) {
    void* in = Fftw<T>::alloc(arrayBytes(n, sizeof(T)));
    void* out = Fftw<T>::alloc(arrayBytes(n, sizeof(T)));
    void* p = qrbbench::fastestPlan(
        [&] {
            Fftw<T>::forget();
            void* q = Fftw<T>::plan(kind, n, in, out);  // FFTW_MEASURE overwrites the arrays
            fill<T>(in, n);
            return q;
        },
        Fftw<T>::exec, Fftw<T>::destroy);
    fill<T>(in, n);
    for (auto _ : st) {
        Fftw<T>::exec(p);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    Fftw<T>::destroy(p);
    Fftw<T>::release(in);
    Fftw<T>::release(out);
}

}  // namespace

int main(int argc, char** argv) {
    for (const KernelInfo& k : qrbtest::allKernels()) {
        if (k.complexKind()) continue;
        // The family is the kernel's name without its length: DFTFwd_RToCCS_32f.
        std::string family = std::string(k.name).substr(4);
        const std::string len = "_" + std::to_string(k.n) + "_";
        family.replace(family.find(len), len.size(), "_");
        const std::string l = qrbbench::label(k.n);
        const Peer p = peerOf(k.kind);
        const int n = k.n;
        if (k.single()) {
            benchmark::RegisterBenchmark((family + "/ours/" + l).c_str(), [&k](benchmark::State& s) { ours<float>(s, k); });
            benchmark::RegisterBenchmark((family + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<float>(s, p, n); });
        } else {
            benchmark::RegisterBenchmark((family + "/ours/" + l).c_str(), [&k](benchmark::State& s) { ours<double>(s, k); });
            benchmark::RegisterBenchmark((family + "/peer/" + l).c_str(), [=](benchmark::State& s) { peer<double>(s, p, n); });
        }
    }
    return qrbbench::runAll(argc, argv);
}
