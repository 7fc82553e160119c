#include "station/sink/screen/device_table.h"

#include <algorithm>

#include "station/model/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr int kGap = 2;
constexpr int kAddressWidth = 5;  // with the margin
constexpr int kValueWidth = 10;
constexpr int kAgeWidth = 6;
constexpr int kStateWidth = 7;
constexpr int kLeastName = 6;
constexpr int kMostName = 30;
constexpr int kMostPort = 16;
constexpr int kLeastTrend = 5;

/// Widths of the columns that are not always there or give way; 0: left out.
struct Columns {
    int Port = 0;
    int Name = 0;
    int Age = 0;
    int State = 0;
    int Trend = 0;
};

int WidestOf(const ScreenContent& content, std::string Reading::*text, int most) {
    int width = 0;
    for (const auto& reading : content.Values)
        width = std::max(width, DisplayWidth(ForTerminal(reading.*text, content.IsUtf8)));
    return std::min(width, most);
}

/// Takes the column's width and gap off the rest, if that has them.
int TakeColumns(int& rest, int width) {
    if (width == 0 || rest < width + kGap) return 0;
    rest -= width + kGap;
    return width;
}

Columns FitColumns(const ScreenContent& content, int width) {
    const auto& values = content.Values;
    const bool severalPorts = !values.empty() && values.front().Port != values.back().Port;
    const int wantedName = std::max(WidestOf(content, &Reading::Name, kMostName), kLeastName);
    int rest = width - kAddressWidth - kGap - kValueWidth;
    Columns columns;
    columns.Name = TakeColumns(rest, kLeastName);
    columns.State = TakeColumns(rest, kStateWidth);
    columns.Age = TakeColumns(rest, kAgeWidth);
    if (severalPorts) columns.Port = TakeColumns(rest, WidestOf(content, &Reading::Port, kMostPort));
    if (columns.Name > 0) {
        const int more = std::clamp(wantedName - columns.Name, 0, rest);
        columns.Name += more;
        rest -= more;
    }
    const int trend = std::min(rest - kGap, static_cast<int>(Trend::kMostReadings));
    if (trend >= kLeastTrend) columns.Trend = TakeColumns(rest, trend);
    return columns;
}

std::string RightAligned(const std::string& text, int width) {
    return std::string(static_cast<std::size_t>(std::max(width - DisplayWidth(text), 0)), ' ') + text;
}

std::string LeftAligned(const std::string& text, int width) {
    return Padded(std::string(BeginningOf(text, width)), width);
}

/// If a port's name is too long, its end tells more.
std::string PortText(std::string port, int width) {
    while (DisplayWidth(port) > width)
        port.erase(0, 1);
    return LeftAligned(port, width);
}

class Row {
public:
    void Add(const std::string& text, Style look = Style::Plain) { m_Line.push_back({text, look}); }
    /// A column that is left out has width 0.
    void AddColumn(int width, const std::string& text, Style look = Style::Plain) {
        if (width == 0) return;
        m_Line.push_back({std::string(kGap, ' '), Style::Plain});
        m_Line.push_back({text, look});
    }
    StyledLine Take() { return std::move(m_Line); }

private:
    StyledLine m_Line;
};

StyledLine HeaderRow(const Columns& columns) {
    Row row;
    row.Add(RightAligned("ADDR", kAddressWidth), Style::Dim);
    row.AddColumn(columns.Port, LeftAligned("PORT", columns.Port), Style::Dim);
    row.AddColumn(columns.Name, LeftAligned("NAME", columns.Name), Style::Dim);
    row.AddColumn(kValueWidth, RightAligned("VALUE", kValueWidth), Style::Dim);
    row.AddColumn(columns.Age, RightAligned("AGE", columns.Age), Style::Dim);
    row.AddColumn(columns.State, LeftAligned("STATE", columns.State), Style::Dim);
    row.AddColumn(columns.Trend, "TREND", Style::Dim);
    return row.Take();
}

Span StateOf(const Reading& reading) {
    if (reading.UnixMilliseconds == 0) return {"waiting", Style::Dim};
    constexpr Style looks[] = {Style::Good, Style::Warning, Style::Warning, Style::Bad};
    return {NameOf(reading.Quality), looks[static_cast<int>(reading.Quality)]};
}

std::string ValueColumn(const ReadingValue& value, bool isUtf8) {
    const auto* inputs = std::get_if<std::int32_t>(&value);
    return ForTerminal(inputs == nullptr ? ValueWithUnit(value) : BitsText(*inputs), isUtf8);
}

std::string AgeColumn(const Reading& reading) {
    return reading.Age ? AgeText(*reading.Age) : "--";
}

StyledLine DeviceRow(const ScreenContent& content, const Reading& reading, const Columns& columns) {
    const auto shown = [&](const std::string& text) { return ForTerminal(text, content.IsUtf8); };
    const auto value = ValueColumn(reading.Shown(), content.IsUtf8);
    const auto state = StateOf(reading);
    const auto trend = content.Trends.find(reading.Id());

    Row row;
    row.Add(RightAligned(std::to_string(reading.Address), kAddressWidth));
    row.AddColumn(columns.Port, PortText(shown(reading.Port), columns.Port));
    row.AddColumn(columns.Name, LeftAligned(shown(reading.Name), columns.Name));
    row.AddColumn(kValueWidth, RightAligned(value, kValueWidth),
                  reading.Quality == Quality::Good ? Style::Heading : Style::Dim);
    row.AddColumn(columns.Age, RightAligned(AgeColumn(reading), columns.Age));
    row.AddColumn(columns.State, LeftAligned(state.Text, columns.State), state.Look);
    if (columns.Trend > 0 && trend != content.Trends.end()) {
        row.AddColumn(columns.Trend, trend->second.Text(static_cast<std::size_t>(columns.Trend), content.IsUtf8),
                      Style::Trend);
    }
    return row.Take();
}

}  // namespace

std::vector<StyledLine> DeviceTable(const ScreenContent& content, int width, std::size_t devices) {
    const auto columns = FitColumns(content, width);
    std::vector<StyledLine> lines{HeaderRow(columns)};
    for (auto i = content.FirstDevice; i < content.Values.size() && lines.size() <= devices; ++i)
        lines.push_back(DeviceRow(content, content.Values[i], columns));
    return lines;
}

}  // namespace orvix::station
