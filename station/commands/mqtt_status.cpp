#include <iomanip>
#include <iostream>
#include <sstream>

#include "station/commands/commands.h"
#include "station/door/station_client.h"
#include "station/json/json.h"
#include "station/library/folders.h"

namespace orvix::station {
namespace {

constexpr int kNameWidth = 10;

void ShowLine(const char* name, const std::string& text) {
    std::cout << std::left << std::setw(kNameWidth) << name << text << "\n";
}

void ShowTrouble(const Json& trouble) {
    if (!trouble.is_null()) ShowLine("trouble", trouble.get<std::string>());
}

void ShowHistory(const Json& history) {
    if (history.is_null()) return ShowLine("history", "is not carried");
    for (const auto& one : history.at("histories")) {
        const std::int64_t acknowledged = one.at("acknowledged");
        const std::int64_t newest = one.at("newest");
        ShowLine("history", one.at("history").get<std::string>() + ": the broker has all up to row " +
                                std::to_string(acknowledged) + ", " + std::to_string(newest - acknowledged) + " wait");
    }
    std::ostringstream rate;
    rate << std::fixed << std::setprecision(1) << history.at("rows_per_second").get<double>() << " rows/s";
    if (history.at("skipped_rows") != 0)
        rate << ", " << history.at("skipped_rows") << " removed before they could be sent";
    ShowLine("rate", rate.str());
    ShowTrouble(history.at("trouble"));
}

void ShowState(const Json& state) {
    const auto& since = state.at("connected_since");
    ShowLine("broker", state.at("broker").get<std::string>() +
                           (since.is_null() ? ", not connected" : ", connected since " + since.get<std::string>()));
    ShowLine("topics", state.at("topics"));
    ShowTrouble(state.at("trouble"));
    ShowHistory(state.at("history"));
}

bool IsWell(const Json& state) {
    const auto& history = state.at("history");
    const bool isCarried = history.is_null() || history.at("trouble").is_null();
    return isCarried && state.at("trouble").is_null() && !state.at("connected_since").is_null();
}

}  // namespace

int Execute(const MqttStatusOptions& options, MainLoop& /*loop*/) {
    int status = kDone;
    for (const auto& answer : AskStations(FindFolders(options.Data).Data, {.Path = "/api/v1/mqtt"})) {
        if (!answer.Failure.empty()) {
            std::cerr << "nimbo1: " << answer.Failure << std::endl;
            status = kFailed;
            continue;
        }
        const auto state = Json::parse(answer.Text);
        if (!IsWell(state)) status = kFailed;
        if (options.Json) {
            std::cout << Dump(state) << "\n";
        } else {
            ShowState(state);
        }
    }
    std::cout << std::flush;
    return status;
}

}  // namespace orvix::station
