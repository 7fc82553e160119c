#include "station/door/station_client.h"

#include <unistd.h>

#include <filesystem>
#include <list>

#include "host/error.h"
#include "station/json/json.h"

namespace orvix::station {
namespace {

constexpr int kFirstFailure = 300;

/// The sentence of a problem; what was answered as it is when it is none.
std::string DetailOf(const std::string& body) {
    const auto problem = Json::parse(body, nullptr, false);
    return problem.is_object() && problem.contains("detail") ? problem["detail"].get<std::string>() : body;
}

StationAnswer AnswerOf(const HttpAnswer& answer) {
    const auto station =
        answer.Process == 0 ? std::string("a station") : "the station of process " + std::to_string(answer.Process);
    if (answer.Status == 0) return {answer.Process, {}, station + " does not answer: " + answer.Failure};
    if (answer.Status >= kFirstFailure) return {answer.Process, {}, station + ": " + DetailOf(answer.Body)};
    return {answer.Process, answer.Body, {}};
}

/// Those that are there. One that only might have the socket, and cannot be opened, is left out.
std::list<SocketFolder> FoldersToAsk(const std::string& dataFolder) {
    std::list<SocketFolder> folders;
    for (const auto& place : PlacesToAsk(dataFolder)) {
        std::error_code error;
        if (!std::filesystem::is_directory(place.Folder, error)) continue;
        if (place.Prefix.empty()) {
            folders.emplace_back(place);
        } else if (::access(place.Folder.c_str(), R_OK | X_OK) == 0) {
            Attempt([&] { folders.emplace_back(place); });
        }
    }
    return folders;
}

}  // namespace

std::set<std::string> SocketsOf(const std::string& folder) {
    std::set<std::string> sockets;
    for (const auto& place : FoldersToAsk(folder)) {
        const auto names = place.Names();
        sockets.insert(names.begin(), names.end());
    }
    return sockets;
}

std::vector<StationAnswer> AskStations(const std::string& folder, HttpQuestion question) {
    std::vector<StationAnswer> answers;
    for (const auto& place : FoldersToAsk(folder)) {
        for (const auto& name : place.Names()) {
            question.Socket = place.PathOf(name);
            const auto answer = AskHttp(question);
            if (!answer.IsRefused) answers.push_back(AnswerOf(answer));
        }
    }
    if (answers.empty()) throw Error(errors::General, "no station is running with the data folder " + folder);
    return answers;
}

std::optional<std::string> AskedStation::Text(HttpQuestion question) const {
    for (const auto& place : FoldersToAsk(m_Folder)) {
        question.Socket = place.PathOf(m_Socket);
        const auto answer = AskHttp(question);
        if (answer.IsRefused) continue;
        const auto told = AnswerOf(answer);
        if (!told.Failure.empty()) throw Error(errors::General, told.Failure);
        return told.Text;
    }
    return std::nullopt;
}

std::optional<Json> AskedStation::Ask(HttpQuestion question) const {
    const auto text = Text(std::move(question));
    if (!text) return std::nullopt;
    return Json::parse(text->empty() ? "null" : *text, nullptr, false);
}

std::optional<std::vector<Json>> AskedStation::List(const std::string& path, const char* key) const {
    std::vector<Json> all;
    for (auto next = path + "?limit=1000"; !next.empty();) {
        auto page = Ask({.Path = "/api/v1/" + next});
        if (!page) return std::nullopt;
        for (auto& row : (*page)[key])
            all.push_back(std::move(row));
        next = (*page)["next"].is_string() ? (*page)["next"].get<std::string>() : "";
    }
    return all;
}

std::optional<std::string> AskedStation::BusOn(const std::optional<std::string>& portPath) const {
    const auto station = Ask({.Path = "/api/v1/station"});
    if (!station) return std::nullopt;
    const auto& buses = (*station)["buses"];
    if (!portPath && buses.size() != 1) {
        throw Error(errors::General, std::string("the station that runs has ") +
                                         (buses.empty() ? "no bus yet" : "several buses: name one with --port PATH"));
    }
    for (const auto& bus : buses) {
        std::error_code error;
        const std::string path = bus["port_path"];
        // A port has several names.
        if (!portPath || path == *portPath || std::filesystem::equivalent(path, *portPath, error)) return bus["bus"];
    }
    return std::nullopt;
}

std::string AskedStation::IdOf(const std::string& bus, int address) const {
    const auto devices = List("devices", "devices");
    if (devices) {
        for (const auto& device : *devices) {
            if (device["bus"] == bus && device["address"] == address) return device["id"];
        }
    }
    throw Error(errors::General, "the station that runs on " + bus + " does not read address " +
                                     std::to_string(address) + ": end it, or add the device to it");
}

}  // namespace orvix::station
