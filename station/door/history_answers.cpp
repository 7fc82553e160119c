#include <algorithm>
#include <utility>

#include "host/error.h"
#include "station/door/answers.h"
#include "station/door/csv_download.h"
#include "station/door/problem.h"
#include "station/model/clock.h"
#include "station/model/history_time.h"
#include "station/store/history_schema.h"
#include "station/store/history_slices.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostPoints = 5000;
constexpr std::size_t kUsualPoints = 500;
constexpr char kUsualSpan[] = "1h";

Period PeriodIn(const Question& question, std::int64_t now) {
    const Period period{TimeIn(question, "from", kUsualSpan, now), TimeIn(question, "to", "0s", now)};
    if (period.Since >= period.Until) throw ProblemError(400, "from is not before to");
    if (period.Since < 0) throw ProblemError(400, "from is before 1970");
    return period;
}

/// Figures of temperatures that there are none of are null.
Json TemperatureRow(const HistorySlice& slice) {
    const auto& figures = slice.Figures;
    const auto value = [&](double number) { return figures.Count > 0 ? Json(number) : Json(); };
    return {slice.Begin,   value(figures.Lowest), value(figures.Highest), value(figures.Count > 0 ? figures.Mean() : 0),
            figures.Count, figures.Doubtful};
}

Json InputsRow(const HistorySlice& slice) {
    const auto& figures = slice.Figures;
    unsigned all = 0;
    unsigned any = 0;
    for (unsigned input = 0; input < figures.On.size(); ++input) {
        if (figures.On[input] > 0) any |= 1U << input;
        if (figures.On[input] >= figures.Observed) all |= 1U << input;
    }
    const bool isKnown = figures.Observed > 0;
    Json row{slice.Begin, isKnown ? Json(all) : Json(), isKnown ? Json(any) : Json(), figures.Count, figures.Doubtful};
    for (const auto on : figures.On)
        row.push_back(isKnown ? Json(static_cast<double>(on) / static_cast<double>(figures.Observed)) : Json());
    return row;
}

Json ColumnsOf(bool isInputs) {
    if (!isInputs) return {"time", "minimum", "maximum", "mean", "count", "doubtful"};
    Json columns{"time", "all", "any", "count", "doubtful"};
    for (int input = 1; input <= 8; ++input)
        columns.push_back("on" + std::to_string(input));
    return columns;
}

Json GapJson(const HistoryRow& gap, const Period& period) {
    return {{"from", IsoText(std::max(gap.Time, period.Since))},
            {"to", IsoText(std::min(gap.Until, period.Until))},
            {"reason", gap.Reason.Text}};
}

/// What the parameters ask for. Raises ProblemError.
struct HistoryQuestion {
    HistoryQuestion(const StationView& station, const Question& question)
        : Files(station.HistoryFiles),
          Device(question.Parameter("device")),
          Now(UnixMilliseconds()),
          Time(PeriodIn(question, Now)),
          Measures(VariableReadOf(station, Device)) {
        if (!station.KeepsHistory) throw ProblemError(404, "this station keeps no history");
        if (Device.empty()) throw ProblemError(400, "device: name a device by its id, as at api/v1/devices");
    }

    /// Nothing when nothing of the device has been written yet. Raises ProblemError when it is not read, either.
    std::optional<DeviceHistory> Find() const {
        auto found = FindInHistories(Files, Device, Now);
        if (!found && Measures.empty()) throw ProblemError(404, "the history has nothing about device " + Device);
        return found;
    }

    std::vector<std::string> Files;
    std::string Device;
    std::int64_t Now;
    Period Time;
    std::string Measures;  ///< empty: the station does not read it
};

/// What there is of a device, as it is answered. `rows`, `gaps`, `alarms`: arrays.
struct HistoryParts {
    SeriesKey Key;
    std::int64_t Width = 0;
    Json Rows = Json::array();
    Json Gaps = Json::array();
    Json Alarms = Json::array();
};

HistoryParts PartsOf(const DeviceHistory& history, const Period& period, std::int64_t points) {
    const auto& [reader, device] = history;
    const auto [width, slices] = SlicesOf(*reader, device, period, points);
    HistoryParts parts;
    parts.Key = device.Key;
    parts.Width = width;
    for (const auto& slice : slices)
        parts.Rows.push_back(device.IsInputs() ? InputsRow(slice) : TemperatureRow(slice));
    for (const auto& gap : GapsOf(*reader, device, period, width))
        parts.Gaps.push_back(GapJson(gap, period));
    for (const auto& alarm : reader->Alarms({.Device = device.Id, .Time = period}).Alarms)
        parts.Alarms.push_back(AlarmJson(alarm.State));
    return parts;
}

Json HistoryJson(const HistoryQuestion& asked, std::int64_t points) {
    const auto found = asked.Find();
    HistoryParts parts;
    parts.Key.Variable = asked.Measures;
    parts.Width = (asked.Time.Until - asked.Time.Since) / points + 1;
    if (found) parts = PartsOf(*found, asked.Time, points);
    return {{"device", asked.Device},
            {"variable", parts.Key.Variable},
            {"from", IsoText(asked.Time.Since)},
            {"to", IsoText(asked.Time.Until)},
            {"slice_ms", parts.Width},
            {"columns", ColumnsOf(parts.Key.IsInputs())},
            {"rows", std::move(parts.Rows)},
            {"gaps", std::move(parts.Gaps)},
            {"alarms", std::move(parts.Alarms)}};
}

HttpResponse CsvResponse(const HistoryQuestion& asked, SlowAnswers& slow) {
    auto found = asked.Find();
    HttpResponse response;
    if (found) {
        response.Stream = CsvDownload::Open(slow, std::move(*found), asked.Time);
    } else {
        response.Body = kHistoryCsvHeading;
    }
    response.Headers = {{"Content-Type", "text/csv; charset=utf-8"},
                        {"Content-Disposition", "attachment; filename=\"" + asked.Device + ".csv\""}};
    return response;
}

std::vector<StoredDevice> AllDevices(HistoryReader& reader) {
    try {
        return reader.Find({.Port = {}, .Device = {}, .Time = {}});
    } catch (const Error&) {
        // There is nothing at all yet.
        return {};
    }
}

}  // namespace

std::int64_t TimeIn(const Question& question, const char* name, const char* missing, std::int64_t now) {
    const auto text = question.Parameter(name);
    try {
        return ParseHistoryTime(text.empty() ? missing : text, now);
    } catch (const Error& error) {
        throw ProblemError(400, std::string(name) + ": " + error.Description);
    }
}

std::optional<DeviceHistory> FindInHistories(const std::vector<std::string>& files, const std::string& id,
                                             std::int64_t now) {
    for (const auto& file : files) {
        if (!HasHistory(file)) continue;
        auto reader = std::make_unique<HistoryReader>(file, now);
        const auto all = AllDevices(*reader);
        // A device may have been another model once: what it measures now comes last.
        const auto device = std::find_if(all.rbegin(), all.rend(), [&](const auto& one) { return one.Id == id; });
        if (device != all.rend()) return DeviceHistory{std::move(reader), *device};
    }
    return std::nullopt;
}

void AnswerHistory(const StationView& station, const Question& question, const HttpReply& reply) {
    const HistoryQuestion asked(station, question);
    const auto points = static_cast<std::int64_t>(question.Number("points", 1, kMostPoints, kUsualPoints));
    station.Slow.Ask([asked, points] { return JsonResponse(HistoryJson(asked, points)); }, reply);
}

void AnswerHistoryCsv(const StationView& station, const Question& question, const HttpReply& reply) {
    const HistoryQuestion asked(station, question);
    station.Slow.Ask([asked, &slow = station.Slow] { return CsvResponse(asked, slow); }, reply);
}

}  // namespace orvix::station
