#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/apartment.h"

namespace orvix::station {

/// How an exchange has ended.
enum class Outcome {
    Good,
    Silent,    ///< no byte came in time
    CutShort,  ///< only a part of the answer came in time
    Damaged,   ///< what came is no frame
    Checksum,
    Refused,
    Foreign,   ///< the answer to another request came instead, or its tail; or the request itself, as an echo
    Late,      ///< no whole answer came in time, but those to the requests before came after their time
    LineLost,  ///< the port failed
};
inline constexpr std::size_t kOutcomes = 9;

/// What came on a line on top of the answers that were waited for, or in place of them.
struct Surplus {
    enum class Kind {
        Noise,         ///< bytes that are no answer
        Doubled,       ///< a second answer to one request
        Late,          ///< an answer whose request had timed out
        OtherAddress,  ///< an answer that bears another address than was asked
    };
    int Address = 0;  ///< who was asked; of noise, whose answer it was around, 0 on the idle line
    Kind What = Kind::Noise;
    std::size_t Bytes = 0;        ///< of Noise
    Duration Delay{0};            ///< of Late: from the end of the request to the end of the answer
    bool IsDelayMeasured = true;  ///< else it is this at most

    bool operator==(const Surplus&) const = default;
};

/// One request on a line and what became of it.
struct Exchange {
    std::string Port;
    int Address = 0;
    std::string Asked;  ///< command code of the request
    orvix::station::Outcome Outcome = orvix::station::Outcome::Good;
    bool IsEcho = false;           ///< the request came back; of Foreign: instead of an answer
    Duration Sent{0};              ///< when the request was sent, by the clock of the line's events
    Duration RoundTrip{0};         ///< from there to the last byte of the answer; of Good and Refused. Zero when the
                                   ///< device answers late, so that it may be the answer to the request before
    int Attempt = 0;               ///< of the same request, 0 the first
    std::vector<Surplus> Extras;   ///< what came on top of what was waited for, since the exchange before ended
    std::size_t BytesAfter = 0;    ///< that came together with the answer, behind it
    std::string ReplyCode;         ///< the command code that the answer bears; empty without a whole answer
    bool OuterChecksumOk = false;  ///< of the answer
    std::string Payload;           ///< of Good
    bool HasOtherCode = false;     ///< of Good: its code is not that of most answers to this request
    bool FollowsDamage = false;    ///< of Good: answers of this address have come damaged of late
    bool HasWrongSum = false;      ///< of Good: its outer checksum is wrong, that of most of those was right
};

}  // namespace orvix::station
