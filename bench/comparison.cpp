#include "bench/comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <utility>

namespace orvix::bench {
namespace {

struct Comparison {
    std::string Subject;
    std::vector<Metric> Metrics;
    std::vector<std::vector<Pair>> Measured;  ///< by round, then by metric
};

std::vector<std::shared_ptr<Comparison>>& Comparisons() {
    static std::vector<std::shared_ptr<Comparison>> all;
    return all;
}

/// Tells on standard error what is being measured; the figures come in one table at the end.
class ProgressReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (!run.error_occurred) continue;
            Failed = true;
            std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
        }
        if (!runs.empty() && runs.front().run_type == Run::RT_Iteration)
            std::fprintf(stderr, "measured: %s\n", runs.front().run_name.function_name.c_str());
    }

    bool Failed = false;
};

/// The aim, and whether it is missed.
std::string AimText(const Aim& aim, double ratio) {
    if (aim.Is == Aim::Kind::None) return "";
    const bool isUpper = aim.Is == Aim::Kind::AtMost;
    char text[64];
    std::snprintf(text, sizeof(text), "%s %.3g%s", isUpper ? "at most" : "at least", aim.Ratio,
                  (isUpper ? ratio <= aim.Ratio : ratio >= aim.Ratio) ? "" : ", **missed**");
    return text;
}

void PrintRow(const Comparison& comparison, std::size_t metricIndex) {
    const Metric& metric = comparison.Metrics[metricIndex];
    std::vector<double> own, peer, ratios;
    for (const auto& round : comparison.Measured) {
        const Pair& pair = round.at(metricIndex);
        own.push_back(pair.Own);
        peer.push_back(pair.Peer);
        if (pair.Peer != 0) ratios.push_back(pair.Own / pair.Peer);
    }
    const std::vector<double>& judged = ratios.empty() ? own : ratios;
    const double middle = Median(judged);
    const double spread = middle == 0 ? 0 : (Quantile(judged, 0.75) - Quantile(judged, 0.25)) / middle * 100;
    std::printf("| %s, %s | %.4g %s | ", comparison.Subject.c_str(), metric.Name.c_str(), Median(own),
                metric.Unit.c_str());
    if (ratios.empty()) {
        std::printf("| | | ");
    } else {
        std::printf("%.4g %s | %.3f | %s | ", Median(peer), metric.Unit.c_str(), middle,
                    AimText(metric.Wanted, middle).c_str());
    }
    std::printf("%.0f %% of %zu |\n", spread, own.size());
}

/// As Markdown, for docs/performance.md.
void PrintTable() {
    std::printf("\n| what | own | peer | ratio | aim | spread, rounds |\n|---|---|---|---|---|---|\n");
    for (const auto& comparison : Comparisons()) {
        if (comparison->Measured.empty()) continue;
        for (std::size_t i = 0; i < comparison->Metrics.size(); ++i)
            PrintRow(*comparison, i);
    }
}

void RunRound(benchmark::State& state, Comparison& comparison, const Round& round) {
    for ([[maybe_unused]] auto _ : state) {
        try {
            const auto number = static_cast<int>(comparison.Measured.size());
            comparison.Measured.push_back(round(number));
            for (std::size_t i = 0; i < comparison.Metrics.size(); ++i) {
                state.counters[comparison.Metrics[i].Name + " own"] = comparison.Measured.back().at(i).Own;
                state.counters[comparison.Metrics[i].Name + " peer"] = comparison.Measured.back().at(i).Peer;
            }
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
            break;
        }
    }
}

}  // namespace

void AddComparison(const std::string& subject, std::vector<Metric> metrics, int rounds, Round round) {
    const auto comparison = std::make_shared<Comparison>(Comparison{subject, std::move(metrics), {}});
    Comparisons().push_back(comparison);
    benchmark::RegisterBenchmark(subject.c_str(), [comparison, round = std::move(round)](
                                                      benchmark::State& state) { RunRound(state, *comparison, round); })
        ->Iterations(1)
        ->Repetitions(rounds)
        ->UseRealTime();
}

void AddComparison(const std::string& subject, const Metric& metric, int rounds, std::function<double()> own,
                   std::function<double()> peer) {
    AddComparison(subject, {metric}, rounds, [own = std::move(own), peer = std::move(peer)](int number) {
        Pair pair;
        if (number % 2 != 0) pair.Peer = peer();
        pair.Own = own();
        if (number % 2 == 0) pair.Peer = peer();
        return std::vector<Pair>{pair};
    });
}

int RunComparisons(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    ProgressReporter progress;
    benchmark::RunSpecifiedBenchmarks(&progress);
    PrintTable();
    return progress.Failed ? 1 : 0;
}

double Quantile(std::vector<double> values, double part) {
    if (values.empty()) return 0;
    const auto position = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + position, values.end());
    return values[static_cast<std::size_t>(position)];
}

double Median(std::vector<double> values) {
    return Quantile(std::move(values), 0.5);
}

}  // namespace orvix::bench
