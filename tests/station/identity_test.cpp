#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/device_models.h"
#include "devices/protocol/frame.h"
#include "station/library/serial_plan.h"
#include "station/run/health_book.h"
#include "station/run/identity_book.h"
#include "station/store/history_identities.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/history_fixture.h"
#include "tests/station/json_lines.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;

TEST(SerialPlan, AsksAtTheFirstAnswerAfterATimeWithoutAndOnceADay) {
    SerialPlan plan;
    Duration now = 100s;
    const auto settle = [&] {
        plan.Asked(5);
        EXPECT_FALSE(plan.IsDue(5, now)) << "it is being asked";
        plan.Ended(5, true, now);
        EXPECT_FALSE(plan.IsDue(5, now));
        EXPECT_TRUE(plan.IsSettled(5));
    };
    EXPECT_TRUE(plan.IsDue(5, now));
    settle();

    now += 24h - 1s;
    EXPECT_FALSE(plan.IsDue(5, now));
    now += 1s;
    EXPECT_TRUE(plan.IsDue(5, now));
    EXPECT_TRUE(plan.IsSettled(5)) << "its readings need not wait";
    settle();

    for (const bool isGood : {false, false, true, false, false})
        plan.Read(5, isGood);
    EXPECT_FALSE(plan.IsDue(5, now));
    plan.Read(5, false);
    EXPECT_TRUE(plan.IsDue(5, now));
    EXPECT_FALSE(plan.IsSettled(5));
    settle();
}

TEST(SerialPlan, GivesUpAfterThreeRequestsUntilTheNextTime) {
    SerialPlan plan;
    for (const bool isGivenUp : {false, false, true}) {
        EXPECT_TRUE(plan.IsDue(5, 1s));
        plan.Asked(5);
        plan.Ended(5, false, 1s);
        EXPECT_EQ(plan.IsSettled(5), isGivenUp);
    }
    EXPECT_FALSE(plan.IsDue(5, 1s));
    EXPECT_TRUE(plan.IsDue(5, 1s + 24h));
}

TEST(HealthBook, ADeviceThatTellsNoSerialNumberIsWell) {
    BusSetup bus;
    bus.PortLabel = "line";
    bus.Devices = {{7, 104, "Door", {}}};
    HealthBook book;
    book.OnSetup(bus);
    for (const auto code : {kDigitalModule.Measurement.Code, kSerialNumberCode}) {
        Exchange refused;
        refused.Port = "line";
        refused.Address = 7;
        refused.Asked = code;
        refused.Outcome = Outcome::Refused;
        book.OnExchange(refused);
    }
    EXPECT_EQ(book.At(1s, 0, {}).Buses.at(0).Addresses.at(0).Total.Count(Outcome::Refused), 1U);
}

DeviceIdentity Found(int address, const char* serialNumber, std::int32_t model = 106) {
    return {.Port = "line",
            .Address = address,
            .Model = model,
            .Name = {},
            .SerialNumber = serialNumber,
            .Identifier = {},
            .Remark = {}};
}

TEST(IdentityBook, GivesIdentifiersThatAreUniqueAndStay) {
    IdentityBook book;
    auto earlier = Found(20, "");
    earlier.Identifier = "d7";
    auto moved = Found(21, "OLD");
    moved.Identifier = "old";
    book.Know({earlier, moved});
    const struct {
        int Address;
        const char* SerialNumber;
        const char* Identifier;
        const char* Remark;
        bool HasGone = false;  ///< before
    } steps[] = {
        {5, "NB-0005/A", "nb-0005-a", ""},
        {5, "", "nb-0005-a", ""},
        {6, "", "d8", ""},
        {6, "x_9", "d8", ""},
        {7, "nb-0005:A", "nb-0005-a-2",
         "serial number nb-0005:A is also that of line, 5; this device is called nb-0005-a-2"},
        {7, "nb-0005:A", "nb-0005-a-2", ""},
        {5, "NB-0099", "nb-0099", "another device answers: serial number NB-0099, before it was NB-0005/A"},
        {7, "nb-0005:A", "nb-0005-a-2", ""},
        {5, "NB-0005/A", "nb-0005-a", "another device answers: serial number NB-0005/A, before it was NB-0099"},
        {8, "NB-0005/A", "nb-0005-a", "", true},
        {5, "", "d9", ""},
        {9, "old", "old", ""},
        {20, "", "d7", ""},
        {21, "", "d10", ""},
        {22, "d10", "d10-2", ""},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(std::to_string(step.Address) + " " + step.SerialNumber);
        if (step.HasGone) book.MayHaveGone(IdOf("line", 5));
        const auto identity = book.Take(Found(step.Address, step.SerialNumber));
        EXPECT_EQ(identity.Identifier, step.Identifier);
        EXPECT_EQ(identity.Remark, step.Remark);
    }
    EXPECT_EQ(book.Take(Found(6, "", 104)).Identifier, "d11") << "a device of another model is another one";
    EXPECT_FALSE(book.Expect(IdOf("line", 6), 106));
}

/// A history in which devices tell who they are.
struct IdentifiedHistory : HistoryTest {
    void Run(std::int64_t time, int address, const std::vector<std::string>& identifiers) {
        Begin({}, 1000, time);
        for (const auto& identifier : identifiers) {
            m_Pending->Watch({"line", address, 106, "Oven", "temperature"}, identifier, identifier, ClocksAt(time));
            auto reading = ReadingOf(address, time, 20.0);
            reading.Identifier = identifier;
            m_Pending->Add(reading, ClocksAt(time));
            time += kSecond;
        }
        End(time);
    }
    /// "id: number of readings", by the devices.
    std::vector<std::string> Devices() {
        auto reader = Reader(1000 * kSecond);
        std::vector<std::string> devices;
        for (const auto& device : reader.Find({}))
            devices.push_back(
                device.Id + ": " +
                std::to_string(reader.Summarize(device, {kStart, kStart + 1000 * kSecond}).Figures.Count));
        std::sort(devices.begin(), devices.end());
        return devices;
    }
};

TEST_F(IdentifiedHistory, FollowsDevicesFromPlaceToPlace) {
    Run(0, 5, {"abc"});
    Run(10 * kSecond, 9, {"abc"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 2"}));
    Run(20 * kSecond, 5, {"abc", "def", "d7"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 3", "d7: 1", "def: 1"}));
    const auto known = IdentitiesInHistory(m_File);
    ASSERT_EQ(known.size(), 3U);
    EXPECT_EQ(known.back().Identifier, "d7") << "it was the last one there";
}

TEST_F(IdentifiedHistory, WhatNobodyWasAskedForIsCalledAfterWhatIsFoundAtItsPlace) {
    Run(0, 5, {"d1"});
    platform::SqliteConnection(m_File).Execute("UPDATE devices SET serial = ''");
    EXPECT_TRUE(IdentitiesInHistory(m_File).empty());
    Run(10 * kSecond, 5, {"abc"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 2"}));
}

/// One device tells its serial number, one refuses that, one is not there. What they are called stays, from whichever
/// of the two files it is known.
TEST(Identities, AreNeverEmptyAndStay) {
    FaultyBus bus([](const std::string& request) {
        const auto address = static_cast<unsigned char>(request[2]);
        const auto code = request.substr(4, 2);
        if (address == 9) return std::string();
        if (code == std::string("\x0B\x00", 2)) return BuildFrame(address, code, RealToBytes(21.5F));
        return address == 5 ? BuildFrame(5, code, "N1") : std::string();
    });
    const TestFolder folder;
    const auto run = [&](const char* first) {
        const auto result = RunProgram({"run",
                                        "--data",
                                        folder.Path,
                                        "--json",
                                        "--every",
                                        "200ms",
                                        "--timeout-factor",
                                        "10",
                                        "--retries",
                                        "0",
                                        "--port",
                                        bus.Terminal.Path(),
                                        "--device",
                                        first,
                                        "--device",
                                        "6:sensor",
                                        "--device",
                                        "9:sensor",
                                        "--for",
                                        "1500ms"});
        std::map<int, std::set<std::string>> identifiers;
        for (const auto& told : Objects(result.Out)) {
            if (told["event"] == "reading") identifiers[told["address"]].insert(told["id"].get<std::string>());
        }
        return identifiers;
    };
    const auto told = run("5:sensor:Oven");
    EXPECT_EQ(told, (std::map<int, std::set<std::string>>{{5, {"n1"}}, {6, {"d1"}}, {9, {"d2"}}}));
    for (const char* gone : {"/history.db", "/Orvix.mdb"}) {
        std::filesystem::remove(folder.Path + gone);
        EXPECT_EQ(run("5:sensor"), told) << "without " << gone;
    }
}

/// Digits behind the point of any number.
std::size_t LongestFraction(const Json& json) {
    std::size_t longest = 0;
    const auto text = json.dump();
    if (json.is_number_float()) longest = text.size() - std::min(text.size(), text.find('.') + 1);
    for (const auto& part : json.is_structured() ? json : Json::array())
        longest = std::max(longest, LongestFraction(part));
    return longest;
}

/// One device answers, one does not: whoever tells of them uses the same words.
TEST(JsonOfAllCommands, HasTheSameNamesAndAnObjectForAFailure) {
    FaultyBus bus([](const std::string& request) {
        const auto address = static_cast<unsigned char>(request[2]);
        const auto code = request.substr(4, 2);
        if (address != 5) return std::string();
        return BuildFrame(5, code, code == std::string("\x0B\x00", 2) ? RealToBytes(21.5F) : std::string("N1"));
    });
    const TestFolder folder;
    const auto& port = bus.Terminal.Path();
    const std::vector<std::string> readings{"id",       "port",  "address", "model",  "name",
                                            "variable", "value", "valid",   "quality"};
    const struct {
        std::vector<std::string> Words;  ///< without folder and port
        std::vector<std::string> Keys;   ///< of each object of such an event
        std::string Event;
    } rows[] = {
        {{"run", "--device", "5:sensor:Oven", "--device", "9:sensor", "--retries", "0", "--for", "800ms"},
         readings,
         "reading"},
        {{"read", "temperature", "--device", "5:sensor", "--device", "9:sensor", "--retries", "0"},
         readings,
         "reading"},
        {{"history"}, readings, "reading"},
        {{"history"}, {"id", "port", "address", "valid", "quality", "error", "until", "count"}, "gap"},
        {{"history", "--summary"}, {"id", "port", "address", "model", "name", "variable", "mean"}, "summary"},
        {{"history", "--by", "minute"}, {"id", "port", "address", "model", "name", "variable", "mean"}, "figures"},
        {{"scan", "--from", "5", "--to", "5", "--remember"},
         {"port", "address", "model", "serial", "variable", "value"},
         "device"},
        {{"devices"}, {"id", "port", "address", "model", "name", "serial"}, "device"},
        {{"health"}, {"id", "port", "address", "model", "name", "quality", "last_good"}, "device_health"},
    };
    std::optional<Program> station;
    std::map<int, std::set<std::string>> identifiers;
    for (const auto& [words, keys, event] : rows) {
        SCOPED_TRACE(words[0] + ", " + event);
        auto all = words;
        for (const auto& word : {std::string("--json"), std::string("--data"), folder.Path})
            all.push_back(word);
        if (words[0] == "health") {
            station.emplace(std::vector<std::string>{"run", "--json", "--data", folder.Path, "--port", port});
            EXPECT_TRUE(station->AwaitOutput("\"value\":21.5"));
        } else {
            all.insert(all.end(), {"--port", port});
        }
        int seen = 0;
        for (const auto& object : Objects(RunProgram(all).Out)) {
            if (object["event"] != event) continue;
            ++seen;
            for (const auto& key : keys)
                EXPECT_TRUE(object.contains(key)) << key << " in " << object;
            EXPECT_TRUE(object["address"] != 5 || object.value("value", Json(21.5)) == 21.5) << object;
            EXPECT_LE(LongestFraction(object), 6U) << object;
            if (object.contains("id")) identifiers[object["address"]].insert(object["id"].dump());
            if (!object.contains("error")) continue;
            for (const char* key : {"code", "text", "detail"})
                EXPECT_TRUE(object["error"].contains(key)) << object;
        }
        EXPECT_GT(seen, 0);
    }
    EXPECT_EQ(identifiers, (std::map<int, std::set<std::string>>{{5, {"\"n1\""}}, {9, {"\"d1\""}}}));
}

}  // namespace
}  // namespace orvix::tests
