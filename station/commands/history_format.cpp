#include "station/commands/history_format.h"

#include "host/characters.h"
#include "host/date.h"
#include "station/commands/device_text.h"
#include "station/model/clock.h"
#include "station/model/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

std::string DayAndClock(std::int64_t time) {
    return Format(FromUnixMilliseconds(time), "yyyy-mm-dd") + " " + ClockText(time);
}

std::string TableLine(const HistoryRow& row) {
    std::string line = DayAndClock(row.Time) + "  " + TableKey(row.Device->Key);
    if (!row.IsGap()) return line + ValueWithUnit(row.Value) + (row.Why == Doubt::None ? "\n" : "  doubtful\n");
    line += "--  offline until " + DayAndClock(row.Until) + ": " + ReasonOf(row);
    if (row.Count > 0) line += ", " + Counted(row.Count, "reading");
    return line + "\n";
}

std::string EndText(const AlarmRow& alarm) {
    if (alarm.StationStopped) return "until the station stopped";
    return alarm.State.Ended ? "until " + DayAndClock(*alarm.State.Ended) : "still on";
}

/// Who knows about it; the id of one that is on and not acknowledged, which acknowledging needs.
std::string KnownText(const AlarmRow& alarm) {
    if (!alarm.State.Acknowledged) {
        const bool isOn = !alarm.State.Ended && !alarm.StationStopped;
        return isOn ? "; id " + alarm.State.Alarm : "";
    }
    const auto& known = *alarm.State.Acknowledged;
    return "; acknowledged " + DayAndClock(known.UnixMilliseconds) + (known.By.empty() ? "" : " by " + known.By) +
           (known.Comment.empty() ? "" : ": " + known.Comment);
}

std::string TableLine(const AlarmRow& alarm) {
    const auto& state = alarm.State;
    return DayAndClock(state.Started) + "  " + Padded(EndText(alarm), 25) + "  " + Padded(Printable(state.Port), 14) +
           "  " + Padded(AddressText(state.Address), 3) + "  " + Padded(Printable(state.Name), 26) + "  " +
           Padded(state.Kind, 8) + "  " + state.Text + Printable(KnownText(alarm)) + "\n";
}

std::string JsonLine(const HistoryRow& row) {
    Json object{{"time", IsoText(row.Time)}, {"event", row.IsGap() ? "gap" : "reading"}};
    object["id"] = row.Device->Id;
    object.update(ToJson(row.Device->Key));
    object["value"] = ToJson(row.Value);
    object["valid"] = !row.IsGap();
    object["quality"] = QualityOf(row);
    if (row.Why != Doubt::None) object["doubt"] = NameOf(row.Why);
    if (row.IsGap()) {
        object["until"] = IsoText(row.Until);
        object["count"] = row.Count;
        object["error"] = ToJson(row.Reason);
    }
    return Dump(object) + "\n";
}

}  // namespace

std::string HeadingOf(HistoryFormat format) {
    return format == HistoryFormat::Csv ? kHistoryCsvHeading : "";
}

void HistoryLines::Append(std::string& text, const HistoryRow& row) {
    switch (m_Format) {
        case HistoryFormat::Csv:
            m_Csv.Append(text, row);
            break;
        case HistoryFormat::JsonLines:
            text += JsonLine(row);
            break;
        default:
            text += TableLine(row);
    }
}

std::string LineOf(const AlarmRow& alarm, bool asJson) {
    return asJson ? Dump(ToJson(alarm)) + "\n" : TableLine(alarm);
}

}  // namespace orvix::station
