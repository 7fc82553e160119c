#include "station/run/capacity.h"

#include <cmath>

#include "devices/protocol/bus_line.h"
#include "devices/protocol/device_models.h"
#include "devices/protocol/frame.h"
#include "host/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds kTick{10};

nanoseconds ExchangeTime(const DeviceSetup& device) {
    const auto& model = DeviceModelOf(device.Model);
    const auto request = BuildFrame(device.Address, model.Measurement.Code, {});
    return kByteTime * static_cast<std::int64_t>(2 * request.size() + model.PayloadLength);
}

/// A tick sends a task, another completes it. A driver on the bus's own thread holds the second one up until it is due
/// at once; beside a driver on another thread it comes in its own time.
milliseconds TickTime(const BusSetup& bus) {
    return (bus.DriverThread ? 2 : 1) * kTick;
}

}  // namespace

milliseconds RoundTime(const BusSetup& bus) {
    nanoseconds time{0};
    for (const auto& device : bus.Devices)
        time += ExchangeTime(device) + TickTime(bus);
    return std::chrono::ceil<milliseconds>(time);
}

std::optional<std::string> FitPeriod(BusSetup& bus) {
    const auto round = RoundTime(bus);
    if (round <= bus.Every) return std::nullopt;
    const auto asked = bus.Every;
    bus.Every = (round + kTick - milliseconds(1)) / kTick * kTick;
    const auto seconds = std::ceil(static_cast<double>(round.count()) / 10) / 100;
    const auto count = bus.Devices.size();
    return Counted(count, "device") + (count == 1 ? " that answers needs " : " that answer need ") +
           NumberText(seconds) + " s a round at " + std::to_string(kBaud) + " baud; " + std::to_string(asked.count()) +
           " ms is not possible";
}

}  // namespace orvix::station
