#include "station/sink/screen/layout.h"

#include <algorithm>
#include <set>

#include "station/model/clock.h"
#include "station/model/text.h"
#include "station/sink/screen/device_table.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// Below this many rows the table has all of them, above the second there is room for blank lines.
constexpr int kRowsForEvents = 10;
constexpr int kRowsForSpace = 16;

constexpr int kTitleHeaderAndStatus = 3;

// "21:04:11  " behind the margin.
constexpr int kEventIndent = 11;

struct Areas {
    int Space = 0;  ///< blank lines: below the title, and above the events
    int Devices = 0;
    int Events = 0;  ///< with their heading
};

Areas Divide(const ScreenContent& content, ScreenSize size) {
    Areas areas;
    areas.Space = size.Rows >= kRowsForSpace ? 1 : 0;
    const bool hasEvents = size.Rows >= kRowsForEvents;
    const int leastEvents = hasEvents ? std::clamp(size.Rows / 5, 2, 6) + 1 : 0;
    const int rest = std::max(size.Rows - kTitleHeaderAndStatus - 2 * areas.Space, 0);
    areas.Devices = std::min(static_cast<int>(content.Values.size()), rest - leastEvents);
    areas.Devices = std::max(areas.Devices, 0);
    areas.Events = hasEvents ? rest - areas.Devices : 0;
    return areas;
}

int WidthOf(const StyledLine& line) {
    int width = 0;
    for (const auto& span : line)
        width += DisplayWidth(span.Text);
    return width;
}

/// Left and right text with space in between; the right one gives way.
StyledLine Spread(StyledLine left, const Span& right, int width) {
    const int space = width - WidthOf(left) - DisplayWidth(right.Text);
    if (space < 2) return left;
    left.push_back({std::string(static_cast<std::size_t>(space), ' '), Style::Plain});
    left.push_back(right);
    return left;
}

StyledLine Title(const ScreenContent& content, int width) {
    std::set<std::string> ports;
    for (const auto& reading : content.Values)
        ports.insert(reading.Port);
    StyledLine line{{" nimbo1", Style::Heading}};
    if (!ports.empty()) line.push_back({"  " + (ports.size() == 1 ? *ports.begin() : Counted(ports.size(), "port"))});
    return Spread(std::move(line), {ClockText(content.UnixMilliseconds) + " UTC ", Style::Dim}, width);
}

/// "65 devices: 64 good, 1 offline"
StyledLine DeviceCounts(const ScreenContent& content) {
    StyledLine line{{" " + Counted(content.Values.size(), "device") + ": "}};
    struct Kind {
        Quality Value;
        Style Look;
    };
    const char* separator = "";
    for (const auto& kind : {Kind{Quality::Good, Style::Good},
                             {Quality::Doubtful, Style::Warning},
                             {Quality::Stale, Style::Warning},
                             {Quality::Offline, Style::Bad}}) {
        const auto count = std::count_if(content.Values.begin(), content.Values.end(),
                                         [&](const Reading& reading) { return reading.Quality == kind.Value; });
        if (count == 0) continue;
        line.push_back({separator});
        line.push_back({std::to_string(count) + " " + NameOf(kind.Value), kind.Look});
        separator = ", ";
    }
    return line;
}

/// Where not everything fits beside how to end, the later parts give way.
StyledLine Status(const ScreenContent& content, int width) {
    const Span ending{"Ctrl-C or q ends ", Style::Dim};
    auto readings = Counted(content.Readings, "reading");
    if (content.FailedReadings > 0) readings += ", " + std::to_string(content.FailedReadings) + " failed";
    if (!content.Progress.empty()) return Spread({{" " + content.Progress}}, ending, width);
    auto line = DeviceCounts(content);
    for (const auto& text : {"   " + readings, "   up " + DurationText(content.Running)}) {
        if (WidthOf(line) + DisplayWidth(text) + 2 + DisplayWidth(ending.Text) > width) break;
        line.push_back({text, Style::Dim});
    }
    return Spread(std::move(line), ending, width);
}

/// "─── Events ─────── devices 1 to 20 of 64, arrow keys scroll ─"
StyledLine EventsHeading(const ScreenContent& content, int devices, int width) {
    std::string scroll;
    if (const auto count = content.Values.size(); static_cast<std::size_t>(devices) < count) {
        const auto first = content.FirstDevice;
        scroll = " devices " + std::to_string(first + 1) + " to " +
                 std::to_string(std::min(first + static_cast<std::size_t>(devices), count)) + " of " +
                 std::to_string(count) + ", arrow keys scroll ";
    }
    std::string line;
    const auto addRule = [&](int columns) {
        for (int i = 0; i < columns; ++i)
            line += "─";
    };
    line = " ";
    addRule(1);
    line += " Events ";
    addRule(std::max(width - DisplayWidth(line) - DisplayWidth(scroll) - 2, 0));
    line += scroll;
    addRule(1);
    return {{line, Style::Dim}};
}

/// The text in pieces of at most so many columns, broken between words where there are any.
std::vector<std::string> Wrapped(const std::string& text, int columns) {
    std::vector<std::string> lines;
    std::string_view rest = text;
    while (!rest.empty()) {
        auto piece = BeginningOf(rest, columns);
        if (piece.empty()) break;
        if (piece.size() < rest.size() && rest[piece.size()] != ' ') {
            const auto space = piece.rfind(' ');
            if (space != std::string_view::npos && space > piece.size() / 2) piece = piece.substr(0, space);
        }
        lines.emplace_back(piece);
        rest.remove_prefix(piece.size());
        while (!rest.empty() && rest[0] == ' ')
            rest.remove_prefix(1);
    }
    return lines;
}

/// The latest events that fit, the oldest of these first.
std::vector<StyledLine> EventLines(const ScreenContent& content, std::size_t most, int width) {
    std::vector<StyledLine> lines;
    for (auto event = content.Events.rbegin(); event != content.Events.rend(); ++event) {
        auto pieces = Wrapped(ForTerminal(event->Text, content.IsUtf8), std::max(width - kEventIndent, 1));
        // At least the beginning of the latest one is shown.
        if (lines.empty() && pieces.size() > most) pieces.resize(most);
        if (lines.size() + pieces.size() > most) break;
        for (auto piece = pieces.size(); piece-- > 0;) {
            const auto clock = piece == 0 ? " " + ClockText(event->UnixMilliseconds) : "";
            lines.push_back({{Padded(clock, kEventIndent), Style::Dim}, {pieces[piece], event->Look}});
        }
    }
    std::reverse(lines.begin(), lines.end());
    return lines;
}

/// A line as the terminal can show it, cut at its right edge.
StyledLine Finished(StyledLine line, const ScreenContent& content, int width) {
    for (auto& span : line) {
        span.Text = BeginningOf(ForTerminal(span.Text, content.IsUtf8), width);
        width -= DisplayWidth(span.Text);
    }
    return line;
}

}  // namespace

std::vector<StyledLine> LayOut(const ScreenContent& content, ScreenSize size) {
    const auto areas = Divide(content, size);
    std::vector<StyledLine> lines{Title(content, size.Columns)};
    const auto append = [&](std::vector<StyledLine> more) {
        lines.insert(lines.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    };
    lines.resize(lines.size() + static_cast<std::size_t>(areas.Space));
    append(DeviceTable(content, size.Columns, static_cast<std::size_t>(areas.Devices)));
    lines.resize(lines.size() + static_cast<std::size_t>(areas.Space));
    if (areas.Events > 0) {
        lines.push_back(EventsHeading(content, areas.Devices, size.Columns));
        append(EventLines(content, static_cast<std::size_t>(areas.Events - 1), size.Columns));
    }
    lines.resize(static_cast<std::size_t>(std::max(size.Rows - 1, 0)));
    if (size.Rows > 0) lines.push_back(Status(content, size.Columns));
    for (auto& line : lines)
        line = Finished(std::move(line), content, size.Columns);
    return lines;
}

std::size_t DevicesShown(const ScreenContent& content, ScreenSize size) {
    return static_cast<std::size_t>(Divide(content, size).Devices);
}

}  // namespace orvix::station
