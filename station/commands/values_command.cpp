#include <filesystem>
#include <map>
#include <optional>
#include <tuple>

#include "host/error.h"
#include "host/text.h"
#include "station/commands/line_reading.h"
#include "station/commands/watching.h"
#include "station/door/station_client.h"
#include "station/library/folders.h"
#include "station/store/device_registry.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLookPeriod{1};

bool IsWanted(const Reading& reading, const ValuesOptions& options) {
    if (!options.Port.empty() && reading.Port != options.Port) return false;
    return options.Device.empty() || std::to_string(reading.Address) == options.Device ||
           reading.Identifier == options.Device || EqualsIgnoringCase(reading.Name, options.Device);
}

/// Shows the readings that have come since the last time.
class NewValues {
public:
    explicit NewValues(const ValuesOptions& options)
        : m_Options(options),
          m_Folder(FindFolders(options.Data).Data),
          m_Output(OutputOf(options.Json, options.Port.empty())) {}

    /// Returns how many readings are wanted, new or not; nothing when no station is running.
    std::optional<std::size_t> Show() {
        std::optional<std::size_t> wanted;
        for (const auto& socket : SocketsOf(m_Folder)) {
            const auto values = AskedStation(m_Folder, socket).List("values", "values");
            if (!values) continue;
            wanted = wanted.value_or(0);
            for (const auto& value : *values) {
                const auto reading = ReadingOf(value);
                if (!IsWanted(reading, m_Options)) continue;
                ++*wanted;
                ShowIfNew(reading, m_Shown[socket]);
            }
        }
        return wanted;
    }

private:
    /// Time and quality of what has been shown of each device.
    using State = std::pair<std::int64_t, std::optional<Quality>>;
    using Shown = std::map<DeviceId, State>;

    void ShowIfNew(const Reading& reading, Shown& shown) {
        auto& last = shown[reading.Id()];
        const State is{reading.UnixMilliseconds, reading.Quality};
        if (last == is) return;
        last = is;
        m_Output->Show(reading);
    }

    const ValuesOptions m_Options;
    const std::string m_Folder;
    const std::unique_ptr<Output> m_Output;
    std::map<std::string, Shown> m_Shown;  ///< by the station's socket
};

[[noreturn]] void FailWithoutStation(const ValuesOptions& options) {
    throw Error(errors::General, "no station is running with the data folder " + FindFolders(options.Data).Data);
}

/// The devices that are known on a port which no station has, read on the line itself.
int ReadKnown(const ValuesOptions& options, MainLoop& loop) {
    const auto station = OpenStation(options.Data);
    BusSetup setup;
    setup.PortLabel = setup.PortPath = options.Port;
    setup.PortNumber = station->Ports.Of(options.Port);
    for (const auto& known : DeviceRegistry(station->Folders.Database).Devices(options.Port)) {
        Reading reading;
        std::tie(reading.Port, reading.Address, reading.Name) = std::tie(known.Port, known.Address, known.Name);
        if (IsWanted(reading, options)) setup.Devices.push_back({known.Address, known.Model, known.Name, {}});
    }
    if (setup.Devices.empty()) {
        throw Error(errors::General, "no station reads " + options.Port +
                                         ", and no device is known there: find some with nimbo1 scan --remember");
    }
    const auto output = OutputOf(options.Json);
    Listener nobody;
    return ReadOnLine(
        *station, loop, setup, nobody, options.Json, [](Bus& bus, int address) { return bus.Read(address); },
        [&](const Reading& reading) { output->Show(reading); });
}

}  // namespace

int Execute(const ValuesOptions& options, MainLoop& loop) {
    NewValues values(options);
    if (options.Watch) {
        Watch(loop, kLookPeriod, [&] {
            if (!values.Show()) FailWithoutStation(options);
        });
        return kDone;
    }
    const auto wanted = values.Show();
    std::error_code error;
    const bool isPort = std::filesystem::exists(options.Port, error);
    if (isPort && wanted.value_or(0) == 0) return ReadKnown(options, loop);
    if (!wanted) FailWithoutStation(options);
    return kDone;
}

}  // namespace orvix::station
