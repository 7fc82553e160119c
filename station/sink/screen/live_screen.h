#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "station/run/live_stream.h"
#include "station/run/output.h"
#include "station/sink/screen/layout.h"
#include "station/sink/screen/terminal.h"

namespace orvix::station {

/// The output of a station that people watch: a table of the latest values, repainted a few times a second at most, and
/// below it what the lines on standard error would say. These go to standard error as well when that is no terminal.
class LiveScreen final : public Output {
public:
    /// `out` is what the terminal is painted through. `lines` says what is said as without a screen; both outlive this.
    /// `quit` is called when the user ends the program by a key, or the terminal has gone.
    LiveScreen(std::unique_ptr<Terminal> terminal, LiveStream& out, Output& lines, platform::RealApartment& apartment,
               std::function<void()> quit);

    /// Where the values in the table come from.
    void Watch(std::function<std::vector<Reading>()> values) { m_Values = std::move(values); }
    /// The window has another size.
    void Resize();
    /// Gives the terminal back. Readings are shown no more; all else goes to standard error.
    void End();
    /// Gives the terminal back in a hurry, in a signal's handler right before the program ends without End.
    void RestoreTerminal() const { m_Terminal->Restore(); }

    void Show(const Reading& reading) override;
    void Show(const TraceLine&) override {}
    void Forget(const DeviceId& device) override { m_Content.Trends.erase(device); }
    void Tell(const EpisodeEvent& event) override;
    void Tell(const AlarmEvent& event) override;
    void Trouble(const std::string& port, const Failure& failure) override;
    void Message(const std::string& port, const std::string& text) override;
    void Note(const std::string& text) override;
    bool Progress(const std::string& text) override;

private:
    void AddEvent(const std::string& text, Style look);
    void PaintIfChanged();
    /// Unless what was painted last has not been taken yet.
    void Paint();
    /// `ready`: what standard input is ready for.
    void TakeKeys(short ready);
    void TakeKey(Key key);
    /// Bounds a scroll position by what there is to see.
    void ScrollTo(std::ptrdiff_t firstDevice);

    std::unique_ptr<Terminal> m_Terminal;
    platform::RealApartment& m_Apartment;
    std::function<void()> m_Quit;
    std::function<std::vector<Reading>()> m_Values = [] { return std::vector<Reading>(); };
    ScreenContent m_Content;
    const Duration m_Started;
    LiveStream& m_Out;
    Output& m_Lines;
    bool m_IsSaidInLines;  ///< on standard error, as without a screen
    bool m_Changed = true;
    Duration m_Painted{0};
    std::unique_ptr<Timer> m_Painting;
    std::unique_ptr<platform::DescriptorWatch> m_Keys;
};

/// The screen on standard output; null when that is no terminal for it.
std::unique_ptr<LiveScreen> OpenLiveScreen(LiveStream& out, Output& lines, platform::RealApartment& apartment,
                                           std::function<void()> quit);

}  // namespace orvix::station
