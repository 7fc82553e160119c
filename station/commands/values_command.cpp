#include <iostream>
#include <map>

#include "host/error.h"
#include "host/text.h"
#include "station/commands/commands.h"
#include "station/commands/watching.h"
#include "station/door/station_client.h"
#include "station/library/folders.h"

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
          m_Station(FindFolders(options.Data).Data),
          m_Output(OutputOf(options.Json, options.Port.empty())) {}

    void Show() {
        const auto values = m_Station.List("values", "values");
        if (!values) throw Error(errors::General, "no station is running with this data folder");
        for (const auto& value : *values) {
            const auto reading = ReadingOf(value);
            auto& shown = m_Shown[reading.Id()];
            const bool isNew = shown.first != reading.UnixMilliseconds || shown.second != reading.Quality;
            if (!isNew || !IsWanted(reading, m_Options)) continue;
            shown = {reading.UnixMilliseconds, reading.Quality};
            m_Output->Show(reading);
        }
    }

private:
    const ValuesOptions m_Options;
    const AskedStation m_Station;
    const std::unique_ptr<Output> m_Output;
    std::map<DeviceId, std::pair<std::int64_t, std::optional<Quality>>> m_Shown;
};

}  // namespace

int Execute(const ValuesOptions& options, MainLoop& loop) {
    NewValues values(options);
    if (options.Watch) {
        Watch(loop, kLookPeriod, [&] { values.Show(); });
    } else {
        values.Show();
    }
    return kDone;
}

}  // namespace orvix::station
