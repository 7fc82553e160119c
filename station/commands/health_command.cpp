#include <iostream>

#include "station/bus/folders.h"
#include "station/commands/commands.h"
#include "station/control/control_client.h"
#include "station/health/health_requests.h"

namespace orvix::station {
namespace {

// A station answers at once unless its computer is very busy, or somebody has stopped it.
constexpr std::chrono::seconds kAnswerLimit{4};

}  // namespace

int Execute(const HealthOptions& options, MainLoop&) {
    const auto folder = FindFolders(options.Data).Data;
    const auto answers = AskStations(folder, options.Json ? kHealthJsonRequest : kHealthRequest, kAnswerLimit);
    for (const auto& answer : answers) {
        if (answers.size() > 1 && !options.Json) std::cout << "station of process " << answer.Process << "\n";
        std::cout << answer.Text;
    }
    return kDone;
}

}  // namespace orvix::station
