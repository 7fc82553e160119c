#pragma once

#include <iosfwd>
#include <memory>

#include "station/run/output.h"

namespace orvix::station {

struct LineStyle {
    bool NamesPorts = false;  ///< each line tells its port: there are several
    bool ForJournal = false;  ///< what is said has the severity prefixes of the journal, which knows the program's name
};

/// One line a reading; of failed ones in a row only that which makes the device's value stale, and that which makes it
/// offline.
std::unique_ptr<Output> MakePlainOutput(std::ostream& out, std::ostream& err, LineStyle style = {});
/// One JSON object a line: {"time","event",...}.
std::unique_ptr<Output> MakeJsonOutput(std::ostream& out, std::ostream& err);

}  // namespace orvix::station
