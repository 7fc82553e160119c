#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "station/alarms/alarm_book.h"
#include "station/bus/reading.h"
#include "station/output/episodes.h"
#include "station/output/trace_line.h"

namespace orvix::station {

/// How a station tells what happens: readings and trace lines to standard output, the rest to standard error, or all of
/// it as JSON.
class Output {
public:
    virtual ~Output() = default;
    virtual void Show(const Reading& reading) = 0;
    virtual void Show(const TraceLine& line) = 0;
    /// What begins to fail, and what does so no longer.
    virtual void Tell(const EpisodeEvent& event) = 0;
    /// An alarm that starts or ends.
    virtual void Tell(const AlarmEvent& event) = 0;
    /// A failure that ends a command.
    virtual void Trouble(const std::string& port, const Failure& failure) = 0;
    virtual void Message(const std::string& port, const std::string& text) = 0;
    /// A word to a person; never on the output that a program reads.
    virtual void Note(const std::string& text) = 0;
    /// How far something is, in place of what it said before; empty: it is done. False when the output has no place for
    /// that.
    virtual bool Progress(const std::string& /*text*/) { return false; }
};

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
