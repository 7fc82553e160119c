#include "station/run/health.h"

#include <algorithm>

namespace orvix::station {

void Tally::Add(const Tally& other) {
    std::transform(Ends.begin(), Ends.end(), other.Ends.begin(), Ends.begin(), std::plus<>());
    Retries += other.Retries;
    Echoes += other.Echoes;
    Doubled += other.Doubled;
    Late += other.Late;
    Noises += other.Noises;
    StrayBytes += other.StrayBytes;
    RoundTrips.Add(other.RoundTrips);
    Periods += other.Periods;
    PeriodCount += other.PeriodCount;
}

void Tally::Add(const Exchange& exchange) {
    ++Ends[static_cast<std::size_t>(exchange.Outcome)];
    if (exchange.Outcome == Outcome::Good || exchange.Outcome == Outcome::Refused) RoundTrips.Add(exchange.RoundTrip);
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
            return;
    }
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

std::optional<Duration> Tally::Period() const {
    if (PeriodCount == 0) return std::nullopt;
    return Periods / static_cast<Duration::rep>(PeriodCount);
}

Tally BusHealth::Sum(Tally AddressHealth::*of) const {
    Tally sum;
    for (const auto& address : Addresses)
        sum.Add(address.*of);
    return sum;
}

}  // namespace orvix::station
