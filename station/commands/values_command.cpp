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
          m_Folder(FindFolders(options.Data).Data),
          m_Output(OutputOf(options.Json, options.Port.empty())) {}

    void Show() {
        bool isAny = false;
        for (const auto& socket : SocketsOf(m_Folder)) {
            const auto values = AskedStation(m_Folder, socket).List("values", "values");
            if (!values) continue;
            isAny = true;
            for (const auto& value : *values)
                ShowIfNew(ReadingOf(value), m_Shown[socket]);
        }
        if (!isAny) throw Error(errors::General, "no station is running with the data folder " + m_Folder);
    }

private:
    /// Time and quality of what has been shown of each device.
    using State = std::pair<std::int64_t, std::optional<Quality>>;
    using Shown = std::map<DeviceId, State>;

    void ShowIfNew(const Reading& reading, Shown& shown) {
        auto& last = shown[reading.Id()];
        const State is{reading.UnixMilliseconds, reading.Quality};
        if (last == is || !IsWanted(reading, m_Options)) return;
        last = is;
        m_Output->Show(reading);
    }

    const ValuesOptions m_Options;
    const std::string m_Folder;
    const std::unique_ptr<Output> m_Output;
    std::map<std::string, Shown> m_Shown;  ///< by the station's socket
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
