#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/error.h"
#include "station/door/answers.h"
#include "station/door/csv_download.h"
#include "station/door/problem.h"
#include "station/model/clock.h"
#include "station/model/history_time.h"
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

Json HistoryJson(HistoryReader& reader, const StoredDevice& device, const Period& period, std::int64_t points) {
    const auto [width, slices] = SlicesOf(reader, device, period, points);
    auto rows = Json::array();
    for (const auto& slice : slices)
        rows.push_back(device.IsInputs() ? InputsRow(slice) : TemperatureRow(slice));
    auto gaps = Json::array();
    for (const auto& gap : GapsOf(reader, device, period, width))
        gaps.push_back(GapJson(gap, period));
    auto alarms = Json::array();
    for (const auto& alarm : reader.Alarms({.Device = device.Id, .Time = period}).Alarms)
        alarms.push_back(AlarmJson(alarm.State));
    return {{"device", device.Id},
            {"variable", device.Key.Variable},
            {"from", IsoText(period.Since)},
            {"to", IsoText(period.Until)},
            {"slice_ms", width},
            {"columns", ColumnsOf(device.IsInputs())},
            {"rows", std::move(rows)},
            {"gaps", std::move(gaps)},
            {"alarms", std::move(alarms)}};
}

/// What the parameters ask for. Raises ProblemError.
struct HistoryQuestion {
    HistoryQuestion(const StationView& station, const Question& question)
        : Files(station.HistoryFiles),
          Device(question.Parameter("device")),
          Now(UnixMilliseconds()),
          Time(PeriodIn(question, Now)) {
        if (!station.KeepsHistory) throw ProblemError(404, "this station keeps no history");
        if (Device.empty()) throw ProblemError(400, "device: name a device by its id, as at api/v1/devices");
    }

    std::vector<std::string> Files;
    std::string Device;
    std::int64_t Now;
    Period Time;
};

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

DeviceHistory FindInHistories(const std::vector<std::string>& files, const std::string& id, std::int64_t now) {
    for (const auto& file : files) {
        std::error_code error;
        if (!std::filesystem::exists(file, error)) continue;
        auto reader = std::make_unique<HistoryReader>(file, now);
        const auto all = AllDevices(*reader);
        // A device may have been another model once: what it measures now comes last.
        const auto device = std::find_if(all.rbegin(), all.rend(), [&](const auto& one) { return one.Id == id; });
        if (device != all.rend()) return {std::move(reader), *device};
    }
    throw ProblemError(404, "the history has nothing of device " + id);
}

void AnswerHistory(const StationView& station, const Question& question, const HttpReply& reply) {
    const HistoryQuestion asked(station, question);
    const auto points = static_cast<std::int64_t>(question.Number("points", 1, kMostPoints, kUsualPoints));
    station.Slow.Ask(
        [asked, points] {
            const auto [reader, device] = FindInHistories(asked.Files, asked.Device, asked.Now);
            return JsonResponse(HistoryJson(*reader, device, asked.Time, points));
        },
        reply);
}

void AnswerHistoryCsv(const StationView& station, const Question& question, const HttpReply& reply) {
    const HistoryQuestion asked(station, question);
    station.Slow.Ask(
        [asked, &slow = station.Slow] {
            HttpResponse response{.Stream = CsvDownload::Open(slow, asked.Files, asked.Device, asked.Now, asked.Time)};
            response.Headers = {{"Content-Type", "text/csv; charset=utf-8"},
                                {"Content-Disposition", "attachment; filename=\"" + asked.Device + ".csv\""}};
            return response;
        },
        reply);
}

}  // namespace orvix::station
