#include <iostream>

#include "station/commands/commands.h"
#include "station/door/control_client.h"
#include "station/door/health_requests.h"
#include "station/library/folders.h"

namespace orvix::station {
namespace {

// A station answers at once unless its computer is very busy, other clients keep it, or somebody has stopped it.
constexpr std::chrono::seconds kAnswerLimit{10};

}  // namespace

int Execute(const HealthOptions& options, MainLoop&) {
    const auto folder = FindFolders(options.Data).Data;
    const auto answers = AskStations(folder, options.Json ? kHealthJsonRequest : kHealthRequest, kAnswerLimit);
    int status = kDone;
    for (const auto& answer : answers) {
        if (!answer.Failure.empty()) {
            std::cerr << "nimbo1: " << answer.Failure << std::endl;
            status = kFailed;
            continue;
        }
        if (answers.size() > 1 && !options.Json) std::cout << "station of process " << answer.Process << "\n";
        std::cout << answer.Text;
    }
    return status;
}

}  // namespace orvix::station
