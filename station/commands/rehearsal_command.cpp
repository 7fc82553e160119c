#include <sys/resource.h>

#include <algorithm>
#include <iostream>
#include <list>
#include <map>

#include "station/commands/commands.h"
#include "station/commands/rehearsed_station.h"

namespace orvix::station {
namespace {

// All stations leave their broker in this time, or are left.
constexpr std::chrono::seconds kLongestLeaving{8};
// What one station has said the others need not say as well.
constexpr std::chrono::minutes kSaidFor{1};

/// Each connection has several descriptors, and the usual limit is too low for hundreds.
void AllowManyDescriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

/// Says what the stations say, once for all of them.
class CommonVoice {
public:
    explicit CommonVoice(Apartment& home) : m_Home(home) {}

    /// `station`: as in the text.
    void Say(std::string text, const std::string& station) {
        if (const auto at = text.find(station); at != std::string::npos) text.replace(at, station.size(), "sim-N");
        const auto now = m_Home.Now();
        const auto [said, isNew] = m_Said.try_emplace(text, now);
        if (!isNew && now - said->second < kSaidFor) return;
        said->second = now;
        std::cerr << "nimbo1: " << text << std::endl;
    }

private:
    Apartment& m_Home;
    std::map<std::string, Duration> m_Said;
};

}  // namespace

int Execute(const RehearsalOptions& options, MainLoop& loop) {
    AllowManyDescriptors();
    auto& home = loop.Apartment();
    CommonVoice voice(home);
    std::list<RehearsedStation> stations;
    for (int number = 1; number <= options.Stations; ++number) {
        const auto tell = [&voice, number](const std::string& text) {
            voice.Say(text, "sim-" + std::to_string(number));
        };
        stations.emplace_back(options, number, options.Every * number / options.Stations, home, tell);
    }
    loop.Run();
    const auto end = home.Now() + kLongestLeaving;
    for (auto& station : stations)
        station.Leave();
    for (auto& station : stations) {
        const auto left = std::chrono::floor<std::chrono::milliseconds>(end - home.Now());
        station.Close(std::max(left, std::chrono::milliseconds(0)));
    }
    return kDone;
}

}  // namespace orvix::station
