#pragma once

#include <memory>

#include "station/commands/live_output.h"
#include "station/commands/main_loop.h"
#include "station/sink/screen/live_screen.h"

namespace orvix::station {

/// The live screen of a program, which hears of the terminal's window and of a forced end. None when the terminal is
/// not one for it.
class ScreenSession {
public:
    ScreenSession(MainLoop& loop, LiveOutput& output);
    ~ScreenSession() { End(); }
    ScreenSession(const ScreenSession&) = delete;
    ScreenSession& operator=(const ScreenSession&) = delete;

    /// Null when there is none.
    LiveScreen* Get() { return m_Screen.get(); }
    /// Takes the screen down, so that what is said from now on stays to be read.
    void End();

private:
    MainLoop& m_Loop;
    std::unique_ptr<LiveScreen> m_Screen;
};

}  // namespace orvix::station
