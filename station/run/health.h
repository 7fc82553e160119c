#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "station/model/exchange.h"
#include "station/model/reading.h"
#include "station/run/histogram.h"

namespace orvix::station {

/// How a reading ended, after as many exchanges as it took.
struct ReadingEnd {
    bool IsGood = false;
    bool IsDoubtful = false;
    bool HasNoValue = false;  ///< the answer was good and holds no value
};

/// What is counted of the exchanges with one address, or with all of a bus, over some time.
struct Tally {
    std::array<std::uint64_t, kOutcomes> Ends{};  ///< exchanges by how they ended
    std::uint64_t Retries = 0;
    std::uint64_t Echoes = 0;        ///< requests that came back
    std::uint64_t Doubled = 0;       ///< second answers to one request
    std::uint64_t Late = 0;          ///< answers that came after their time-out
    std::uint64_t OtherAddress = 0;  ///< answers that bore another address than was asked
    std::uint64_t Noises = 0;        ///< times that bytes came which are no answer
    std::uint64_t StrayBytes = 0;    ///< these bytes
    Duration LongestDelay{0};        ///< of an answer that came late; zero: none was measured
    Duration LongestDelayAtMost{0};  ///< of one whose delay was not measured, it is this at most
    std::uint64_t Readings = 0;
    std::uint64_t GoodReadings = 0;
    std::uint64_t DoubtfulReadings = 0;
    std::uint64_t NoValues = 0;  ///< readings whose answer was good and holds no value
    Histogram RoundTrips;        ///< of the exchanges that were answered
    Duration Periods{0};         ///< time between requests that are no retries, all together
    std::uint64_t PeriodCount = 0;

    void Add(const Tally& other);
    void Add(const Exchange& exchange);
    void Add(const ReadingEnd& reading);
    void Add(const Surplus& surplus);
    /// A time between two requests that are no retries.
    void Add(Duration period);

    std::uint64_t Count(Outcome outcome) const { return Ends[static_cast<std::size_t>(outcome)]; }
    std::uint64_t Exchanges() const { return std::accumulate(Ends.begin(), Ends.end(), std::uint64_t{0}); }
    std::uint64_t TimeOuts() const { return Count(Outcome::Silent) + Count(Outcome::CutShort) + Count(Outcome::Late); }
    std::uint64_t BadFrames() const { return Count(Outcome::Damaged) + Count(Outcome::Foreign); }
    /// Answers that came damaged.
    std::uint64_t Damaged() const {
        return Count(Outcome::CutShort) + Count(Outcome::Damaged) + Count(Outcome::Checksum);
    }
    /// Good exchanges as a share of all, 0 to 1; nothing without exchanges.
    std::optional<double> Success() const;
    /// Good readings as a share of all, 0 to 1; nothing without readings.
    std::optional<double> ReadingSuccess() const;
    /// Mean time between requests that are no retries; nothing when there is none.
    std::optional<Duration> Period() const;
};

struct AddressHealth {
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string Identifier;  ///< empty while it is not settled
    orvix::station::Quality Quality = orvix::station::Quality::Offline;
    ReadingValue Value;  ///< the latest good one; nothing when there has been none
    Tally Recent;        ///< of the last four to five minutes
    Tally Total;
    std::optional<Duration> LastGood;  ///< how long ago; nothing when there has been none
    std::uint64_t SilentInARow = 0;    ///< exchanges up to now without any answer
};

/// Why the port does not work.
struct PortFailure {
    std::string Reason;
    Duration Age{0};       ///< since the failure began
    bool WasOpen = false;  ///< it has worked before
};

/// What is wrong, where, and what to look at.
struct Finding {
    int Address = 0;  ///< 0: the bus
    std::string Sentence;

    bool operator==(const Finding&) const = default;
};

struct BusHealth {
    std::string Port;
    std::chrono::milliseconds Every{0};       ///< requested period
    std::chrono::milliseconds ReplyLimit{0};  ///< the time-out of an answer
    int Attempts = 1;                         ///< of an exchange, at most
    std::vector<AddressHealth> Addresses;     ///< in ascending order
    AddressHealth Idle;                       ///< what came on the line and is no address's
    double LoadLastMinute = 0;                ///< time that bytes took on the line, as a share of all time, 0 to 1
    double Load = 0;                          ///< the same since the start
    std::uint64_t PortFailures = 0;
    std::uint64_t RecentPortFailures = 0;  ///< of the last nine to ten minutes
    std::optional<PortFailure> PortDown;   ///< nothing while the port works
    std::string Trouble;                   ///< said of the bus since its latest good reading; empty: nothing
    /// Of a bus of another station, what that says of it; nothing is known here of its exchanges.
    std::optional<std::vector<Finding>> Told;

    /// All addresses and the idle line together, over the last minutes or since the start.
    Tally Sum(Tally AddressHealth::*of) const;
};

/// How all buses of a station are, at one moment.
struct StationHealth {
    std::int64_t UnixMilliseconds = 0;
    std::vector<BusHealth> Buses;
    std::optional<Duration> HistoryStill;  ///< how long nothing could be written into the history; nothing: it can be
};

}  // namespace orvix::station
