#include <gtest/gtest.h>

#include "station/run/bus_change.h"

namespace orvix::tests {
namespace {

using station::BusSetup;
using station::DeviceSetup;

BusSetup BusOn(const std::string& port, std::vector<DeviceSetup> devices) {
    BusSetup bus;
    bus.PortLabel = port;
    bus.Devices = std::move(devices);
    return bus;
}

TEST(BusChange, TouchesOnlyWhatDiffers) {
    const DeviceSetup five{5, 106, "Oven", {}};
    auto hot = five;
    hot.Limits.High = 30;
    auto slow = BusOn("b", {five});
    slow.Every = std::chrono::seconds(7);

    struct Case {
        const char* What;
        std::vector<BusSetup> Wanted;
        std::vector<std::string> Changes;
    };
    const std::vector<BusSetup> running{BusOn("a", {five, {7, 104, "Door", {}}}), BusOn("b", {five})};
    const std::vector<Case> cases = {
        {"the same", running, {}},
        {"another order", {running[1], running[0]}, {}},
        {"one bus goes, one comes", {running[0], BusOn("c", {five})}, {"b stopped", "c started"}},
        {"another period", {running[0], slow}, {"b restarts with changed settings"}},
        {"devices",
         {BusOn("a", {{5, 106, "Kiln", {}}, {9, 106, {}, {}}}), running[1]},
         {"a removed device 7, added device 9, renamed device 5 to Kiln"}},
        {"a name taken back is kept", {BusOn("a", {{5, 106, {}, {}}, {7, 104, "Door", {}}}), running[1]}, {}},
        {"another model", {running[0], BusOn("b", {{5, 104, "Oven", {}}})}, {"b removed device 5, added device 5"}},
        {"limits", {running[0], BusOn("b", {hot})}, {"b changed the limits of device 5"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.What);
        std::vector<std::string> changes;
        for (const auto& change : ChangesBetween(running, row.Wanted))
            changes.push_back(change.Port + " " + change.Text);
        EXPECT_EQ(changes, row.Changes);
    }
}

}  // namespace
}  // namespace orvix::tests
