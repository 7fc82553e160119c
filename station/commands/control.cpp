#include "station/commands/control.h"

#include "platform/file_descriptor.h"
#include "station/door/health_requests.h"
#include "station/door/health_text.h"

namespace orvix::station {

std::unique_ptr<ControlServer> OpenControl(const std::string& dataFolder, Apartment& home,
                                           const std::function<StationHealth()>& health, Output& output) {
    try {
        platform::CreateFolders(dataFolder);
        auto control = std::make_unique<ControlServer>(
            dataFolder, home,
            ControlServer::Requests{{kHealthRequest, [health] { return PlainHealth(health()); }},
                                    {kHealthJsonRequest, [health] { return JsonHealth(health()); }}});
        if (const auto other = control->OtherStation()) {
            output.Note("another station (process " + std::to_string(*other) + ") uses the data folder " + dataFolder +
                        " too; both work, and nimbo1 health shows both");
        }
        return control;
    } catch (const Error& error) {
        output.Note("nimbo1 health cannot ask this station: " + error.Description);
        return nullptr;
    }
}

}  // namespace orvix::station
