// Shared by the benchmark programs: runs all registered benchmarks and then
// prints, for every pair "<family>/ours/<label>" and "<family>/peer/<label>",
// both times per call (the fastest batch, with repetitions) and the ratio
// peer time / our time, with the geometric mean of the ratios per family.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace qrbbench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            // With repetitions, the fastest batch: the others measured the
            // machine's other work as well.
            const std::string name = r.run_name.str();
            const double ns = r.GetAdjustedRealTime();  // default unit: ns
            auto it = times_.find(name);
            if (it == times_.end() || ns < it->second) times_[name] = ns;
        }
    }

    void PrintRatios() const {
        // family -> label -> (ours, peer)
        std::map<std::string, std::vector<std::pair<std::string, std::pair<double, double>>>> table;
        for (const auto& [name, ns] : times_) {
            auto p1 = name.find("/ours/");
            if (p1 == std::string::npos) continue;
            const std::string family = name.substr(0, p1), label = name.substr(p1 + 6);
            auto it = times_.find(family + "/peer/" + label);
            if (it == times_.end()) continue;
            table[family].push_back({label, {ns, it->second}});
        }
        for (auto& [family, rows] : table) {
            std::printf("\n%s: time per call, ours against the peer\n", family.c_str());
            std::printf("  %-14s %12s %12s %10s\n", "size", "ours ns", "peer ns", "peer/ours");
            double logSum = 0;
            for (const auto& [label, t] : rows) {
                const double ratio = t.second / t.first;
                logSum += std::log(ratio);
                std::printf("  %-14s %12.2f %12.2f %10.2f\n", label.c_str(), t.first, t.second, ratio);
            }
            std::printf("  geometric mean of peer/ours over %zu sizes: %.2f\n", rows.size(),
                        std::exp(logSum / static_cast<double>(rows.size())));
        }
    }

private:
    std::map<std::string, double> times_;
};

inline int runAll(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}

// FFTW_MEASURE chooses its plan by timing candidates, and on a busy machine
// the plan it settles on varies from one planning to the next: the 48-point
// single-precision complex transform has been seen to take 28 ns with one
// plan and 40 ns with another. So the peer is planned several times, each
// time without the wisdom of the previous planning, and the plan that runs
// fastest here is the one the benchmark times: FFTW at its best, which a
// ratio against it should survive. QRBG_BENCH_PEER_PLANS sets how many
// plannings (3 by default; 1 plans once, as FFTW's users do).
inline int peerPlannings() {
    const char* v = std::getenv("QRBG_BENCH_PEER_PLANS");
    const int k = v ? std::atoi(v) : 3;
    return std::clamp(k, 1, 20);
}

// Time per call of the fastest of a few short batches.
template <class Call>
double quickTime(Call call) {
    double best = 1e30;
    for (int b = 0; b < 40; ++b) {
        const auto t0 = std::chrono::steady_clock::now();
        for (int i = 0; i < 64; ++i) call();
        const auto t1 = std::chrono::steady_clock::now();
        best = std::min(best, std::chrono::duration<double, std::nano>(t1 - t0).count() / 64);
    }
    return best;
}

// The fastest of peerPlannings() plans. `plan` forgets FFTW's wisdom, makes
// a plan and fills the input anew (planning overwrites the arrays); `run`
// executes a plan once; `destroy` frees one. The caller fills the input
// again afterwards.
template <class Plan, class Run, class Destroy>
void* fastestPlan(Plan plan, Run run, Destroy destroy) {
    void* best = nullptr;
    double bestNs = 1e30;
    for (int i = 0; i < peerPlannings(); ++i) {
        void* p = plan();
        const double ns = quickTime([&] {
            run(p);
            benchmark::ClobberMemory();
        });
        if (ns < bestNs) {
            if (best) destroy(best);
            best = p;
            bestNs = ns;
        } else {
            destroy(p);
        }
    }
    return best;
}

// Labels sort by size when zero-padded.
inline std::string label(int n) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%08d", n);
    return buf;
}

}  // namespace qrbbench
