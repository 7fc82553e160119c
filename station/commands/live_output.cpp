#include "station/commands/live_output.h"

#include <unistd.h>

#include <iostream>
#include <string>

#include "station/sink/lines/journal.h"
#include "station/sink/lines/lines.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// For which a reader may stand still at the end of the command.
constexpr std::chrono::seconds kStillLimit{2};

constexpr char kOut[] = "standard output";
constexpr char kErr[] = "standard error";

}  // namespace

LiveOutput::LiveOutput(MainLoop& loop, bool json, bool namesPorts)
    : m_Out(STDOUT_FILENO, loop.Apartment(), EventsOf(kOut, [&loop] { loop.Stop(); })),
      m_Err(STDERR_FILENO, loop.Apartment(), EventsOf(kErr, nullptr)),
      m_Lines(json ? MakeJsonOutput(m_Out, m_Err) : MakePlainOutput(m_Out, m_Err, {namesPorts, ErrorsGoToJournal()})) {}

LiveStream::Events LiveOutput::EventsOf(const char* name, std::function<void()> onFailed) {
    const auto say = [this, name = std::string(name)](const std::string& text) { m_Lines->Note(name + text); };
    return {
        .OnDropping = [say] { say(" is not being read: new output is dropped"); },
        .OnCaughtUp =
            [say](std::uint64_t lines) { say(" is read again: " + Counted(lines, "line") + " were dropped"); },
        .OnFailed = std::move(onFailed),
    };
}

void LiveOutput::Finish() {
    if (!m_Out.Finish(kStillLimit) && !m_Out.Failed()) {
        const auto missing = m_Out.Missing();
        m_Lines->Note(std::string(kOut) + " was not read to its end" +
                      (missing > 0 ? ": " + Counted(missing, "line") + " are lost" : ""));
    }
    // What has to be told of it is told where that of all commands is.
    if (m_Out.Failed()) std::cout.setstate(std::ios_base::badbit);
    m_Err.Finish(kStillLimit);
}

}  // namespace orvix::station
