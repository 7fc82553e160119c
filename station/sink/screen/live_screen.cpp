#include "station/sink/screen/live_screen.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "host/characters.h"
#include "station/model/clock.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kPaintingPeriodMs = 250;

// Ages go on without any reading.
constexpr Duration kLongestUnpainted = std::chrono::seconds(1);

// For which the terminal may stand still while it is given back.
constexpr std::chrono::seconds kLongestEnd{1};

constexpr std::size_t kMostEvents = 200;

Style LookOf(EpisodeEvent::Kind kind) {
    switch (kind) {
        case EpisodeEvent::Kind::Began:
            return Style::Bad;
        case EpisodeEvent::Kind::Unsteady:
            return Style::Warning;
        default:
            return Style::Good;
    }
}

}  // namespace

std::unique_ptr<LiveScreen> OpenLiveScreen(LiveStream& out, Output& lines, platform::RealApartment& apartment,
                                           std::function<void()> quit) {
    auto terminal = Terminal::Open(out);
    return terminal ? std::make_unique<LiveScreen>(std::move(terminal), out, lines, apartment, std::move(quit))
                    : nullptr;
}

LiveScreen::LiveScreen(std::unique_ptr<Terminal> terminal, LiveStream& out, Output& lines,
                       platform::RealApartment& apartment, std::function<void()> quit)
    : m_Terminal(std::move(terminal)),
      m_Apartment(apartment),
      m_Quit(std::move(quit)),
      m_Started(apartment.Now()),
      m_Out(out),
      m_Lines(lines),
      m_IsSaidInLines(::isatty(STDERR_FILENO) == 0),
      m_Painting(apartment.CreateTimer([this] { PaintIfChanged(); })) {
    m_Content.IsUtf8 = m_Terminal->IsUtf8();
    m_Painting->Rearm(kPaintingPeriodMs, true);
    if (::isatty(STDIN_FILENO) != 0) {
        m_Keys = apartment.Watch(STDIN_FILENO, POLLIN, [this](short ready) { TakeKeys(ready); });
    }
}

void LiveScreen::End() {
    m_Painting->Enabled(false);
    m_Keys.reset();
    m_Terminal->End();
    // Before anything else is said there.
    m_Out.WaitUntilIdle(kLongestEnd);
    m_IsSaidInLines = true;
}

void LiveScreen::Resize() {
    m_Terminal->Resize();
    Paint();
}

void LiveScreen::Show(const Reading& reading) {
    ++m_Content.Readings;
    if (!reading.Valid()) ++m_Content.FailedReadings;
    // What is doubtful would only spoil the scale.
    m_Content.Trends[reading.Id()].Take(reading.IsGood() ? reading.Value : ReadingValue());
    m_Changed = true;
}

void LiveScreen::Tell(const EpisodeEvent& event) {
    if (m_IsSaidInLines) m_Lines.Tell(event);
    AddEvent(TextOf(event), LookOf(event.What));
}

void LiveScreen::Tell(const AlarmEvent& event) {
    const auto device = event.Address == 0 ? "" : ", " + std::to_string(event.Address) + " " + event.Name;
    AddEvent(event.Port + device + ": " + TextOf(event), event.IsOn() ? Style::Bad : Style::Good);
}

bool LiveScreen::Progress(const std::string& text) {
    m_Content.Progress = Printable(text);
    m_Changed = true;
    return true;
}

void LiveScreen::Trouble(const std::string& port, const Failure& failure) {
    if (m_IsSaidInLines) m_Lines.Trouble(port, failure);
    AddEvent(port + ": " + failure.Text, Style::Bad);
}

void LiveScreen::Message(const std::string& port, const std::string& text) {
    if (m_IsSaidInLines) m_Lines.Message(port, text);
    AddEvent(port + ": " + text, Style::Dim);
}

void LiveScreen::Note(const std::string& text) {
    if (m_IsSaidInLines) m_Lines.Note(text);
    AddEvent(text, Style::Plain);
}

void LiveScreen::AddEvent(const std::string& text, Style look) {
    m_Content.Events.push_back({UnixMilliseconds(), Printable(text), look});
    if (m_Content.Events.size() > kMostEvents) m_Content.Events.pop_front();
    m_Changed = true;
}

void LiveScreen::PaintIfChanged() {
    if (m_Changed || m_Apartment.Now() - m_Painted >= kLongestUnpainted) Paint();
}

void LiveScreen::Paint() {
    m_Changed = true;
    if (!m_Out.IsIdle()) return;
    m_Content.Values = m_Values();
    m_Content.UnixMilliseconds = UnixMilliseconds();
    m_Content.Running = m_Apartment.Now() - m_Started;
    ScrollTo(static_cast<std::ptrdiff_t>(m_Content.FirstDevice));
    m_Terminal->Paint(LayOut(m_Content, m_Terminal->Size()));
    m_Painted = m_Apartment.Now();
    m_Changed = false;
}

void LiveScreen::TakeKeys(short ready) {
    if ((ready & POLLIN) == 0 || (ready & POLLHUP) != 0) {
        // The terminal has gone.
        m_Keys.reset();
        return m_Quit();
    }
    while (const auto key = m_Terminal->ReadKey())
        TakeKey(*key);
    Paint();
}

void LiveScreen::TakeKey(Key key) {
    const auto first = static_cast<std::ptrdiff_t>(m_Content.FirstDevice);
    const auto page = static_cast<std::ptrdiff_t>(DevicesShown(m_Content, m_Terminal->Size()));
    switch (key) {
        case Key::Up:
            return ScrollTo(first - 1);
        case Key::Down:
            return ScrollTo(first + 1);
        case Key::PageUp:
            return ScrollTo(first - page);
        case Key::PageDown:
            return ScrollTo(first + page);
        case Key::Home:
            return ScrollTo(0);
        case Key::End:
            return ScrollTo(static_cast<std::ptrdiff_t>(m_Content.Values.size()));
        case Key::Redraw:
            return m_Terminal->Resize();
        case Key::Quit:
            return m_Quit();
        case Key::Other:
            return;
    }
}

void LiveScreen::ScrollTo(std::ptrdiff_t firstDevice) {
    const auto shown = DevicesShown(m_Content, m_Terminal->Size());
    const auto last = static_cast<std::ptrdiff_t>(m_Content.Values.size() - shown);
    m_Content.FirstDevice = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(firstDevice, 0, last));
}

}  // namespace orvix::station
