#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "host/text.h"
#include "tests/end_to_end/host_side.h"
#include "tests/support/error_of.h"

namespace orvix::tests {

/// Adapter and driver on a scripted line in virtual time, the driver in either place.
class EndToEnd : public testing::TestWithParam<Placement> {
protected:
    EndToEnd() { Side.emplace(Host.Services, "HOST", CreateDriver()); }
    ~EndToEnd() override {
        Side.reset();
        World.Scheduler.RunFor(Duration::zero());
        EXPECT_EQ(DriverHost.Reports.Window, nullptr);
    }

    bool Apart() const { return GetParam() == Placement::ApartmentOfItsOwn; }

    std::shared_ptr<iOrvixDriver> CreateDriver() { return DriverIn(DriverHost, Host); }

    /// The next request goes to this sensor, which answers.
    void Expect(std::int16_t address, float temperature) {
        Line.Expect(Hex(BuildFrame(address, kTemperatureCommand, {})),
                    {{BuildFrame(address, kTemperatureCommand, RealToBytes(temperature))}});
    }
    void ExpectGoodReading(const std::string& address, float temperature) {
        Expect(Variant(address).ToInteger(), temperature);
        const auto entry = Side->Read(address);
        EXPECT_TRUE(Await(*entry));
        EXPECT_TRUE(entry->Succeeded()) << entry->Data().eDescr;
        EXPECT_EQ(Side->Temperature(address)->Value().ToSingle(), temperature);
        EXPECT_TRUE(Line.AllMet());
    }
    void ExpectFailure(SharedEntry& entry, const std::string& text) {
        EXPECT_TRUE(Await(entry));
        EXPECT_FALSE(entry.Succeeded());
        EXPECT_THAT(entry.Data().eDescr, testing::HasSubstr(text));
    }
    bool Await(SharedEntry& entry) {
        return World.Scheduler.RunUntil([&] { return entry.WaitForCompletion(0); }, std::chrono::minutes(1));
    }
    std::ptrdiff_t Requests() const {
        return std::count_if(Line.Log.begin(), Line.Log.end(), [](const auto& e) { return e.starts_with("Output="); });
    }

    tests::World World;
    TestHost Host{World, 1};
    TestHost Other{World, 2};
    TestHost& DriverHost = Apart() ? Other : Host;
    ScriptedLine& Line = DriverHost.Line;
    std::optional<HostSide> Side;
};

inline std::string NameOfPlacement(const testing::TestParamInfo<Placement>& it) {
    return NameOf(it.param);
}

}  // namespace orvix::tests
