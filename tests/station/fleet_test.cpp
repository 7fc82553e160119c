#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/virtual_apartment.h"
#include "station/fleet/fleet.h"
#include "station/http/http_client.h"
#include "station/run/station_run.h"
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
    ExpectOneLine({"simulate", "--devices", "3"}, 2, "--mqtt need --stations N");
    ExpectOneLine({"simulate"}, 2, "name a --device, or a fleet with --stations");
}

constexpr char kHealthOfHall[] =
    R"({"port":"bus a","port_works":true,"diagnosis":[],"devices":[)"
    R"({"id":"d1","address":5,"model":106,"name":"Oven","period_ms":1000,"diagnosis":[{"sentence":"ill","address":5}]}]})";

std::string StateOfHall(const std::string& session, int seq, double value) {
    return R"({"time":"2026-11-23T20:14:05.120Z","event":"reading","id":"d1","port":"bus a","address":5,"model":106,)"
           R"("name":"Oven","variable":"temperature","valid":true,"quality":"good","age_ms":0,"session":")" +
           session + R"(","seq":)" + std::to_string(seq) + R"(,"value":)" + std::to_string(value) + "}";
}

std::string AlarmOfHall(const std::string& change, const std::string& acknowledged = "null") {
    return R"({"time":"2026-11-23T20:14:05.120Z","event":"alarm","change":")" + change +
           R"(","id":"0f6a1c3e-4712","state":")" + (change == "end" ? "over" : "on") +
           R"(","port":"bus a","address":5,"device":"d1","name":"Oven","alarm":"high","value":31.2,"limit":30.0,)"
           R"("text":"<b>","started":"2026-11-23T20:14:05.120Z","ended":null,"acknowledged":)" +
           acknowledged + "}";
}

/// A fleet in virtual time, of a station "hall" with one device, that is online.
class FleetOfHall : private station::Listener {
    platform::VirtualScheduler m_Time{FromUnixMilliseconds(1'766'000'000'000)};
    platform::VirtualApartment m_Home{m_Time};

public:
    FleetOfHall() {
        m_Run.Add(*this);
        Hear("status", "online");
        Hear("buses/bus a/health", kHealthOfHall, true);
    }

    void Hear(const std::string& topic, const std::string& payload, bool wasKept = false) {
        Fleet.Hear({{"site/hall/" + topic, payload, wasKept}});
        Wait(0);
    }
    void Wait(int seconds) { m_Time.RunFor(std::chrono::seconds(seconds)); }
    /// What is shown of all devices: "hall/bus a hall.d1 21.5 good".
    std::string Shown() const {
        std::string all;
        for (const auto& value : m_Run.Values()) {
            const auto* degrees = std::get_if<double>(&value.LastGood);
            all += value.Port + " " + value.Identifier + " " + (degrees == nullptr ? "--" : Json(*degrees).dump()) +
                   " " + NameOf(value.Quality);
        }
        return all;
    }
    std::string TakeAlarms() { return std::exchange(m_Alarms, {}); }

    std::vector<std::string> Said;
    station::Fleet Fleet{"site",
                         m_Home,
                         {.Tell = [this](const std::string& text) { Said.push_back(text); },
                          .Listen = [](const std::vector<station::MqttTopic>&) {},
                          .Changed = [this] { m_Run.Apply(Fleet.Setups()); }}};

private:
    void OnAlarm(const station::AlarmEvent& event) override {
        m_Alarms += std::string(NameOf(event.What)) + " " + event.Identifier + " " + event.Text() + "; ";
    }

    station::StationRun m_Run{Fleet, "0c9d1f55-0000-4000-8000-000000000000"};
    std::string m_Alarms;
};

TEST(Fleet, WhatIsOldOrCameTwiceIsNotShownAndWhatIsGoneLooksGone) {
    FleetOfHall hall;
    const auto hear = [&](const char* session, int seq, double value, bool wasKept = false) {
        hall.Hear("devices/d1/state", StateOfHall(session, seq, value), wasKept);
        return hall.Shown();
    };
    EXPECT_EQ(hear("a", 7, 19, true), "hall/bus a hall.d1 -- offline") << "the broker has kept it";
    EXPECT_EQ(hear("a", 7, 20), "hall/bus a hall.d1 20.0 good");
    EXPECT_EQ(hear("a", 7, 21), "hall/bus a hall.d1 20.0 good");
    EXPECT_EQ(hear("a", 6, 22), "hall/bus a hall.d1 20.0 good");
    EXPECT_EQ(hear("b", 1, 23), "hall/bus a hall.d1 23.0 good");
    EXPECT_EQ(hear("a", 8, 24), "hall/bus a hall.d1 23.0 good") << "that session was over";
    EXPECT_EQ(hall.Fleet.SentencesOf("hall/bus a").OfDevice.at(5), "ill");
    hall.Wait(4);
    EXPECT_EQ(hall.Shown(), "hall/bus a hall.d1 23.0 stale");
    EXPECT_EQ(hear("b", 2, 25), "hall/bus a hall.d1 25.0 good");
    hall.Hear("devices/d1/availability", "offline");
    EXPECT_EQ(hall.Shown(), "hall/bus a hall.d1 25.0 offline");
    EXPECT_EQ(hear("b", 3, 26), "hall/bus a hall.d1 26.0 good");
    hall.Hear("status", "offline");
    EXPECT_EQ(hall.Shown(), "hall/bus a hall.d1 26.0 offline");
    EXPECT_EQ(hall.Fleet.SentencesOf("hall/bus a").OfBus, "the station is offline");
    hall.Hear("status", "");
    EXPECT_EQ(hall.Shown(), "");
}

TEST(Fleet, AlarmsAreThoseOfTheStationsAndToldOnce) {
    FleetOfHall hall;
    const auto hear = [&](const std::string& payload, bool wasKept = false) {
        hall.Hear("devices/d1/alarm/high", payload, wasKept);
        return hall.TakeAlarms();
    };
    EXPECT_EQ(hear(AlarmOfHall("start"), true), "continue hall.d1 31.2 °C is above the limit of 30 °C; ");
    EXPECT_EQ(hear(AlarmOfHall("start"), true), "");
    const auto known = R"({"time":"2026-11-23T20:15:00.000Z","by":"Ann","comment":""})";
    EXPECT_EQ(hear(AlarmOfHall("acknowledge", known)), "acknowledge hall.d1 31.2 °C is above the limit of 30 °C; ");
    EXPECT_EQ(hear(AlarmOfHall("end")), "end hall.d1 31.2 °C is no longer above the limit of 30 °C; ");
    EXPECT_EQ(hear(AlarmOfHall("end")), "");
    EXPECT_EQ(hear(AlarmOfHall("start")), "start hall.d1 31.2 °C is above the limit of 30 °C; ");
    hall.Hear("status", "");
    EXPECT_EQ(hall.TakeAlarms(), "end hall.d1 the limit was taken away; ");
}

TEST(Fleet, WhatNoStationWouldSayIsNotUsedAndSaidOnce) {
    const auto replaced = [](std::string text, const std::string& part, const std::string& by) {
        return text.replace(text.find(part), part.size(), by);
    };
    const std::string state = StateOfHall("a", 7, 20);
    const std::string health = kHealthOfHall;
    const struct {
        std::string Topic;
        std::string Payload;
        std::string Says;
    } kCases[] = {
        {"devices/d1/state", "{", "no JSON object"},
        {"devices/d1/state", std::string(100000, '['), "a payload of 100000 bytes"},
        {"devices/d1/state", replaced(state, "2026-11-23T20:14:05.120Z", "\\u001b[2J"), "state: '?[2J' is"},
        {"devices/d2/state", state, "it is of another device, d1"},
        {"devices/d1/state", replaced(state, "5,", "1e300,"), "address is no whole number from 1 to 255"},
        {"devices/d1/state", replaced(state, "20.000000", "1e300"), "value is no number that can be measured"},
        {"devices/d1/state", replaced(state, "\"seq\":7", "\"seq\":-7"), "seq is no whole number"},
        {"devices/d1/state", replaced(state, "Oven", std::string(201, 'x')), "name is longer than 200 bytes"},
        {"buses/bus a/health", replaced(health, "\"d1\"", "\"<b>\""), "id is no id of a device"},
        {"buses/bus a/health", replaced(health, "1000", "1"), "period_ms is no whole number"},
        {"buses/bus a/health", replaced(health, "bus a", "bus b"), "it is of another bus, bus b"},
        {"devices/d1/alarm/low", AlarmOfHall("start"), "it is another alarm than its topic says"},
        {"devices/d1/alarm/high", replaced(AlarmOfHall("start"), "high", "odd"), "alarm is none that is known here"},
    };
    for (const auto& one : kCases) {
        FleetOfHall hall;
        hall.Hear(one.Topic, one.Payload);
        hall.Hear(one.Topic, one.Payload);
        ASSERT_EQ(hall.Said.size(), 1U) << one.Says;
        EXPECT_THAT(hall.Said[0], testing::StartsWith("hall: what it says is not used: "));
        EXPECT_THAT(hall.Said[0], testing::HasSubstr(one.Says));
        EXPECT_EQ(hall.Shown() + hall.TakeAlarms(), "hall/bus a hall.d1 -- offline") << one.Says;
    }
    FleetOfHall hall;
    hall.Hear("devices/d1/state", replaced(state, "Oven", "O\\u001bven"));
    EXPECT_EQ(hall.Shown(), "hall/bus a hall.d1 20.0 good");
    EXPECT_TRUE(hall.Said.empty());
}

Json AskFleet(const std::string& folder, const std::string& path) {
    const auto answer = station::AskHttp({.Socket = folder + "/station.sock", .Path = "/api/v1/" + path});
    return Json::parse(answer.Body);
}

TEST(Fleet, IsShownAsOneStation) {
    const Broker broker;
    const TestFolder folder;
    std::optional<Program> stations(std::in_place, Rehearsal(broker));
    Program fleet({"collect", "--mqtt", "mqtt://127.0.0.1:" + std::to_string(broker.Port), "--data", folder.Path});
    EXPECT_TRUE(fleet.AwaitError("MQTT broker: connected"));
    const auto await = [&](const std::string& path, const auto& isThere) {
        auto answer = AskFleet(folder.Path, path);
        for (int i = 0; i < 600 && !isThere(answer); ++i, answer = AskFleet(folder.Path, path))
            ::poll(nullptr, 0, 100);
        EXPECT_TRUE(isThere(answer)) << path << answer;
        return answer;
    };
    const auto are = [](std::size_t count, const std::string& quality) {
        return [=](const Json& answer) {
            const auto& values = answer["values"];
            return values.size() == count &&
                   std::ranges::all_of(values, [&](const Json& value) { return value["quality"] == quality; });
        };
    };
    await("values", are(6, "good"));
    const auto values = await("values?station=sim-2", are(2, "good"))["values"];
    EXPECT_EQ(values[0]["port"], "sim-2/bus");
    EXPECT_EQ(values[1]["id"], "sim-2.sim2-2");
    const auto metrics = station::AskHttp({.Socket = folder.Path + "/station.sock", .Path = "/metrics"}).Body;
    EXPECT_THAT(metrics, testing::HasSubstr(R"(nimbo1_up{port="sim-3/bus",station="sim-3",address="1")"));
    EXPECT_THAT(metrics, testing::Not(testing::HasSubstr("nimbo1_exchanges_total{")));
    const auto refused = station::AskHttp({.Socket = folder.Path + "/station.sock",
                                           .Method = "POST",
                                           .Path = "/api/v1/devices/sim-2.sim2-2/read",
                                           .Body = "{}"});
    EXPECT_EQ(refused.Status, 409);
    EXPECT_THAT(refused.Body, testing::HasSubstr("this is the matter of the station sim-2: ask there"));
    stations->Signal(SIGKILL);
    stations.reset();
    EXPECT_TRUE(fleet.AwaitError("is offline"));
    await("values", are(6, "offline"));
    const auto health = AskFleet(folder.Path, "health?bus=sim-1%2Fbus");
    EXPECT_EQ(health["buses"][0]["diagnosis"][0]["sentence"], "the station is offline");
    fleet.Signal(SIGTERM);
    EXPECT_EQ(fleet.Finish().Status, 0);
}

}  // namespace
}  // namespace orvix::tests
