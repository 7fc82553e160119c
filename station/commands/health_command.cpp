#include <unistd.h>

#include <iostream>

#include "station/commands/commands.h"
#include "station/commands/watching.h"
#include "station/door/station_client.h"
#include "station/json/json.h"
#include "station/library/folders.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kHealthPeriod{2};

/// An object a line: each bus, its devices behind it, and the history while nothing can be written into it.
void WriteHealthLines(const std::string& text) {
    auto health = Json::parse(text);
    for (auto& bus : health["buses"]) {
        const auto devices = std::move(bus["devices"]);
        bus.erase("devices");
        std::cout << Dump(bus) << "\n";
        for (const auto& device : devices)
            std::cout << Dump(device) << "\n";
    }
    if (!health["history"]["standing_still_ms"].is_null()) std::cout << Dump(health["history"]) << "\n";
}

bool IsHistoryWritten(const std::string& text) {
    return Json::parse(text)["history"]["standing_still_ms"].is_null();
}

/// Returns the exit status.
int ShowHealth(const HealthOptions& options) {
    HttpQuestion question{.Path = "/api/v1/health"};
    if (!options.Json && !options.Quiet) question.Headers.emplace_back("Accept: text/plain");
    const auto answers = AskStations(FindFolders(options.Data).Data, question);
    int status = kDone;
    for (const auto& answer : answers) {
        if (!answer.Failure.empty()) {
            std::cerr << "nimbo1: " << answer.Failure << std::endl;
            status = kFailed;
            continue;
        }
        if (options.Quiet) {
            if (!IsHistoryWritten(answer.Text)) status = kFailed;
            continue;
        }
        if (options.Json) {
            WriteHealthLines(answer.Text);
            continue;
        }
        if (answers.size() > 1) std::cout << "station of process " << answer.Process << "\n";
        std::cout << answer.Text;
    }
    std::cout << std::flush;
    return status;
}

}  // namespace

int Execute(const HealthOptions& options, MainLoop& loop) {
    if (!options.Watch) return ShowHealth(options);
    const bool clears = !options.Json && ::isatty(STDOUT_FILENO) == 1;
    Watch(loop, kHealthPeriod, [&] {
        if (clears) std::cout << "\x1b[H\x1b[2J";
        ShowHealth(options);
    });
    return kDone;
}

}  // namespace orvix::station
