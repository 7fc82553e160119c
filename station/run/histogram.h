#pragma once

#include <array>
#include <cstdint>

#include "host/apartment.h"

namespace orvix::station {

/// How often which duration has been seen: eight bins for each doubling from 1/8 ms to 16 s, so that a quantile is at
/// most a tenth too long. Its size does not grow.
class Histogram {
public:
    void Add(Duration value);
    void Add(const Histogram& other);

    std::uint64_t Count() const { return m_Count; }
    Duration Sum() const { return m_Sum; }
    Duration Max() const { return m_Max; }
    /// The duration that this share (0 to 1) of all values do not exceed; zero without values.
    Duration Quantile(double share) const;
    /// How many values are at most 2^exponent milliseconds, for an exponent from -3 to 14.
    std::uint64_t CountUpTo(int exponent) const;

    static constexpr int kLeastExponent = -3;
    static constexpr int kMostExponent = 14;

private:
    static constexpr int kBinsPerDoubling = 8;
    /// The first bin is for what is at most the least bound, the last for what is above the greatest.
    static constexpr int kBins = (kMostExponent - kLeastExponent) * kBinsPerDoubling + 2;

    static int BinOf(Duration value);

    std::array<std::uint32_t, kBins> m_Bins{};
    std::uint64_t m_Count = 0;
    Duration m_Sum{0};
    Duration m_Max{0};
};

}  // namespace orvix::station
