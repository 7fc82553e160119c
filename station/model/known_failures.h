#pragma once

#include <span>
#include <string>

#include "station/model/reading.h"

namespace orvix::station {

/// What a reading fails by, as it is said, and what helps.
struct KnownFailure {
    ErrorNumber Code;
    const char* Sentence;  ///< "..." for what differs
    const char* Cure;
};

inline constexpr char kAnswersLate[] = "The device answers after the time-out.";
inline constexpr char kRequestCameBack[] =
    "The request came back instead of an answer: the converter echoes what is sent.";

/// All of them; of one number the most usual first.
std::span<const KnownFailure> KnownFailures();

/// What helps against a failure; empty for one that is not known, whose sentence says all there is.
std::string CureOf(const Failure& failure);

}  // namespace orvix::station
