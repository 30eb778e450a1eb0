// Shared by the benchmark programs: runs all registered benchmarks and then
// prints, for every pair "<family>/ours/<label>" and "<family>/peer/<label>",
// both times per call (the fastest batch, with repetitions) and the ratio
// peer time / our time, with the geometric mean of the ratios per family.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
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

// Labels sort by size when zero-padded.
inline std::string label(int n) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%08d", n);
    return buf;
}

}  // namespace qrbbench
