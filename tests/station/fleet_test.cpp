#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/station/json_lines.h"
#include "tests/station/mqtt_broker.h"

namespace orvix::tests {
namespace {

std::vector<std::string> Rehearsal(const Broker& broker) {
    return {"simulate",  "--stations", "3",
            "--devices", "2",          "--every",
            "100ms",     "--mqtt",     "mqtt://127.0.0.1:" + std::to_string(broker.Port)};
}

TEST(Fleet, ARehearsalReportsAsManyStationsDoAndShowsWhatIsMissing) {
    const Broker broker;
    Subscriber live(broker);
    Program fleet(Rehearsal(broker));
    EXPECT_TRUE(fleet.AwaitError("connected; topics begin with nimbo1/sim-N/\n"));
    std::map<std::string, std::vector<int>> steps;
    std::map<std::string, std::set<std::string>> sessions;
    const auto isState = [&](const std::string& payload) {
        const auto state = Json::parse(payload);
        const std::string id = state["id"];
        EXPECT_EQ(state["quality"], "good");
        sessions[id.substr(0, 4)].insert(state["session"].get<std::string>());
        steps[id].push_back(static_cast<int>(std::lround((state["value"].get<double>() - 20) * 100)));
        return true;
    };
    while (steps.size() < 6 || steps["sim3-2"].size() < 5)
        live.AwaitAny("/state", isState);
    for (const auto& [id, values] : steps) {
        for (std::size_t i = 1; i < values.size(); ++i)
            EXPECT_EQ(values[i], values[i - 1] + 1) << id;
    }
    for (const auto& [station, names] : sessions)
        EXPECT_EQ(names.size(), 1U) << station;
    EXPECT_EQ(sessions.size(), 3U);
    live.Await("nimbo1/sim-2/buses/bus/health", [](const std::string& payload) {
        return Json::parse(payload)["devices"].size() == 2 && Json::parse(payload)["recent"]["readings"] > 0;
    });
    fleet.Signal(SIGTERM);
    EXPECT_EQ(fleet.Finish().Status, 0);
    for (const char* station : {"sim-1", "sim-2", "sim-3"})
        EXPECT_TRUE(Subscriber(broker).Await("nimbo1/" + std::string(station) + "/status", "offline").WasKept);
}

TEST(Fleet, ARehearsalSaysWhatItNeeds) {
    ExpectOneLine({"simulate", "--stations", "3"}, 2, "--stations needs --mqtt URL");
    ExpectOneLine({"simulate", "--devices", "3"}, 2, "of use with --stations N alone");
    ExpectOneLine({"simulate"}, 2, "name a --device, or a fleet with --stations");
}

}  // namespace
}  // namespace orvix::tests
