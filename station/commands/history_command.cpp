#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <iostream>

#include <pwd.h>
#include <unistd.h>
#include "host/error.h"
#include "host/text.h"
#include "platform/document_file.h"

#include "station/commands/commands.h"
#include "station/commands/figures_format.h"
#include "station/commands/history_format.h"
#include "station/commands/history_report.h"
#include "station/commands/plot_samples.h"
#include "station/door/station_client.h"
#include "station/json/json.h"
#include "station/library/folders.h"
#include "station/model/clock.h"
#include "station/model/local_time.h"
#include "station/store/history_schema.h"
#include "station/store/history_slices.h"

namespace orvix::station {
namespace {

constexpr std::size_t kChunk = std::size_t{64} * 1024;

HistoryReader OpenReader(const std::string& data, const HistoryQuery& query) {
    return {HistoryToRead(FindFolders(data).Data, query.Port), UnixMilliseconds()};
}

/// Does something that may take long beside the main loop, so that a signal can stop it. Raises what it raises.
void RunBeside(MainLoop& loop, const std::function<void(const std::atomic<bool>& stop)>& work) {
    std::atomic<bool> stop = false;
    auto done = std::async(std::launch::async, [&] {
        const std::shared_ptr<MainLoop> ends(&loop, [](MainLoop* l) { l->Stop(); });
        work(stop);
    });
    loop.Run();
    stop = true;
    done.get();
}

/// Gives rows as text to `write`, in chunks, until it returns false.
void WriteRows(HistoryReader& reader, const HistoryQuery& query, HistoryFormat format,
               const std::function<bool(const std::string&)>& write) {
    const auto devices = reader.Find(query);
    std::string text = HeadingOf(format);
    HistoryLines lines(format);
    std::size_t chunk = 0;  // the first row is told at once
    reader.Read(devices, query.Time, [&](const HistoryRow& row) {
        lines.Append(text, row);
        if (text.size() < chunk) return true;
        chunk = kChunk;
        const bool goesOn = write(text);
        text.clear();
        return goesOn;
    });
    write(text);
}

std::string Summary(HistoryReader& reader, const HistoryOptions& options) {
    std::vector<HistorySummary> summaries;
    for (const auto& device : reader.Find(options.Query))
        summaries.push_back(reader.Summarize(device, options.Query.Time));
    return SummaryText(summaries, options.Format);
}

/// Gives minutes, hours or days, those that reach into the period, as text to `write` until it returns false.
void WriteSpans(HistoryReader& reader, const HistoryOptions& options,
                const std::function<bool(const std::string&)>& write) {
    const auto devices = reader.Find(options.Query);
    std::vector<FiguresQuery> figuresOf;
    figuresOf.reserve(devices.size());
    for (const auto& device : devices)
        figuresOf.push_back(reader.FiguresOf(device));
    const auto [since, until] = options.Query.Time;
    std::string text = FiguresHeading(options.Format);
    for (auto begin = BeginOf(*options.By, since); begin < until;) {
        const auto end = EndOf(*options.By, begin);
        for (std::size_t i = 0; i < devices.size(); ++i) {
            const auto figures = figuresOf[i].Of({begin, end});
            if (!figures.IsEmpty()) text += FiguresLine(begin, devices[i], figures, options.Format);
        }
        begin = end;
        if (text.size() < kChunk) continue;
        if (!write(text)) return;
        text.clear();
    }
    write(text);
}

struct Steps {
    Period Time;
    std::int64_t Width;
};

void AddFigures(PlotSamples& samples, FiguresQuery figures, const std::vector<HistoryRow>& gaps, const Steps& steps) {
    auto gap = gaps.begin();
    for (auto begin = steps.Time.Since / steps.Width * steps.Width; begin < steps.Time.Until; begin += steps.Width) {
        const Period step{begin, begin + steps.Width};
        for (; gap != gaps.end() && gap->Time < step.Until; ++gap)
            samples.Add(*gap);
        samples.Add(step.Since, step.Until, figures.Of(step));
    }
}

PlotData LanesOf(HistoryReader& reader, const StoredDevice& device, const Period& period) {
    PlotSamples samples(period);
    const auto [width, slices] = SlicesOf(reader, device, period, PlotSamples::kSlices);
    for (const auto& [begin, figures] : slices)
        samples.AddInputs(begin, begin + width, figures);
    for (const auto& gap : GapsOf(reader, device, period, width))
        samples.Add(gap);
    return samples.Finish();
}

/// The part of a period in which stations have read a device; all of it when none has.
Period ReadIn(const StoredDevice& device, const Period& period) {
    Period read{period.Until, period.Since};
    for (const auto& series : device.Series) {
        if (series.From >= period.Until || series.To < period.Since) continue;
        read.Since = std::min(read.Since, std::max(series.From, period.Since));
        read.Until = std::max(read.Until, std::min(series.To, period.Until));
    }
    return read.Since < read.Until ? read : period;
}

/// Thins what there is of a device to what a plot shows; where the plot's steps are longer than a minute, by figures.
PlotData PlotOf(HistoryReader& reader, const StoredDevice& device, const Period& asked, const std::atomic<bool>& stop) {
    const auto period = ReadIn(device, asked);
    if (device.IsInputs()) return LanesOf(reader, device, period);
    PlotSamples samples(period);
    const auto width = samples.FiguresWidth();
    const bool isByFigures = width.has_value();
    std::vector<HistoryRow> gaps;
    reader.Read(
        {device}, period,
        [&](const HistoryRow& row) {
            if (!isByFigures) samples.Add(row);
            if (isByFigures) gaps.push_back(row);
            return !stop;
        },
        isByFigures ? SeriesCursor::Rows::OnlyGaps : SeriesCursor::Rows::All);
    if (isByFigures) AddFigures(samples, reader.FiguresOf(device), gaps, {period, *width});
    return samples.Finish();
}

ByteArray DocumentOf(HistoryReader& reader, const HistoryQuery& query, const std::atomic<bool>& stop) {
    std::vector<ReportedDevice> reported;
    for (const auto& device : reader.Find(query))
        reported.push_back({reader.Summarize(device, query.Time), PlotOf(reader, device, query.Time, stop)});
    return DrawHistory(reported, query.Time, FromUnixMilliseconds(UnixMilliseconds()));
}

/// What the user who runs this is called, else its number.
std::string UserName() {
    const auto* user = ::getpwuid(::getuid());
    return user == nullptr ? "user " + std::to_string(::getuid()) : user->pw_name;
}

/// Has the running station note it.
int Acknowledge(const AlarmsOptions& options) {
    const auto body = Dump({{"by", UserName()}, {"comment", options.Comment}});
    const AskedStation station(FindFolders(options.Data).Data);
    const auto path = "/api/v1/alarms/" + options.Acknowledged + "/acknowledge";
    if (station.Ask({.Method = "POST", .Path = path, .Body = body})) return kDone;
    throw Error(errors::General, "no station is running with this data folder");
}

}  // namespace

int Execute(const HistoryOptions& options, MainLoop& loop) {
    RunBeside(loop, [&](const std::atomic<bool>& stop) {
        auto reader = OpenReader(options.Data, options.Query);
        if (options.Summary) {
            std::cout << Summary(reader, options);
            return;
        }
        bool isEmpty = true;
        const auto heading = options.By ? FiguresHeading(options.Format) : HeadingOf(options.Format);
        const auto write = [&](const std::string& text) {
            isEmpty = isEmpty && text == heading;
            return (std::cout << text) && !stop;
        };
        if (options.By) {
            WriteSpans(reader, options, write);
        } else {
            WriteRows(reader, options.Query, options.Format, write);
        }
        if (isEmpty) OutputOf(false)->Note("nothing was recorded in that time; --since 1d looks further back");
    });
    return kDone;
}

int Execute(const AlarmsOptions& options, MainLoop& loop) {
    if (!options.Acknowledged.empty()) return Acknowledge(options);
    RunBeside(loop, [&](const std::atomic<bool>& stop) {
        auto reader = OpenReader(options.Data, options.Query);
        bool isEmpty = true;
        reader.ReadAlarms(options.Query, [&](const AlarmRow& alarm) {
            isEmpty = false;
            return (std::cout << LineOf(alarm, options.Json)) && !stop;
        });
        if (isEmpty) OutputOf(false)->Note("there was no alarm in that time; --since 30d looks further back");
    });
    return kDone;
}

int Execute(const HistoryExportOptions& options, MainLoop& loop) {
    bool isDone = false;
    RunBeside(loop, [&](const std::atomic<bool>& stop) {
        auto reader = OpenReader(options.Data, options.Query);
        platform::DocumentFile file(options.File);
        if (options.Pdf) {
            file.Write(DocumentOf(reader, options.Query, stop));
        } else {
            WriteRows(reader, options.Query, HistoryFormat::Csv, [&](const std::string& text) {
                file.Write(TextToBytes(text));
                return !stop && file.IsRead();
            });
        }
        isDone = !stop;
        if (isDone) file.Finish();
    });
    if (!isDone) {
        OutputOf(false)->Note("stopped; " + options.File + " is not written");
    } else if (options.File != platform::kStandardOutput) {
        OutputOf(false)->Note("wrote " + options.File);
    }
    return isDone ? kDone : kFailed;
}

}  // namespace orvix::station
