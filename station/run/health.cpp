#include "station/run/health.h"

#include <algorithm>

namespace orvix::station {

void Tally::Add(const Tally& other) {
    std::transform(Ends.begin(), Ends.end(), other.Ends.begin(), Ends.begin(), std::plus<>());
    Retries += other.Retries;
    Echoes += other.Echoes;
    Doubled += other.Doubled;
    Late += other.Late;
    OtherAddress += other.OtherAddress;
    LongestDelay = std::max(LongestDelay, other.LongestDelay);
    LongestDelayAtMost = std::max(LongestDelayAtMost, other.LongestDelayAtMost);
    Readings += other.Readings;
    GoodReadings += other.GoodReadings;
    DoubtfulReadings += other.DoubtfulReadings;
    NoValues += other.NoValues;
    Noises += other.Noises;
    StrayBytes += other.StrayBytes;
    RoundTrips.Add(other.RoundTrips);
    Periods += other.Periods;
    PeriodCount += other.PeriodCount;
}

void Tally::Add(const Exchange& exchange) {
    ++Ends[static_cast<std::size_t>(exchange.Outcome)];
    if (exchange.RoundTrip > Duration::zero()) RoundTrips.Add(exchange.RoundTrip);
    if (exchange.Attempt > 0) ++Retries;
    if (exchange.IsEcho) ++Echoes;
}

void Tally::Add(const Surplus& surplus) {
    switch (surplus.What) {
        case Surplus::Kind::Noise:
            ++Noises;
            StrayBytes += surplus.Bytes;
            return;
        case Surplus::Kind::Doubled:
            ++Doubled;
            return;
        case Surplus::Kind::Late:
            ++Late;
            if (surplus.IsDelayMeasured) LongestDelay = std::max(LongestDelay, surplus.Delay);
            if (!surplus.IsDelayMeasured) LongestDelayAtMost = std::max(LongestDelayAtMost, surplus.Delay);
            return;
        case Surplus::Kind::OtherAddress:
            ++OtherAddress;
            return;
    }
}

void Tally::Add(const ReadingEnd& reading) {
    ++Readings;
    if (reading.IsGood) ++GoodReadings;
    if (reading.IsDoubtful) ++DoubtfulReadings;
    if (reading.HasNoValue) ++NoValues;
}

void Tally::Add(Duration period) {
    Periods += period;
    ++PeriodCount;
}

std::optional<double> Tally::Success() const {
    const auto exchanges = Exchanges();
    if (exchanges == 0) return std::nullopt;
    return static_cast<double>(Count(Outcome::Good)) / static_cast<double>(exchanges);
}

std::optional<double> Tally::ReadingSuccess() const {
    if (Readings == 0) return std::nullopt;
    return static_cast<double>(GoodReadings) / static_cast<double>(Readings);
}

std::optional<Duration> Tally::Period() const {
    if (PeriodCount == 0) return std::nullopt;
    return Periods / static_cast<Duration::rep>(PeriodCount);
}

Tally BusHealth::Sum(Tally AddressHealth::*of) const {
    Tally sum = Idle.*of;
    for (const auto& address : Addresses)
        sum.Add(address.*of);
    return sum;
}

}  // namespace orvix::station
