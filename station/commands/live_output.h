#pragma once

#include <functional>
#include <memory>

#include "station/commands/main_loop.h"
#include "station/run/harmless_stream.h"
#include "station/run/live_stream.h"
#include "station/run/output.h"

namespace orvix::station {

/// Standard output and standard error of a command that goes on whether they are read or not. What had to be dropped is
/// said when that begins, and how much it was when it is over. The command ends when standard output can be written no
/// more.
class LiveOutput {
public:
    LiveOutput(MainLoop& loop, bool json, bool namesPorts = false);

    LiveStream& Out() { return m_Out; }
    LiveStream& Err() { return m_Err; }
    /// What is said there, a line each.
    Output& Lines() { return *m_Lines; }
    /// Waits for what has been said to be read, as long as it is.
    void Finish();

private:
    LiveStream::Events EventsOf(const char* name, std::function<void()> onFailed);

    LiveStream m_Out;
    LiveStream m_Err;
    HarmlessStream m_HarmlessOut{m_Out};
    HarmlessStream m_HarmlessErr{m_Err};
    std::unique_ptr<Output> m_Lines;
};

}  // namespace orvix::station
