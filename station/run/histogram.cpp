#include "station/run/histogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace orvix::station {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

}  // namespace

int Histogram::BinOf(Duration value) {
    const double doublings = std::log2(std::max(Milliseconds(value).count(), 1e-6)) - kLeastExponent;
    return std::clamp(static_cast<int>(std::ceil(doublings * kBinsPerDoubling)), 0, kBins - 1);
}

void Histogram::Add(Duration value) {
    ++m_Bins[static_cast<std::size_t>(BinOf(value))];
    ++m_Count;
    m_Sum += value;
    m_Max = std::max(m_Max, value);
}

void Histogram::Add(const Histogram& other) {
    std::transform(m_Bins.begin(), m_Bins.end(), other.m_Bins.begin(), m_Bins.begin(), std::plus<>());
    m_Count += other.m_Count;
    m_Sum += other.m_Sum;
    m_Max = std::max(m_Max, other.m_Max);
}

Duration Histogram::Quantile(double share) const {
    const auto rank = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(m_Count)));
    std::uint64_t seen = 0;
    for (int bin = 0; bin < kBins - 1; ++bin) {
        seen += m_Bins[static_cast<std::size_t>(bin)];
        if (seen < rank || seen == 0) continue;
        const Milliseconds bound(std::exp2(kLeastExponent + static_cast<double>(bin) / kBinsPerDoubling));
        return std::min(m_Max, std::chrono::duration_cast<Duration>(bound));
    }
    return m_Max;
}

std::uint64_t Histogram::CountUpTo(int exponent) const {
    const auto end = m_Bins.begin() + std::ptrdiff_t{exponent - kLeastExponent} * kBinsPerDoubling + 1;
    return std::accumulate(m_Bins.begin(), end, std::uint64_t{0});
}

}  // namespace orvix::station
