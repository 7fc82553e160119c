#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "station/bus/reading.h"
#include "station/output/trace_line.h"

namespace orvix::station {

/// How a station tells what happens: readings and trace lines to standard output, the rest to standard error, or all of
/// it as JSON.
class Output {
public:
    virtual ~Output() = default;
    virtual void Show(const Reading& reading) = 0;
    virtual void Show(const TraceLine& line) = 0;
    virtual void Trouble(const std::string& port, const Failure& failure) = 0;
    virtual void Message(const std::string& port, const std::string& text) = 0;
    /// A word to a person; never on the output that a program reads.
    virtual void Note(const std::string& text) = 0;
};

/// One line a reading.
std::unique_ptr<Output> MakePlainOutput(std::ostream& out, std::ostream& err);
/// One JSON object a line: {"time","event",...}.
std::unique_ptr<Output> MakeJsonOutput(std::ostream& out, std::ostream& err);

/// A bare value: "21.5", "5", a serial number.
std::string ValueText(const Reading& reading);

}  // namespace orvix::station
