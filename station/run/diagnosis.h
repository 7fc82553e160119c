#pragma once

#include <string>
#include <vector>

#include "station/run/health.h"

namespace orvix::station {

/// What can be wrong, and what to do or to look at. Words in capitals, and the number of an address, stand for what is
/// found.
struct FindingText {
    const char* Sentence;
    const char* Cure;
};

/// All that Diagnose can find, in the order in which it looks.
std::vector<FindingText> AllFindingTexts();

/// What is wrong with a bus, at most one finding for it and one for each address, the bus first. An address has none
/// when it is well, or when what it has follows from what the bus has. Nothing when all is well. Of another station's
/// bus it is what that says.
std::vector<Finding> Diagnose(const BusHealth& bus);

}  // namespace orvix::station
