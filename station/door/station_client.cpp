#include "station/door/station_client.h"

#include <filesystem>

#include "host/error.h"
#include "station/door/socket_folder.h"
#include "station/json/json.h"

namespace orvix::station {
namespace {

constexpr int kOk = 200;

/// The sentence of a problem; what was answered as it is when it is none.
std::string DetailOf(const std::string& body) {
    const auto problem = Json::parse(body, nullptr, false);
    return problem.is_object() && problem.contains("detail") ? problem["detail"].get<std::string>() : body;
}

StationAnswer AnswerOf(const HttpAnswer& answer) {
    const auto station =
        answer.Process == 0 ? std::string("a station") : "the station of process " + std::to_string(answer.Process);
    if (answer.Status == 0) return {answer.Process, {}, station + " does not answer: " + answer.Failure};
    if (answer.Status != kOk) return {answer.Process, {}, station + ": " + DetailOf(answer.Body)};
    return {answer.Process, answer.Body, {}};
}

}  // namespace

std::vector<StationAnswer> AskStations(const std::string& folder, HttpQuestion question) {
    std::vector<StationAnswer> answers;
    if (std::filesystem::is_directory(folder)) {
        const SocketFolder place(folder);
        for (const auto& name : place.Names()) {
            question.Socket = place.PathOf(name);
            const auto answer = AskHttp(question);
            if (!answer.IsRefused) answers.push_back(AnswerOf(answer));
        }
    }
    if (answers.empty()) throw Error(errors::General, "no station is running with the data folder " + folder);
    return answers;
}

}  // namespace orvix::station
