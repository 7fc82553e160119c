#include <gtest/gtest.h>

#include "devices/protocol/device_models.h"
#include "station/library/serial_plan.h"
#include "station/run/health_book.h"
#include "station/run/identity_book.h"
#include "tests/station/history_fixture.h"

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

TEST(IdentityBook, GivesIdentifiersThatAreUniqueAndStay) {
    IdentityBook book;
    const struct {
        int Address;
        const char* SerialNumber;
        const char* Identifier;
        const char* Remark;
    } steps[] = {
        {5, "NB-0005/A", "nb-0005-a", ""},
        {5, "", "nb-0005-a", ""},
        {6, "", "", ""},
        {6, "x_9", "x_9", ""},
        {7, "nb-0005:A", "nb-0005-a-2",
         "serial number nb-0005:A is also that of line, 5 Oven; this device is called nb-0005-a-2"},
        {7, "nb-0005:A", "nb-0005-a-2", ""},
        {5, "NB-0099", "nb-0099", "another device answers: serial number NB-0099, before it was NB-0005/A"},
        {7, "nb-0005:A", "nb-0005-a-2", ""},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.SerialNumber);
        const auto identity = book.Take({.Port = "line",
                                         .Address = step.Address,
                                         .Name = "Oven",
                                         .SerialNumber = step.SerialNumber,
                                         .Identifier = {},
                                         .Remark = {}});
        EXPECT_EQ(identity.Identifier, step.Identifier);
        EXPECT_EQ(identity.Remark, step.Remark);
    }
}

/// A history in which devices tell who they are.
struct IdentifiedHistory : HistoryTest {
    void Run(std::int64_t time, int address, const std::vector<std::string>& identifiers) {
        Begin({}, 1000, time);
        for (const auto& identifier : identifiers) {
            m_Pending->Identify(IdOf("line", address), identifier, ClocksAt(time));
            Add(address, time, 20.0);
            // What is settled before the first reading comes with the series.
            m_Pending->Identify(IdOf("line", address), identifier, ClocksAt(time));
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

TEST_F(IdentifiedHistory, FollowsADeviceToAnotherPlace) {
    Run(0, 5, {"abc"});
    Run(10 * kSecond, 9, {"abc"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 2"}));
}

TEST_F(IdentifiedHistory, GivesADeviceThatTakesAPlaceItsOwnReadings) {
    Run(0, 5, {"abc", "def", "", "def"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 1", "def: 3"}));
    Run(10 * kSecond, 5, {"xyz"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 1", "def: 3", "xyz: 1"}));
    Run(20 * kSecond, 5, {"abc"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"abc: 2", "def: 3", "xyz: 1"}));
}

TEST_F(IdentifiedHistory, KeepsTheIdentifierThatADeviceHadWithoutASerialNumber) {
    Run(0, 5, {""});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"d1: 1"}));
    Run(10 * kSecond, 5, {"abc"});
    Run(20 * kSecond, 7, {"abc"});
    EXPECT_EQ(Devices(), (std::vector<std::string>{"d1: 3"}));
}

}  // namespace
}  // namespace orvix::tests
