#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/sink/mqtt/history_payload.h"
#include "station/sink/mqtt/sending_pace.h"
#include "tests/station/json_lines.h"
#include "tests/station/mqtt_broker.h"

namespace orvix::tests {
namespace {

using station::SendingPace;

TEST(MqttHistory, RequestsAreUnderstoodOrPassedOver) {
    const auto good = station::HistoryRequestOf(R"({"from": 4711, "history": "u", "other": [1]})");
    ASSERT_TRUE(good);
    EXPECT_EQ(good->From, 4711);
    EXPECT_EQ(good->History, "u");
    EXPECT_EQ(station::HistoryRequestOf(R"({"from": 9223372036854775807})")->History, "");
    for (const char* bad : {"", "7", "{}", "{\"from\":7", "{\"from\":0}", "{\"from\":-1}", "{\"from\":1.5}",
                            "{\"from\":\"7\"}", "{\"from\":null}", "{\"from\":9223372036854775808}", "{\"from\":1e30}",
                            "{\"from\":1,\"history\":7}", "[{\"from\":7}]"})
        EXPECT_FALSE(station::HistoryRequestOf(bad)) << bad;
}

TEST(MqttHistory, AsMuchIsUnderWayAsTheBrokerAnswersSoon) {
    using std::chrono::milliseconds;
    const SendingPace::Time start{};
    SendingPace pace;
    pace.Connected();
    EXPECT_EQ(pace.Next(0, 0, start), 25);
    EXPECT_EQ(pace.Next(1, 1, start), 0) << "the first batch of a connection is alone";
    for (int i = 0; i < 40; ++i)
        pace.Taken(pace.Next(0, 0, start), milliseconds(100));
    EXPECT_EQ(pace.Next(3000, 15, start), 200);
    EXPECT_EQ(pace.Next(3000, 16, start), 0);
    EXPECT_EQ(pace.Next(3001, 15, start), 0);
    for (int i = 0; i < 20; ++i)
        pace.Taken(200, milliseconds(2000));
    EXPECT_EQ(pace.Next(0, 0, start), 10) << "on a slow line";

    pace.Lost(150, start, start);
    pace.Lost(150, start, start);
    for (int i = 0; i < 40; ++i)
        pace.Taken(150, milliseconds(1));
    EXPECT_EQ(pace.Next(0, 0, start), 200) << "such a batch was taken before";
    pace.TooLarge(200, start);
    EXPECT_EQ(pace.Next(0, 0, start), 100);

    SendingPace other;
    for (const auto after : {milliseconds(10), milliseconds(30'000)}) {
        for (int i = 0; i < 3; ++i)
            other.Taken(60, milliseconds(1));
        other.Lost(120, start, start + after);
    }
    EXPECT_EQ(other.Next(0, 0, start), 200) << "accidents";
    other.Lost(120, start, start + milliseconds(10));
    other.Lost(120, start, start + milliseconds(10));
    EXPECT_EQ(other.Next(0, 0, start), 60) << "a larger one than ever, each time it is sent";
    EXPECT_EQ(other.Next(0, 0, start + std::chrono::minutes(11)), 120) << "but it is tried again";
}

/// A station with simulated devices, one of them silent at times, that keeps a history.
struct Carrying {
    explicit Carrying(const Broker& broker, const std::string& mqtt = {}) {
        std::ofstream(Folder.Path + "/conf")
            << "[[bus]]\nport = \"simulated\"\nevery = \"100ms\"\n"
            << "[[bus.device]]\naddress = 5\nmodel = \"sensor\"\n[[bus.device]]\naddress = 7\nmodel = \"digital\"\n"
            << "[mqtt]\nstation = \"s1\"\nbroker = \"mqtt://127.0.0.1:" << broker.Port << "\"\n"
            << mqtt;
        Start();
    }
    void Start() {
        Station.emplace(std::vector<std::string>{"run", "--plain", "--config", Folder.Path + "/conf", "--data",
                                                 Folder.Path + "/d"});
    }
    void Kill() {
        Station->Signal(SIGKILL);
        Station->Finish();
    }
    void AwaitReadings() {
        for (int i = 0; i < 30; ++i)
            EXPECT_TRUE(Station->AwaitOutput("\n"));
    }
    /// The numbers of a run among its readings, with its UUID.
    std::set<std::pair<std::string, std::int64_t>> Recorded() const {
        platform::SqliteConnection connection(Folder.Path + "/d/history-simulated.db");
        platform::SqliteStatement row(connection,
                                      "SELECT uuid, r.seq FROM readings AS r JOIN series AS s ON s.id = r.series JOIN "
                                      "sessions AS o ON o.id = s.session");
        std::set<std::pair<std::string, std::int64_t>> recorded;
        while (row.Step())
            recorded.emplace(row.Text(0), row.LongNumber(1));
        return recorded;
    }

    TestFolder Folder;
    std::optional<Program> Station;
};

/// What comes at the topic of the history.
struct Receiver {
    /// Hears batches until one of them is as wanted.
    void HearUntil(Subscriber& from, const std::function<bool(const Json& batch)>& isWanted) {
        from.Await("nimbo1/s1/history", [&](const std::string& payload) {
            const auto batch = Json::parse(payload);
            Take(batch);
            return isWanted(batch);
        });
    }
    void Take(const Json& batch) {
        EXPECT_LE(batch["from"], To + 1) << "a hole";
        EXPECT_EQ(batch["skipped"], 0);
        std::int64_t last = batch["from"].get<std::int64_t>() - 1;
        for (const auto& row : batch["rows"]) {
            EXPECT_GT(row["n"], last);
            last = row["n"];
            if (row["event"] == "reading") Readings.emplace(row["session"], row["seq"]);
        }
        EXPECT_LE(last, batch["to"]);
        To = std::max<std::int64_t>(To, batch["to"]);
    }

    std::int64_t To = 0;
    std::set<std::pair<std::string, std::int64_t>> Readings;
};

TEST(MqttHistory, EveryRowArrivesInOrderWhoeverIsKilledMeanwhile) {
    Broker broker;
    Receiver receiver;
    const auto hasRows = [](const Json& batch) { return !batch["rows"].empty(); };
    auto live = std::make_unique<Subscriber>(broker);
    Carrying station(broker);
    receiver.HearUntil(*live, hasRows);
    station.AwaitReadings();
    receiver.HearUntil(*live, hasRows);
    broker.Signal(SIGSTOP);
    station.AwaitReadings();
    broker.Signal(SIGCONT);
    receiver.HearUntil(*live, hasRows);
    broker.Kill();
    live.reset();
    station.AwaitReadings();
    station.Kill();
    station.Start();
    station.AwaitReadings();
    station.Kill();

    const auto missed = station.Recorded();
    broker.Start();
    live = std::make_unique<Subscriber>(broker);
    station.Start();
    receiver.HearUntil(*live, [&](const Json&) { return std::ranges::includes(receiver.Readings, missed); });
    receiver.HearUntil(*live, [](const Json& batch) { return batch["rows"].size() > 3 && batch["rows"].size() < 60; });

    live->Say("nimbo1/s1/history/wanted", R"({"from": 2})");
    Receiver again;
    again.To = 1;
    const auto until = receiver.To;
    live->Await("nimbo1/s1/history", [&](const std::string& payload) {
        const auto batch = Json::parse(payload);
        // What is new comes between.
        if (batch["from"] <= again.To + 1) again.Take(batch);
        return again.To >= until;
    });
    EXPECT_GE(again.Readings.size(), missed.size());
    live->Say("nimbo1/s1/history/wanted", std::string(100'000, '{'));
    EXPECT_TRUE(station.Station->AwaitError("nimbo1/s1/history/wanted is ignored: it is too long"));

    const auto status = RunProgram({"mqtt", "status", "--json", "--data", station.Folder.Path + "/d"});
    const auto told = Json::parse(status.Out);
    EXPECT_EQ(told["broker"], "127.0.0.1:" + std::to_string(broker.Port));
    EXPECT_TRUE(told["trouble"].is_null() && told["connected_since"].is_string()) << told;
    EXPECT_GE(told["history"]["histories"][0]["acknowledged"], until);
    EXPECT_LT(told["history"]["backlog_rows"], 100);
    EXPECT_GT(told["history"]["rows_per_second"], 0);
    station.Station->Signal(SIGTERM);
    EXPECT_EQ(station.Station->Finish().Status, 0);
}

TEST(MqttHistory, WhatTheBrokerRefusesIsSaidAndWaits) {
    const TestFolder folder;
    const auto rights = folder.Path + "/rights";
    std::ofstream(rights) << "topic readwrite #\ntopic deny nimbo1/s1/history\n";
    Broker broker("allow_anonymous true\nmax_packet_size 1500\nacl_file " + rights + "\n");
    Carrying station(broker);
    EXPECT_TRUE(station.Station->AwaitError("does not take nimbo1/s1/history: Not authorized"));
    station.AwaitReadings();
    const auto status = RunProgram({"mqtt", "status", "--data", station.Folder.Path + "/d"});
    EXPECT_NE(status.Out.find("does not take nimbo1/s1/history"), std::string::npos) << status.Out;
    EXPECT_EQ(status.Status, 1);
    broker.Kill();
    const auto missed = station.Recorded();
    std::ofstream(rights) << "topic readwrite #\n";
    station.Kill();
    broker.Start();
    Subscriber live(broker);
    station.Start();
    Receiver receiver;
    receiver.HearUntil(live, [&](const Json&) { return std::ranges::includes(receiver.Readings, missed); });
}

}  // namespace
}  // namespace orvix::tests
