#include "station/sink/screen/terminal.h"

#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "station/run/harmless_stream.h"

#define NCURSES_NOMACROS
#include <ncurses.h>
#include <term.h>

namespace orvix::station {
namespace {

constexpr int kEscapeDelayMs = 25;

constexpr int kQuitKey = 'q';
constexpr int kRedrawKey = 'L' - '@';  // with Ctrl

struct ColourOf {
    Style Look;
    short Colour;
};

constexpr ColourOf kColours[] = {
    {Style::Good, COLOR_GREEN}, {Style::Warning, COLOR_YELLOW}, {Style::Bad, COLOR_RED}, {Style::Trend, COLOR_CYAN}};

constexpr std::size_t kStyles = static_cast<std::size_t>(Style::Trend) + 1;

struct KeyCode {
    int Code;
    Key Meaning;
};

constexpr KeyCode kKeys[] = {{KEY_UP, Key::Up},          {KEY_DOWN, Key::Down}, {KEY_PPAGE, Key::PageUp},
                             {KEY_NPAGE, Key::PageDown}, {KEY_HOME, Key::Home}, {KEY_END, Key::End},
                             {kRedrawKey, Key::Redraw},  {kQuitKey, Key::Quit}};

std::size_t IndexOf(Style look) {
    return static_cast<std::size_t>(look);
}

std::string Environment(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr ? std::string() : value;
}

/// A capability of the terminal; empty when it has none of that name.
std::string Capability(const char* name) {
    const char* text = tigetstr(name);
    // -1: the name is not one of a text.
    const bool isText = text != nullptr && reinterpret_cast<std::intptr_t>(text) != -1;
    return isText ? std::string(text) : std::string();
}

bool CanBePaintedOn() {
    if (::isatty(STDOUT_FILENO) == 0) return false;
    // In the background, a change of the terminal's settings would stop the program.
    if (::tcgetpgrp(STDOUT_FILENO) != ::getpgrp()) return false;
    const auto kind = Environment("TERM");
    if (kind.empty() || kind == "dumb") return false;
    int error = 0;
    return setupterm(kind.c_str(), STDOUT_FILENO, &error) == OK && !Capability("cup").empty() &&
           !Capability("clear").empty();
}

}  // namespace

std::unique_ptr<Terminal> Terminal::Open(std::ostream& out) {
    if (!CanBePaintedOn()) return nullptr;
    std::setlocale(LC_CTYPE, "");
    auto terminal = std::unique_ptr<Terminal>(new Terminal(out));
    return terminal->m_Ended ? nullptr : std::move(terminal);
}

Terminal::Terminal(std::ostream& out)
    : m_Out(out),
      m_Drawn(::fdopen(::memfd_create("screen", MFD_CLOEXEC), "w")),
      m_IsUtf8(std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0) {
    ::tcgetattr(STDOUT_FILENO, &m_Before);
    for (const auto* name : {"rmkx", "sgr0", "op", "cnorm", "rmcup"})
        m_Restoring += Capability(name);
    // The screen library would catch it on whichever thread.
    std::signal(SIGTSTP, SIG_IGN);
    m_Ended = !m_Drawn || newterm(nullptr, m_Drawn.get(), stdin) == nullptr;
    if (m_Ended) return;
    TakeOver();
    PrepareColours();
    PrepareKeys();
    curs_set(0);
    Resize();
}

/// Makes the settings that the screen library relies on: keys come at once and unchanged, lines are fed as they are.
void Terminal::TakeOver() const {
    auto settings = m_Before;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL);
    settings.c_lflag |= ISIG;
    settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR);
    settings.c_oflag &= ~static_cast<tcflag_t>(ONLCR);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    // Ctrl-C alone is to interrupt: keys that suspend the program or its output would stop the polling of the buses.
    settings.c_cc[VSUSP] = _POSIX_VDISABLE;
    settings.c_cc[VQUIT] = _POSIX_VDISABLE;
    settings.c_iflag &= ~static_cast<tcflag_t>(IXON);
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &settings);
}

void Terminal::PrepareColours() {
    m_Attributes.assign(kStyles, A_NORMAL);
    m_Attributes[IndexOf(Style::Dim)] = A_DIM;
    for (const auto look : {Style::Heading, Style::Bad})
        m_Attributes[IndexOf(look)] = A_BOLD;
    if (!Environment("NO_COLOR").empty() || !has_colors()) return;
    start_color();
    use_default_colors();
    short pair = 1;
    for (const auto& [look, colour] : kColours) {
        init_pair(pair, colour, -1);
        m_Attributes[IndexOf(look)] |= static_cast<unsigned>(COLOR_PAIR(pair));
        ++pair;
    }
}

void Terminal::PrepareKeys() {
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(kEscapeDelayMs);
}

void Terminal::Send() {
    const int drawn = ::fileno(m_Drawn.get());
    std::string bytes(static_cast<std::size_t>(std::max<off_t>(::lseek(drawn, 0, SEEK_CUR), 0)), '\0');
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(::pread(drawn, bytes.data(), bytes.size(), 0), 0)));
    ::lseek(drawn, 0, SEEK_SET);
    Steer(m_Out, bytes);
}

ScreenSize Terminal::Size() const {
    return {.Columns = getmaxx(stdscr), .Rows = getmaxy(stdscr)};
}

void Terminal::Paint(const std::vector<StyledLine>& picture) {
    werase(stdscr);
    int y = 0;
    for (const auto& line : picture) {
        wmove(stdscr, y++, 0);
        for (const auto& span : line) {
            wattrset(stdscr, static_cast<int>(m_Attributes[IndexOf(span.Look)]));
            waddnstr(stdscr, span.Text.data(), static_cast<int>(span.Text.size()));
        }
    }
    wattrset(stdscr, A_NORMAL);
    wrefresh(stdscr);
    Send();
}

void Terminal::Resize() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) return;
    resizeterm(size.ws_row, size.ws_col);
    clearok(stdscr, TRUE);
}

std::optional<Key> Terminal::ReadKey() {
    const int code = wgetch(stdscr);
    if (code == ERR) return std::nullopt;
    for (const auto& key : kKeys) {
        if (key.Code == code) return key.Meaning;
    }
    return Key::Other;
}

void Terminal::End() {
    if (m_Ended) return;
    m_Ended = true;
    endwin();
    Send();
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &m_Before);
    std::signal(SIGTSTP, SIG_DFL);
}

void Terminal::Restore() const {
    // One that is stopped would keep the program.
    pollfd terminal{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&terminal, 1, 0) == 1) {
        [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, m_Restoring.data(), m_Restoring.size());
    }
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &m_Before);
}

}  // namespace orvix::station
