// Complex kernels against FFTW 3 at the same length and precision, every
// form of our kernel side by side: the 16-byte form (sse2) and each wide
// variant this processor runs, called directly, and FFTW's plan made with
// FFTW_MEASURE (the fastest of several plannings, see bench_common.h) and
// executed with fftw_execute_dft. All on the same 64-byte
// aligned arrays, ours under ScaleNone.
//
// Benchmarks are named <family>/<form>/<N>, family dft32fc-fwd, dft32fc-inv,
// dft64fc-fwd, dft64fc-inv, form sse2, avx2, avx512 or fftw. Every form is
// timed in batches of calls, and its figure is the time per call of its
// fastest batch, which a busy machine disturbs least. After the run a
// table per family gives that time for every form, and FFTW's time
// over that of our best form, with the geometric mean over the lengths whose
// prime factors are all 11 or less. bench/plot_dft.sh turns the JSON output
// of a run (--benchmark_out=FILE) into a plot.
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench_common.h"
#include "qrbgen.h"

using C32 = Qrbg32fc;
using C64 = Qrbg64fc;
using F32 = Qrbg32f;
using F64 = Qrbg64f;

#define QRBG_VARIANT(kernel, kind, type, n, inverse, se, de, sse2, variant, name, feature, feature2) \
    extern "C" Status sse2(const type*, type*, int32_t);                                           \
    extern "C" Status variant(const type*, type*, int32_t);
#include "variants.inc"
#undef QRBG_VARIANT

namespace {

template <class T>
struct Fftw;
template <>
struct Fftw<float> {
    using C = Qrbg32fc;
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
    static void forget() { fftwf_forget_wisdom(); }
    static constexpr const char* name = "dft32fc";
};
template <>
struct Fftw<double> {
    using C = Qrbg64fc;
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
    static void forget() { fftw_forget_wisdom(); }
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
using KernelFn = Status (*)(const typename Fftw<T>::C*, typename Fftw<T>::C*, int32_t);

// Each iteration times a batch of calls; the figure of a form is the time
// per call of its fastest batch, what the kernel takes when nothing else
// on the machine disturbs it (reported as the counter "ns").
constexpr int kBatch = 256;

template <class Call>
void timeBatches(benchmark::State& st, Call call) {
    double best = 1e30;
    for (auto _ : st) {
        const auto t0 = std::chrono::steady_clock::now();
        for (int i = 0; i < kBatch; ++i) call();
        const auto t1 = std::chrono::steady_clock::now();
        best = std::min(best, std::chrono::duration<double, std::nano>(t1 - t0).count() / kBatch);
    }
    st.counters["ns"] = best;
}

template <class T>
void ours(benchmark::State& st, int n, KernelFn<T> f) {
    using F = Fftw<T>;
    void* in = F::alloc(n);
    void* out = F::alloc(n);
    fill<T>(in, n);
    timeBatches(st, [&] {
        f(static_cast<const typename F::C*>(in), static_cast<typename F::C*>(out), ScaleNone);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    });
    F::release(in);
    F::release(out);
}

template <class T>
void peer(benchmark::State& st, int n, int sign) {
    using F = Fftw<T>;
    void* in = F::alloc(n);
    void* out = F::alloc(n);
    void* p = qrbbench::fastestPlan(
        [&] {
            F::forget();
            void* q = F::plan(n, in, out, sign);  // FFTW_MEASURE overwrites the arrays
            fill<T>(in, n);
            return q;
        },
        [&](void* q) { F::exec(q, in, out); }, F::destroy);
    fill<T>(in, n);
    timeBatches(st, [&] {
        F::exec(p, in, out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    });
    F::destroy(p);
    F::release(in);
    F::release(out);
}

std::string family(const char* type, bool inverse) { return std::string(type) + (inverse ? "-inv" : "-fwd"); }

// The forms of one kernel that are registered already (the 16-byte form
// appears in every variant's row).
std::map<std::string, bool> registered;

template <class T>
void add(const std::string& fam, const std::string& form, int n, KernelFn<T> f) {
    const std::string name = fam + "/" + form + "/" + qrbbench::label(n);
    if (registered[name]) return;
    registered[name] = true;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { ours<T>(s, n, f); });
}

template <class T>
void addPeer(const std::string& fam, int n, bool inverse) {
    const std::string name = fam + "/fftw/" + qrbbench::label(n);
    if (registered[name]) return;
    registered[name] = true;
    const int sign = inverse ? FFTW_BACKWARD : FFTW_FORWARD;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { peer<T>(s, n, sign); });
}

template <class T>
void registerVariant(int n, bool inverse, KernelFn<T> sse2, KernelFn<T> variant, const char* name, bool runs) {
    const std::string fam = family(Fftw<T>::name, inverse);
    add<T>(fam, "sse2", n, sse2);
    if (runs) add<T>(fam, name, n, variant);
    addPeer<T>(fam, n, inverse);
}

// The complex kernels' variants; the table holds the real families' too,
// which bench_real times.
void registerComplex(int n, bool inverse, KernelFn<float> sse2, KernelFn<float> variant, const char* name, bool runs) {
    registerVariant<float>(n, inverse, sse2, variant, name, runs);
}
void registerComplex(int n, bool inverse, KernelFn<double> sse2, KernelFn<double> variant, const char* name, bool runs) {
    registerVariant<double>(n, inverse, sse2, variant, name, runs);
}
template <class E>
void registerComplex(int, bool, Status (*)(const E*, E*, int32_t), Status (*)(const E*, E*, int32_t), const char*, bool) {}

// Lengths whose prime factors are all 11 or less.
bool smooth(int n) {
    for (int p : {2, 3, 5, 7, 11})
        while (n % p == 0) n /= p;
    return n == 1;
}

class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        // With repetitions, the least time of a form.
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            const std::string name = r.run_name.str();
            auto c = r.counters.find("ns");
            if (c == r.counters.end()) continue;
            const double ns = c->second.value;
            auto it = times_.find(name);
            if (it == times_.end() || ns < it->second) times_[name] = ns;
        }
    }

    void Print() const {
        // family -> N -> form -> ns
        std::map<std::string, std::map<int, std::map<std::string, double>>> t;
        for (const auto& [name, ns] : times_) {
            const auto a = name.find('/'), b = name.rfind('/');
            t[name.substr(0, a)][std::stoi(name.substr(b + 1))][name.substr(a + 1, b - a - 1)] = ns;
        }
        const char* forms[] = {"sse2", "avx2", "avx512"};
        for (const auto& [fam, rows] : t) {
            std::printf("\n%s: ns per call (fastest batch), and FFTW's time over that of our best form\n", fam.c_str());
            std::printf("  %4s %9s %9s %9s %9s %10s  %s\n", "N", "sse2", "avx2", "avx512", "fftw", "fftw/best", "best");
            double logSum = 0;
            int count = 0, built = 0;
            double least = 1e9;
            int leastN = 0;
            for (const auto& [n, forms2] : rows) {
                std::printf("  %4d", n);
                double best = 1e30;
                std::string bestForm;
                for (const char* f : forms) {
                    auto it = forms2.find(f);
                    if (it == forms2.end()) {
                        std::printf(" %9s", "-");
                        continue;
                    }
                    std::printf(" %9.2f", it->second);
                    if (it->second < best) {
                        best = it->second;
                        bestForm = f;
                    }
                }
                auto p = forms2.find("fftw");
                const double peerNs = p == forms2.end() ? 0 : p->second;
                std::printf(" %9.2f %10.2f  %s%s\n", peerNs, peerNs / best, bestForm.c_str(), smooth(n) ? "" : "  (not 11-smooth)");
                if (smooth(n) && peerNs > 0) {
                    logSum += std::log(peerNs / best);
                    ++built;
                    if (peerNs / best < least) {
                        least = peerNs / best;
                        leastN = n;
                    }
                }
                ++count;
            }
            if (built > 0)
                std::printf("  over the %d lengths here whose prime factors are all 11 or less: geometric mean %.2f, "
                            "lowest %.2f (N = %d)\n",
                            built, std::exp(logSum / built), least, leastN);
        }
    }

private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    __builtin_cpu_init();
#define QRBG_VARIANT(kernel, kind, type, n, inverse, se, de, sse2, variant, name, feature, feature2) \
    registerComplex(n, inverse, sse2, variant, name, __builtin_cpu_supports(feature) && __builtin_cpu_supports(feature2));
#include "variants.inc"
#undef QRBG_VARIANT
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.Print();
    benchmark::Shutdown();
    return 0;
}
