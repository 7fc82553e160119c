#include <atomic>
#include <future>
#include <iostream>

#include "host/text.h"
#include "platform/atomic_file.h"
#include "station/commands/commands.h"
#include "station/commands/history_format.h"
#include "station/commands/history_report.h"
#include "station/commands/plot_samples.h"
#include "station/library/folders.h"
#include "station/model/clock.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

constexpr std::size_t kChunk = std::size_t{64} * 1024;
constexpr mode_t kDocument = 0666;

HistoryReader OpenReader(const std::string& data) {
    return {FindFolders(data).Data + kHistoryFile, UnixMilliseconds()};
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
    const auto series = reader.Find(query);
    std::string text = HeadingOf(format);
    reader.Read(series, query.Time, [&](const HistoryRow& row) {
        text += LineOf(row, format);
        if (text.size() < kChunk) return true;
        const bool goesOn = write(text);
        text.clear();
        return goesOn;
    });
    write(text);
}

std::string Summary(HistoryReader& reader, const HistoryOptions& options) {
    std::vector<SeriesSummary> summaries;
    for (const auto& series : reader.Find(options.Query))
        summaries.push_back(reader.Summarize(series, options.Query.Time));
    return SummaryText(summaries, options.Format);
}

ByteArray Document(HistoryReader& reader, const HistoryQuery& query, const std::atomic<bool>& stop) {
    std::vector<ReportedSeries> reported;
    for (const auto& series : reader.Find(query)) {
        PlotSamples samples(query.Time);
        reader.Read({series}, query.Time, [&](const HistoryRow& row) {
            samples.Add(row);
            return !stop;
        });
        reported.push_back({reader.Summarize(series, query.Time), samples.Finish()});
    }
    return DrawHistory(reported, query.Time, FromUnixMilliseconds(UnixMilliseconds()));
}

}  // namespace

int Execute(const HistoryOptions& options, MainLoop& loop) {
    RunBeside(loop, [&](const std::atomic<bool>& stop) {
        auto reader = OpenReader(options.Data);
        if (options.Summary) {
            std::cout << Summary(reader, options);
            return;
        }
        bool isEmpty = true;
        WriteRows(reader, options.Query, options.Format, [&](const std::string& text) {
            isEmpty = isEmpty && text == HeadingOf(options.Format);
            return (std::cout << text) && !stop;
        });
        if (isEmpty) OutputOf(false)->Note("nothing was recorded in that time; --since 1d looks further back");
    });
    return kDone;
}

int Execute(const AlarmsOptions& options, MainLoop& loop) {
    RunBeside(loop, [&](const std::atomic<bool>& stop) {
        auto reader = OpenReader(options.Data);
        bool isEmpty = true;
        reader.ReadAlarms(reader.Find(options.Query), options.Query.Time, [&](const AlarmRow& alarm) {
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
        auto reader = OpenReader(options.Data);
        platform::FileReplacement file(options.File, kDocument);
        if (options.Pdf) {
            file.Write(Document(reader, options.Query, stop));
        } else {
            WriteRows(reader, options.Query, HistoryFormat::Csv, [&](const std::string& text) {
                file.Write(TextToBytes(text));
                return !stop;
            });
        }
        isDone = !stop;
        if (isDone) file.Finish();
    });
    OutputOf(false)->Note(isDone ? "wrote " + options.File : "stopped; " + options.File + " is as it was");
    return isDone ? kDone : kFailed;
}

}  // namespace orvix::station
