// What stations tell at a broker: lines of "TOPIC PAYLOAD", a "!" before the topic for what the broker has kept.

#include <cmath>
#include <string>

#include "fuzz/support/require.h"
#include "host/characters.h"
#include "platform/virtual_apartment.h"
#include "station/fleet/fleet.h"
#include "station/run/station_run.h"

namespace orvix::fuzz {
namespace {

using namespace station;

void RequireShown(const std::string& text) {
    Require(Printable(text) == text, "a text can be shown");
}

class ShownFleet : private Listener {
public:
    ShownFleet() { m_Run.Add(*this); }

    void Hear(std::string_view line) {
        MqttHeard message;
        message.WasKept = line.starts_with("!");
        if (message.WasKept) line.remove_prefix(1);
        const auto blank = line.find(' ');
        message.Topic = line.substr(0, blank);
        if (blank != std::string_view::npos) message.Payload = line.substr(blank + 1);
        m_Fleet.Hear({message});
        m_Time.RunFor(std::chrono::milliseconds(100));
    }

    void Check() const {
        for (const auto& value : m_Run.Values()) {
            const auto* degrees = std::get_if<double>(&value.Value);
            Require(degrees == nullptr || std::isfinite(*degrees), "a value is a number");
            for (const auto& text : {value.Port, value.Name, value.Identifier})
                RequireShown(text);
        }
        for (const auto& bus : m_Fleet.Setups()) {
            Require(bus.Every >= kShortestPeriod, "a period is one");
            RequireShown(m_Fleet.SentencesOf(bus.PortLabel).OfBus);
        }
    }

private:
    void OnAlarm(const AlarmEvent& event) override {
        RequireShown(event.Text() + event.Alarm + event.Name + event.Identifier + event.Port);
    }

    platform::VirtualScheduler m_Time{FromUnixMilliseconds(1'766'000'000'000)};
    platform::VirtualApartment m_Home{m_Time};
    Fleet m_Fleet{"b",
                  m_Home,
                  {.Tell = [](const std::string& text) { RequireShown(text); },
                   .Listen = [](const std::vector<MqttTopic>&) {},
                   .Changed = [this] { m_Run.Apply(m_Fleet.Setups()); }}};
    StationRun m_Run{m_Fleet, "0c9d1f55-0000-4000-8000-000000000000"};
};

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    orvix::fuzz::ShownFleet fleet;
    while (!text.empty()) {
        const auto end = text.find('\n');
        fleet.Hear(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    fleet.Check();
    return 0;
}
