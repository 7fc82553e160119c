#include "station/run/latest_values.h"

#include "station/model/bus_setup.h"

namespace orvix::station {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kGoodSlack{1000};
constexpr milliseconds kOfflineSlack{5000};

}  // namespace

milliseconds LatestValues::OfflineAfter(milliseconds every) {
    return 10 * every + kOfflineSlack;
}

void LatestValues::Judge(Reading& reading, const Entry& entry, Duration now) {
    const auto isFresh = [&](Duration since) { return now - since <= 2 * entry.Every + kGoodSlack; };
    const bool hasGood = !std::holds_alternative<std::monostate>(reading.LastGood);
    const auto age = std::chrono::floor<milliseconds>(now - entry.GoodAt);
    if (hasGood) reading.Age = age;
    reading.Quality = Quality::Doubtful;
    if (reading.Valid() && !reading.IsGood() && !entry.IsLost && isFresh(entry.TakenAt)) return;
    reading.Quality = Quality::Offline;
    if (!hasGood) return;
    if (entry.Failures >= kFailuresUntilOffline || age > OfflineAfter(entry.Every)) return;
    const bool isStale = entry.Failures > 0 || !isFresh(entry.GoodAt);
    reading.Quality = isStale ? Quality::Stale : Quality::Good;
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

void LatestValues::Take(Reading& reading, milliseconds every, Duration now) {
    auto& entry = m_Entries[reading.Id()];
    if (reading.IsGood()) {
        reading.LastGood = reading.Value;
        reading.LastGoodUnixMilliseconds = reading.UnixMilliseconds;
        entry.GoodAt = now;
        entry.Failures = 0;
    } else {
        reading.LastGood = entry.Latest.LastGood;
        reading.LastGoodUnixMilliseconds = entry.Latest.LastGoodUnixMilliseconds;
        entry.Failures = reading.Valid() ? 0 : entry.Failures + 1;
    }
    entry.Every = every;
    entry.IsLost = false;
    entry.TakenAt = now;
    Judge(reading, entry, now);
    entry.Latest = reading;
}

void LatestValues::Lose(const DeviceId& device) {
    const auto entry = m_Entries.find(device);
    if (entry == m_Entries.end()) return;
    entry->second.Failures = kFailuresUntilOffline;
    entry->second.IsLost = true;
}

std::vector<Reading> LatestValues::At(Duration now) const {
    std::vector<Reading> readings;
    for (const auto& [key, entry] : m_Entries) {
        readings.push_back(entry.Latest);
        Judge(readings.back(), entry, now);
    }
    return readings;
}

}  // namespace orvix::station
