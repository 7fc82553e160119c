#pragma once

#include <string>

#include "station/model/alarm.h"
#include "station/model/reading.h"
#include "station/model/trace_line.h"
#include "station/run/episodes.h"

namespace orvix::station {

/// How a station tells what happens: readings and trace lines to standard output, the rest to standard error, or all of
/// it as JSON.
class Output {
public:
    virtual ~Output() = default;
    virtual void Show(const Reading& reading) = 0;
    virtual void Show(const TraceLine& line) = 0;
    /// A device is there no longer; what is kept of it goes.
    virtual void Forget(const DeviceId&) {}
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

}  // namespace orvix::station
