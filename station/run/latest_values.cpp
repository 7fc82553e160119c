#include "station/run/latest_values.h"

namespace orvix::station {
namespace {

using std::chrono::milliseconds;

constexpr int kMostFailures = 2;
constexpr milliseconds kGoodSlack{1000};
constexpr milliseconds kOfflineSlack{5000};

}  // namespace

Quality LatestValues::QualityOf(const Entry& entry, std::int64_t unixMilliseconds) {
    const auto& reading = entry.Latest;
    if (std::holds_alternative<std::monostate>(reading.LastGood)) return Quality::Offline;
    const milliseconds age(unixMilliseconds - reading.LastGoodUnixMilliseconds);
    if (entry.Failures > kMostFailures || age > 10 * entry.Every + kOfflineSlack) return Quality::Offline;
    if (entry.Failures > 0 || age > 2 * entry.Every + kGoodSlack) return Quality::Stale;
    return Quality::Good;
}

void LatestValues::Expect(const std::string& port, const DeviceSetup& device, milliseconds every) {
    auto& entry = m_Entries[IdOf(port, device.Address)];
    if (entry.Latest.UnixMilliseconds != 0) return;
    entry.Latest.Port = port;
    entry.Latest.Address = device.Address;
    entry.Latest.Model = device.Model;
    entry.Latest.Name = device.Name;
    entry.Every = every;
}

void LatestValues::Take(Reading& reading, milliseconds every) {
    auto& entry = m_Entries[reading.Id()];
    if (reading.Valid()) {
        reading.LastGood = reading.Value;
        reading.LastGoodUnixMilliseconds = reading.UnixMilliseconds;
        entry.Failures = 0;
    } else {
        reading.LastGood = entry.Latest.LastGood;
        reading.LastGoodUnixMilliseconds = entry.Latest.LastGoodUnixMilliseconds;
        ++entry.Failures;
    }
    entry.Every = every;
    entry.Latest = reading;
    reading.Quality = entry.Latest.Quality = QualityOf(entry, reading.UnixMilliseconds);
}

std::vector<Reading> LatestValues::At(std::int64_t unixMilliseconds) const {
    std::vector<Reading> readings;
    for (const auto& [key, entry] : m_Entries) {
        readings.push_back(entry.Latest);
        readings.back().Quality = QualityOf(entry, unixMilliseconds);
    }
    return readings;
}

}  // namespace orvix::station
