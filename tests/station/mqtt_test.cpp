#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "station/mqtt/outgoing_messages.h"
#include "tests/station/json_lines.h"
#include "tests/station/mqtt_station.h"

namespace orvix::tests {
namespace {

using station::OutgoingMessages;
using testing::HasSubstr;

std::string AllThatWaits(OutgoingMessages& outgoing) {
    std::string all;
    while (const auto next = outgoing.Next())
        all += (next->Retained ? "!" : "") + next->Topic + "=" + next->Payload + " ";
    return all;
}

TEST(Mqtt, OfEachTopicTheNewestWaitsAndAnOldStateIsNeverSent) {
    OutgoingMessages outgoing(OutgoingMessages::Retained{{"alarm", "from before"}});
    outgoing.Put({"state", "of a time without a connection"});
    EXPECT_EQ(outgoing.TakeDropped(), 1U);
    outgoing.Put({"status", "online", true});
    EXPECT_FALSE(outgoing.Next());

    outgoing.TellAll({"status"});
    for (int i = 1; i <= 100000; ++i)
        outgoing.Put({i % 2 == 0 ? "a/state" : "b/state", std::to_string(i)});
    outgoing.Put({"alarm", "over", true});
    EXPECT_EQ(AllThatWaits(outgoing), "!status=online !alarm=over b/state=99999 a/state=100000 ");
    EXPECT_EQ(outgoing.TakeDropped(), 99998U);

    outgoing.Put({"a/state", "7"});
    outgoing.Disconnected();
    EXPECT_EQ(outgoing.TakeDropped(), 1U);
    outgoing.TellAll({"status"});
    EXPECT_EQ(AllThatWaits(outgoing), "!status=online !alarm=over ");
}

TEST(Mqtt, WhatIsNoLongerThereIsClearedUntilTheBrokerHasIt) {
    OutgoingMessages outgoing({{"d/1/alarm", "on"}, {"d/10/alarm", "on"}}, {"d/10/alarm", "d/3/alarm", "d/4/alarm"});
    outgoing.TellAll({});
    AllThatWaits(outgoing);
    outgoing.ClearBelow("d/1/");
    EXPECT_EQ(AllThatWaits(outgoing), "!d/1/alarm= ");
    outgoing.Disconnected();
    outgoing.TellAll({});
    EXPECT_EQ(AllThatWaits(outgoing), "!d/1/alarm= !d/10/alarm=on ");
    outgoing.ClearEarlier([](const std::string& topic) { return topic == "d/4/alarm"; });
    EXPECT_EQ(AllThatWaits(outgoing), "!d/3/alarm= ");
    for (const char* topic : {"d/1/alarm", "d/3/alarm"})
        outgoing.Cleared(topic);
    EXPECT_EQ(outgoing.Kept(), (OutgoingMessages::Retained{{"d/10/alarm", "on"}}));
}

constexpr char kDoor[] = "[[bus.device]]\naddress = 7\nmodel = \"digital\"\n";

/// The example of an event in the documents.
Json ExampleOf(const std::string& event) {
    std::ifstream document(NIMBO1_DOCS "/mqtt.md");
    for (std::string line; std::getline(document, line);)
        if (line.find("{\"time\":") == 0 && line.find("\"event\":\"" + event + "\"") != std::string::npos)
            return Json::parse(line);
    return {};
}

std::string TypeOf(const Json& value) {
    return value.is_null() ? "" : value.type_name();
}

/// Where nothing is said, the other one may say anything.
void ExpectSameKeysAndTypes(const Json& example, const Json& published) {
    EXPECT_FALSE(example.empty());
    for (const auto& [key, value] : example.items())
        EXPECT_TRUE(published.contains(key)) << key << " is not published";
    for (const auto& [key, value] : published.items()) {
        const auto type = TypeOf(value);
        EXPECT_TRUE(example.contains(key)) << key << " is not documented";
        const auto documented = TypeOf(example.value(key, Json()));
        EXPECT_TRUE(type.empty() || documented.empty() || type == documented) << key << " is " << value;
    }
}

TEST(Mqtt, LiveValuesAreSentAndWhatIsKeptByTheBrokerFollowsTheStation) {
    const Broker broker;
    Subscriber live(broker);
    Reporting station(At(broker), kDoor);
    live.Await("nimbo1/s1/status", "online");
    std::string id;
    live.Await("nimbo1/s1/buses/hall 1%2Fa/health", [&](const std::string& payload) {
        const auto health = Json::parse(payload);
        for (const auto& device : health["devices"])
            if (device["address"] == 7 && device["id"].is_string()) id = device["id"];
        return !id.empty() && health["port"] == "hall 1/a";
    });
    const auto state = Json::parse(live.Await("nimbo1/s1/devices/" + id + "/state", IsSomething).Payload);
    EXPECT_EQ(state["quality"], "good");
    EXPECT_EQ(state["session"].get<std::string>().size(), 36U);
    EXPECT_GT(state["seq"], 0);
    ExpectSameKeysAndTypes(ExampleOf("reading"), state);

    Subscriber later(broker);
    const auto alarms = [](const std::string& payload) { return Json::parse(payload)["alarm"] == "low"; };
    std::string cold;
    const auto isState = [&](const std::string& payload) {
        const auto reading = Json::parse(payload);
        if (reading["address"] == 5) cold = reading["id"];
        return true;
    };
    later.AwaitAny("/availability", [](const std::string& payload) { return payload == "online"; });
    Subscriber states(broker);
    while (cold.empty())
        EXPECT_FALSE(states.AwaitAny("/state", isState).WasKept);
    const auto alarm = "nimbo1/s1/devices/" + cold + "/alarm/";
    const auto low = Subscriber(broker).Await(alarm + "low", alarms);
    EXPECT_TRUE(low.WasKept);
    ExpectSameKeysAndTypes(ExampleOf("alarm"), Json::parse(low.Payload));
    const auto high = Json::parse(Subscriber(broker).Await(alarm + "high", IsSomething).Payload);
    EXPECT_EQ(high["state"], "over") << "it has never been on";
    ExpectSameKeysAndTypes(ExampleOf("alarm"), high);
    station.Limits = "low = 84.0\n";
    station.Configure(At(broker), kDoor);
    station.Station->Signal(SIGHUP);
    live.Await(alarm + "high", "");

    station.Reload(At(broker) + "topic = \"site/a\"\n");
    EXPECT_TRUE(station.Station->AwaitError("reconnects to the MQTT broker"));
    live.Await("site/a/s1/status", "online");
    live.Await("nimbo1/s1/devices/" + id + "/availability", "");
    station.Station->Signal(SIGTERM);
    live.Await("site/a/s1/status", "offline");
    EXPECT_EQ(station.Station->Finish().Status, 0);
}

TEST(Mqtt, HomeAssistantIsToldOfDevicesWhenItStartsAndOfThoseThatWereRemovedMeanwhile) {
    const Broker broker;
    Subscriber live(broker);
    const auto mqtt = At(broker) + "home_assistant = true\ndiscovery_prefix = \"ha\"\n";
    Reporting station(mqtt, kDoor);
    const auto isModule = [](const std::string& payload) { return payload.find("\"Input 7\"") != std::string::npos; };
    const auto module = live.AwaitAny("/config", isModule).Topic;
    EXPECT_EQ(module.find("ha/device/nimbo1_s1_"), 0U);
    live.Say("ha/status", "online");
    live.Await(module, isModule);
    live.AwaitAny("/availability", [](const std::string& payload) { return payload == "online"; });
    live.AwaitAny("/state", IsSomething);
    station.Station->Signal(SIGTERM);
    EXPECT_EQ(station.Station->Finish().Status, 0);
    station.Configure(mqtt);
    station.Start();
    live.Await(module, "");
    Subscriber later(broker);
    EXPECT_TRUE(later.AwaitAny("/config", IsSomething).WasKept);
}

TEST(Mqtt, ABrokerThatIsGoneOrStandsStillHoldsUpNothingAndIsSaidOnce) {
    Broker broker;
    Reporting station(At(broker));
    EXPECT_TRUE(station.Station->AwaitError(": connected; topics begin with nimbo1/s1/"));
    broker.Kill();
    EXPECT_TRUE(station.Station->AwaitError("MQTT broker 127.0.0.1:"));
    station.AwaitReadings();
    broker.Start();
    EXPECT_TRUE(station.Station->AwaitError("connected again"));
    {
        Subscriber live(broker);
        EXPECT_TRUE(live.Await("nimbo1/s1/status", "online").WasKept);
        live.AwaitAny("/state", IsSomething);
    }
    broker.Signal(SIGSTOP);
    station.AwaitReadings();
    station.Station->Signal(SIGTERM);
    const auto result = station.Station->Finish();
    EXPECT_EQ(result.Status, 0);
    EXPECT_THAT(result.Err, HasSubstr("live states not sent"));
}

TEST(Mqtt, ANameThatNobodyGaveIsKept) {
    const Broker broker;
    const TestFolder folder;
    std::string names[2];
    for (auto& name : names) {
        Program station({"run", "--plain", "--no-history", "--data", folder.Path, "--mqtt",
                         "mqtt://localhost:" + std::to_string(broker.Port)});
        EXPECT_TRUE(station.AwaitError("topics begin with nimbo1/"));
        station.Signal(SIGTERM);
        const auto text = station.Finish().Err;
        name = text.substr(text.find("nimbo1/") + 7);
        name = name.substr(0, name.find('/'));
        EXPECT_EQ(name + "\n", ContentsOf(folder.Path + "/mqtt-station"));
    }
    EXPECT_EQ(names[0], names[1]);
}

}  // namespace
}  // namespace orvix::tests
