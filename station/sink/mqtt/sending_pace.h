#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace orvix::station {

/// How many rows may be under way to a broker, and in one batch: as many as it answers in a fraction of a second, so
/// that what holds now is never long behind them, also on a slow line. Begins small with each connection.
class SendingPace {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::int64_t kLargestBatch = 200;
    static constexpr std::size_t kMostBatches = 16;

    void Connected() { m_Window = kFirstWindow; }
    /// How many rows another batch may have; 0: none now.
    std::int64_t Next(std::int64_t rowsUnderWay, std::size_t batchesUnderWay, Time now);
    /// The broker has taken a batch so long after it was sent.
    void Taken(std::int64_t rows, std::chrono::steady_clock::duration after);
    /// A batch is too large for the broker.
    void TooLarge(std::int64_t rows, Time now);
    /// The connection has ended with this batch under way. A broker that cannot say that a batch is too large ends the
    /// connection at once, each time.
    void Lost(std::int64_t rows, Time sent, Time now);

private:
    static constexpr std::int64_t kFirstWindow = 25;

    std::int64_t m_Window = kFirstWindow;
    std::int64_t m_Limit = kLargestBatch;  ///< rows of a batch
    Time m_WiderAt{};                      ///< when more are tried again
    std::int64_t m_Proven = 0;             ///< the most rows that the broker has taken in a batch
    int m_LostAtOnce = 0;                  ///< connections in a row
};

}  // namespace orvix::station
