#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvix::station {

struct MqttConnectionState {
    std::optional<std::int64_t> Since{};  ///< milliseconds since 1970; nothing while there is none
    std::string Trouble{};                ///< a sentence without its end; empty: nothing is wrong
};

/// How far a broker has come with one history.
struct MqttHistoryState {
    std::string History;            ///< UUID of its file
    std::int64_t Acknowledged = 0;  ///< number of the last row that it has, with all before
    std::int64_t Newest = 0;        ///< of the newest row
};

/// What is carried to a broker out of the histories.
struct MqttCarriageState {
    std::vector<MqttHistoryState> Histories;
    double RowsPerSecond = 0;  ///< taken by the broker, in the last ten seconds
    std::int64_t Taken = 0;    ///< rows, since the broker was set
    std::int64_t Skipped = 0;  ///< rows that were removed before they could be sent, likewise
    std::string Trouble{};     ///< as in MqttConnectionState

    std::int64_t Backlog() const {
        std::int64_t rows = 0;
        for (const auto& one : Histories)
            rows += one.Newest - one.Acknowledged;
        return rows;
    }
};

/// How a station and its broker get on.
struct MqttState {
    std::string Broker;  ///< "HOST:PORT"
    std::string Topics;  ///< begin of all of them, "nimbo1/hall-1/"
    MqttConnectionState Connection;
    std::optional<MqttCarriageState> Carriage{};  ///< nothing: histories are not carried
};

}  // namespace orvix::station
