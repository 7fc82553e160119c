#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/end_to_end/end_to_end_fixture.h"

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using testing::HasSubstr;

INSTANTIATE_TEST_SUITE_P(Driver, EndToEnd, testing::ValuesIn(kEveryPlacement), NameOfPlacement);

TEST_P(EndToEnd, ClosingWaitsForTheExchangeUnderWay) {
    Side->Adapter.OnLine(true);
    Host.Run(100);
    const auto entry = Side->Read("9", 100);
    const auto closing = Host.Apartment.CreateTimer([this] {
        if (!Side->Subscriber.Endpoint().PeerIsClosing()) Side->Subscriber.Endpoint().ClosePeer();
    });
    closing->Rearm(200, true);
    const Duration start = World.Scheduler.Now();
    EXPECT_TRUE(World.Scheduler.RunUntil([&] { return Side->Subscriber.ServerDestroyed; }, 10s));
    EXPECT_EQ(Requests(), 1);
    EXPECT_GE(World.Scheduler.Now() - start, 500ms);
    EXPECT_EQ(Side->Adapter.Driver(), nullptr);
    EXPECT_EQ(Line.Log.back(), "PortOpen=False");
    EXPECT_TRUE(entry->WaitForCompletion(0));
    EXPECT_FALSE(entry->Succeeded());
}

// On the host's thread the exchange holds up the time-out as well, so the driver's answer comes first. On its own the
// task has timed out when the driver is through, and that answer must reach nobody, least of all the next task.
TEST_P(EndToEnd, ALateAnswerReachesNoOtherTask) {
    Side->Adapter.NetRetry(3);
    Side->Adapter.OnLine(true);
    Host.Run(100);
    const auto late = Side->Read("9", 100, 300);
    const auto next = Side->Read("5");
    const Duration start = World.Scheduler.Now();
    Duration lateEnded{0};
    const auto watch = Host.Apartment.CreateTimer([&] {
        if (lateEnded == 0ns && late->WaitForCompletion(0)) lateEnded = World.Scheduler.Now() - start;
    });
    watch->Rearm(10, true);
    const std::string dead = Hex(BuildFrame(9, kTemperatureCommand, {}));
    for (int attempt = 0; attempt < 4; ++attempt)
        Line.Expect(dead, {});
    Expect(5, 21.5F);
    ASSERT_TRUE(Await(*next));
    EXPECT_GE(World.Scheduler.Now() - start, 2000ms);
    EXPECT_TRUE(next->Succeeded()) << next->Data().eDescr;
    EXPECT_EQ(Side->Temperature("5")->Value().ToSingle(), 21.5F);
    EXPECT_FALSE(late->Succeeded());
    EXPECT_FALSE(Side->Temperature("9")->Valid());
    EXPECT_EQ(lateEnded < 400ms, Apart());
    EXPECT_TRUE(Line.AllMet());
}

TEST_P(EndToEnd, ErrorsOfTheDriverReachWhoCausedThem) {
    cOrvixDriverNB1 plain(Host.Services);
    const Error expected = ErrorOf([&] { static_cast<iOrvixDriver&>(plain).PortType(7); });
    const Error raised = ErrorOf([&] { Side->Adapter.PortType(7); });
    EXPECT_EQ(raised.Number, errors::General);
    EXPECT_EQ(raised.Number, expected.Number);
    EXPECT_EQ(raised.Source, expected.Source);
    EXPECT_EQ(raised.Description, expected.Description);
    DriverHost.Database.OpenFails = true;
    const Error atPath = ErrorOf([&] { Side->Adapter.Path("/elsewhere"); });
    EXPECT_THAT(atPath.Description, HasSubstr("(cOrvixAdapterNB1.iOrvixAdapter_Path(rhs))"));
}

TEST_P(EndToEnd, EachApartmentTracesIntoItsOwnFiles) {
    EXPECT_EQ(Side->Adapter.Driver()->ThreadID(), DriverHost.Apartment.ThreadID());
    Side->Adapter.LogPath("/trace");
    Side->Adapter.LogMode(1);
    Side->Adapter.DebugMode(true);
    Side->Adapter.OnLine(true);
    ExpectGoodReading("5", 21.5F);
    const auto traced = [](TestHost& host, const std::string& text) {
        const auto& files = host.Stores.FileContents;
        return std::any_of(files.begin(), files.end(),
                           [&](const auto& file) { return file.second.find(text) != std::string::npos; });
    };
    EXPECT_TRUE(traced(Host, "Executed Reading Temp Device 5"));
    EXPECT_TRUE(traced(DriverHost, "cOrvixDriverNB1.Connect Port 3"));
    EXPECT_EQ(traced(Host, "cOrvixDriverNB1.Connect Port 3"), !Apart());
    EXPECT_NE(DriverHost.Reports.Window, nullptr);
}

TEST(DriverProxy, MayBeReleasedByWhatItsCallerDeliversMeanwhile) {
    World world;
    TestHost host(world, 1);
    TestHost home(world, 2);
    std::unique_ptr<iOrvixDriver> proxy = std::make_unique<platform::DriverProxy>(
        host.Apartment, home.Apartment, std::make_shared<cOrvixDriverNB1>(home.Services));
    host.Apartment.Post([&] { proxy.reset(); });
    EXPECT_THAT(proxy->ServerIPCName(), HasSubstr("Driver_NB1"));
    EXPECT_EQ(proxy, nullptr);
    world.Scheduler.RunFor(0ms);
    EXPECT_EQ(home.Reports.Window, nullptr);
}

}  // namespace
}  // namespace orvix::tests
