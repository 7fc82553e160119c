#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace orvix::bench {

/// What the ratio of a row, own figure to the peer's, should be.
struct Aim {
    enum class Kind { None, AtMost, AtLeast } Is = Kind::None;
    double Ratio = 0;
};
inline constexpr Aim kNoAim{};
constexpr Aim AtMost(double ratio) {
    return {Aim::Kind::AtMost, ratio};
}
constexpr Aim AtLeast(double ratio) {
    return {Aim::Kind::AtLeast, ratio};
}

/// A row of the table.
struct Metric {
    std::string Name;
    std::string Unit;
    Aim Wanted = kNoAim;
};

/// What one round has measured for a metric. A peer of 0 means that there is none.
struct Pair {
    double Own = 0;
    double Peer = 0;
};

/// Measures each metric once, own and peer one after the other, so that a slow spell of the machine hits both. `number`
/// counts from 0: odd rounds begin with the peer.
using Round = std::function<std::vector<Pair>(int number)>;

/// Registers a benchmark whose repetitions are rounds; its metrics are rows of the table.
void AddComparison(const std::string& subject, std::vector<Metric> metrics, int rounds, Round round);

/// A comparison of one metric by two functions that measure it.
void AddComparison(const std::string& subject, const Metric& metric, int rounds, std::function<double()> own,
                   std::function<double()> peer);

/// Runs what has been registered and prints the table; returns the exit status, 1 when a round has failed. Takes Google
/// Benchmark's own arguments (--benchmark_filter ...).
int RunComparisons(int argc, char** argv);

/// Middle value; 0 of none.
double Median(std::vector<double> values);
/// The value below which the given part (0 to 1) of the values lies; 0 of none.
double Quantile(std::vector<double> values, double part);

}  // namespace orvix::bench
