#include "station/commands/figures_format.h"

#include <array>
#include <cmath>
#include <ctime>

#include "host/text.h"
#include "station/commands/device_text.h"
#include "station/model/clock.h"
#include "station/model/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

double Seconds(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

/// Lowest, mean and highest; nothing when there is no good temperature.
std::array<ReadingValue, 3> RangeOf(const StoredDevice& device, const Figures& figures) {
    if (device.IsInputs() || figures.Count == 0) return {};
    // What lies behind the digits of a sensor comes from adding up.
    return {figures.Lowest, std::round(figures.Mean() * 1e6) / 1e6, figures.Highest};
}

std::string CsvFigures(const StoredDevice& device, const Figures& figures) {
    std::string text = std::to_string(figures.Count) + "," + std::to_string(figures.Doubtful);
    for (const auto& value : RangeOf(device, figures))
        text += "," + ValueText(value);
    return text;
}

/// How long each input was on.
void AddFigures(Json& object, const StoredDevice& device, const Figures& figures) {
    const auto [lowest, mean, highest] = RangeOf(device, figures);
    object["readings"] = figures.Count;
    object["doubtful"] = figures.Doubtful;
    object["lowest"] = ToJson(lowest);
    object["mean"] = ToJson(mean);
    object["highest"] = ToJson(highest);
    if (!device.IsInputs()) return;
    object["observed_seconds"] = Seconds(std::chrono::milliseconds(figures.Observed));
    for (const auto on : figures.On)
        object["on_seconds"].push_back(Seconds(std::chrono::milliseconds(on)));
}

std::string TableFigures(const StoredDevice& device, const Figures& figures) {
    std::string text = Padded(std::to_string(figures.Count), 10) + Padded(std::to_string(figures.Doubtful), 10);
    for (const auto& value : RangeOf(device, figures))
        text += Padded(ValueWithUnit(value), 10);
    return text;
}

std::string TableFiguresHeading() {
    return Padded("readings", 10) + Padded("doubtful", 10) + Padded("lowest", 10) + Padded("mean", 10) +
           Padded("highest", 10);
}

constexpr char kCsvFiguresHeading[] = "readings,doubtful,lowest,mean,highest";

std::string CsvLine(const HistorySummary& summary) {
    return CsvKey(summary.Device.Key) + CsvFigures(summary.Device, summary.Figures) + "," +
           std::to_string(summary.Gaps) + "," + std::to_string(summary.Failed) + "," +
           NumberText(Seconds(summary.GapTime)) + "," + NumberText(Seconds(summary.NotRunning)) + "\n";
}

std::string JsonLine(const HistorySummary& summary) {
    Json object{{"event", "summary"}, {"id", summary.Device.Id}};
    object.update(ToJson(summary.Device.Key));
    AddFigures(object, summary.Device, summary.Figures);
    object["gaps"] = summary.Gaps;
    object["failed"] = summary.Failed;
    object["gap_seconds"] = Seconds(summary.GapTime);
    object["not_running_seconds"] = Seconds(summary.NotRunning);
    return Dump(object) + "\n";
}

std::string TableLine(const HistorySummary& summary) {
    return TableKey(summary.Device.Key) + TableFigures(summary.Device, summary.Figures) +
           Padded(std::to_string(summary.Gaps), 6) + Padded(std::to_string(summary.Failed), 8) +
           Padded(GapTimeText(summary.GapTime), 14) + GapTimeText(summary.NotRunning) + "\n";
}

std::string SummaryHeading(HistoryFormat format) {
    if (format == HistoryFormat::Csv) {
        return std::string(kCsvKeyHeading) + kCsvFiguresHeading + ",gaps,failed,gap_seconds,not_running_seconds\n";
    }
    if (format == HistoryFormat::JsonLines) return {};
    return TableKeyHeading() + TableFiguresHeading() + Padded("gaps", 6) + Padded("failed", 8) +
           Padded("gap time", 14) + "not running\n";
}

/// Share of the time in which each input was on, in percent; "--" where nothing is known.
std::string OnShares(const Figures& figures) {
    std::string text;
    for (const auto on : figures.On) {
        const auto share = figures.Observed == 0
                               ? -1
                               : std::lround(100.0 * static_cast<double>(on) / static_cast<double>(figures.Observed));
        text += (text.empty() ? "on " : " ") + (share < 0 ? "--" : std::to_string(share) + " %");
    }
    return text;
}

std::string OnSeconds(const Figures& figures) {
    std::string text;
    for (const auto on : figures.On)
        text += "," + NumberText(Seconds(std::chrono::milliseconds(on)));
    return text;
}

std::string LocalText(std::int64_t time) {
    const std::time_t seconds = time / 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 40> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M %Z", &local)};
}

}  // namespace

std::string GapTimeText(std::chrono::milliseconds time) {
    return time.count() == 0 ? "--" : DurationText(time);
}

std::string SummaryText(const std::vector<HistorySummary>& summaries, HistoryFormat format) {
    std::string text = SummaryHeading(format);
    for (const auto& summary : summaries) {
        if (format == HistoryFormat::Table) text += TableLine(summary);
        if (format == HistoryFormat::Csv) text += CsvLine(summary);
        if (format == HistoryFormat::JsonLines) text += JsonLine(summary);
    }
    return text;
}

std::string FiguresHeading(HistoryFormat format) {
    if (format == HistoryFormat::Table) return Padded("from", 23) + TableKeyHeading() + TableFiguresHeading() + "\n";
    if (format == HistoryFormat::JsonLines) return {};
    return std::string("time,") + kCsvKeyHeading + kCsvFiguresHeading + ",on1,on2,on3,on4,on5,on6,on7,on8\n";
}

std::string FiguresLine(std::int64_t time, const StoredDevice& device, const Figures& figures, HistoryFormat format) {
    const bool isInputs = device.IsInputs();
    if (format == HistoryFormat::Table) {
        return Padded(LocalText(time), 23) + TableKey(device.Key) + TableFigures(device, figures) +
               (isInputs ? OnShares(figures) : "") + "\n";
    }
    if (format == HistoryFormat::Csv) {
        return IsoText(time) + "," + CsvKey(device.Key) + CsvFigures(device, figures) +
               (isInputs ? OnSeconds(figures) : ",,,,,,,,") + "\n";
    }
    Json object{{"time", IsoText(time)}, {"event", "figures"}, {"id", device.Id}};
    object.update(ToJson(device.Key));
    AddFigures(object, device, figures);
    return Dump(object) + "\n";
}

}  // namespace orvix::station
