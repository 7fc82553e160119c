#include "station/commands/history_format.h"

#include <nlohmann/json.hpp>

#include "host/date.h"
#include "host/text.h"
#include "station/model/clock.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kCsvHeading[] = "time,port,address,name,variable,value,quality,until,count,reason\n";
constexpr char kCsvSummaryHeading[] =
    "port,address,name,variable,readings,lowest,mean,highest,gaps,failed,gap_seconds,not_running_seconds\n";

bool IsGap(const HistoryRow& row) {
    return std::holds_alternative<std::monostate>(row.Value);
}

const char* QualityOf(const HistoryRow& row) {
    return NameOf(IsGap(row) ? Quality::Offline : Quality::Good);
}

std::string DayAndClock(std::int64_t time) {
    return Format(FromUnixMilliseconds(time), "yyyy-mm-dd") + " " + ClockText(time);
}

/// Without a code when it is not a device's failure.
std::string ReasonOf(const HistoryRow& row) {
    return row.Reason.Code == 0 ? row.Reason.Text : FailureText(row.Reason);
}

std::string Quoted(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    return "\"" + ReplaceAll(text, "\"", "\"\"") + "\"";
}

std::string CsvKey(const SeriesKey& key) {
    return Quoted(key.Port) + "," + std::to_string(key.Address) + "," + Quoted(key.Name) + "," + key.Variable + ",";
}

std::string TableKey(const SeriesKey& key) {
    return Padded(Printable(key.Port), 14) + "  " + Padded(std::to_string(key.Address), 3) + "  " +
           Padded(Printable(key.Name), 26) + "  " + Padded(key.Variable, 11) + "  ";
}

std::string TableLine(const HistoryRow& row) {
    std::string line = DayAndClock(row.Time) + "  " + TableKey(row.Series->Key);
    if (!IsGap(row)) return line + ValueWithUnit(row.Value) + "\n";
    line += "--  offline until " + DayAndClock(row.Until) + ": " + ReasonOf(row);
    if (row.Count > 0) line += ", " + std::to_string(row.Count) + (row.Count == 1 ? " reading" : " readings");
    return line + "\n";
}

std::string CsvLine(const HistoryRow& row) {
    std::string line = IsoText(row.Time) + "," + CsvKey(row.Series->Key);
    if (!IsGap(row)) return line + ValueText(row.Value) + "," + QualityOf(row) + ",,,\n";
    return line + "," + QualityOf(row) + "," + IsoText(row.Until) + "," + std::to_string(row.Count) + "," +
           Quoted(ReasonOf(row)) + "\n";
}

std::string EndText(const AlarmRow& alarm) {
    switch (alarm.Ended) {
        case AlarmRow::End::None:
            return "still on";
        case AlarmRow::End::Ended:
            return "until " + DayAndClock(alarm.Until);
        default:
            return "until the station stopped";
    }
}

std::string TableLine(const AlarmRow& alarm) {
    const auto& event = alarm.Event;
    return DayAndClock(event.Time) + "  " + Padded(EndText(alarm), 25) + "  " + Padded(Printable(event.Port), 14) +
           "  " + Padded(std::to_string(event.Address), 3) + "  " + Padded(Printable(alarm.Name), 26) + "  " +
           Padded(event.Kind, 7) + "  " + event.Text + "\n";
}

Json ToJson(const SeriesKey& key) {
    return {{"port", key.Port},
            {"address", key.Address},
            {"model", key.Model},
            {"name", key.Name},
            {"variable", key.Variable}};
}

/// Names may hold bytes that are no UTF-8.
std::string Dumped(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string JsonLine(const HistoryRow& row) {
    Json object{{"time", IsoText(row.Time)}, {"event", IsGap(row) ? "gap" : "reading"}};
    object.update(ToJson(row.Series->Key));
    object["value"] = nullptr;
    if (const auto* degrees = std::get_if<double>(&row.Value)) object["value"] = *degrees;
    if (const auto* inputs = std::get_if<std::int32_t>(&row.Value)) object["value"] = *inputs;
    object["quality"] = QualityOf(row);
    if (IsGap(row)) {
        object["until"] = IsoText(row.Until);
        object["count"] = row.Count;
        object["reason"] = row.Reason.Text;
        if (row.Reason.Code != 0) object["code"] = CodeText(row.Reason.Code);
    }
    return Dumped(object);
}

const char* StateOf(const AlarmRow& alarm) {
    switch (alarm.Ended) {
        case AlarmRow::End::None:
            return "on";
        case AlarmRow::End::Ended:
            return "ended";
        default:
            return "station stopped";
    }
}

std::string JsonLine(const AlarmRow& alarm) {
    const auto& event = alarm.Event;
    const bool isOn = alarm.Ended == AlarmRow::End::None;
    return Dumped({{"time", IsoText(event.Time)},
                   {"event", "alarm"},
                   {"state", StateOf(alarm)},
                   {"until", isOn ? Json() : Json(IsoText(alarm.Until))},
                   {"port", event.Port},
                   {"address", event.Address},
                   {"name", alarm.Name},
                   {"alarm", event.Kind},
                   {"value", event.Value},
                   {"text", event.Text}});
}

double Seconds(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

std::string CsvLine(const SeriesSummary& summary) {
    std::string line = CsvKey(summary.Series.Key) + std::to_string(summary.Count) + ",";
    const auto& range = summary.Range;
    line += range ? NumberText(range->Lowest) + "," + NumberText(range->Mean) + "," + NumberText(range->Highest) : ",,";
    return line + "," + std::to_string(summary.Gaps) + "," + std::to_string(summary.Failed) + "," +
           NumberText(Seconds(summary.GapTime)) + "," + NumberText(Seconds(summary.NotRunning)) + "\n";
}

std::string JsonLine(const SeriesSummary& summary) {
    Json object{{"event", "summary"}};
    object.update(ToJson(summary.Series.Key));
    const auto& range = summary.Range;
    object["readings"] = summary.Count;
    object["lowest"] = range ? Json(range->Lowest) : Json();
    object["mean"] = range ? Json(range->Mean) : Json();
    object["highest"] = range ? Json(range->Highest) : Json();
    object["gaps"] = summary.Gaps;
    object["failed"] = summary.Failed;
    object["gap_seconds"] = Seconds(summary.GapTime);
    object["not_running_seconds"] = Seconds(summary.NotRunning);
    return Dumped(object);
}

std::string TableLine(const SeriesSummary& summary) {
    std::string line = TableKey(summary.Series.Key) + Padded(std::to_string(summary.Count), 9);
    const auto& range = summary.Range;
    for (const auto value : {&ValueRange::Lowest, &ValueRange::Mean, &ValueRange::Highest})
        line += Padded(ValueWithUnit(range ? ReadingValue(*range.*value) : ReadingValue()), 10);
    line += Padded(std::to_string(summary.Gaps), 6) + Padded(std::to_string(summary.Failed), 8);
    return line + Padded(GapTimeText(summary.GapTime), 14) + GapTimeText(summary.NotRunning) + "\n";
}

std::string TableHeading() {
    return Padded("port", 16) + Padded("", 5) + Padded("name", 28) + Padded("variable", 13) + Padded("readings", 9) +
           Padded("lowest", 10) + Padded("mean", 10) + Padded("highest", 10) + Padded("gaps", 6) + Padded("failed", 8) +
           Padded("gap time", 14) + "not running\n";
}

}  // namespace

std::string HeadingOf(HistoryFormat format) {
    return format == HistoryFormat::Csv ? kCsvHeading : "";
}

std::string LineOf(const HistoryRow& row, HistoryFormat format) {
    switch (format) {
        case HistoryFormat::Csv:
            return CsvLine(row);
        case HistoryFormat::Json:
            return JsonLine(row);
        default:
            return TableLine(row);
    }
}

std::string LineOf(const AlarmRow& alarm, bool asJson) {
    return asJson ? JsonLine(alarm) : TableLine(alarm);
}

std::string GapTimeText(std::chrono::milliseconds time) {
    return time.count() == 0 ? "--" : DurationText(time);
}

std::string SummaryText(const std::vector<SeriesSummary>& summaries, HistoryFormat format) {
    std::string text;
    if (format == HistoryFormat::Table) text = TableHeading();
    if (format == HistoryFormat::Csv) text = kCsvSummaryHeading;
    for (const auto& summary : summaries) {
        if (format == HistoryFormat::Table) text += TableLine(summary);
        if (format == HistoryFormat::Csv) text += CsvLine(summary);
        if (format == HistoryFormat::Json) text += JsonLine(summary);
    }
    return text;
}

}  // namespace orvix::station
