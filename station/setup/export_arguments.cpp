#include "host/iOrvixDevice.h"
#include "platform/document_file.h"
#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

struct FormatName {
    const char* Name;
    std::int32_t Format;
    bool IsOfHistory;
};

constexpr FormatName kFormatNames[] = {{"text", kFileFormatText, false},
                                       {"report", kFileFormatReport, false},
                                       {"device", kFileFormatDevice, false},
                                       {"csv", 0, true},
                                       {"pdf", 0, true}};

/// What is to be exported, before the format tells whether ports and devices are those of a bus or of the history.
struct ExportTexts {
    std::vector<std::string> Ports;
    std::vector<std::string> Devices;
    /// In the order in which they stand.
    std::vector<std::pair<void (*)(BusOptions&, const std::string&), std::string>> OfBus;
    BusOptions Bus;
    PeriodTexts Time;
    std::string From;
    std::string Out;
    FormatName Format{};
};

std::string OutputOf(const Value& value) {
    return value.Text() == platform::kStandardOutput ? value.Text() : value.Path();
}

HistoryExportOptions HistoryExport(const ExportTexts& texts) {
    const std::string format = texts.Format.Name;
    if (!texts.From.empty()) throw UsageError("--from goes with a device's formats, not with --format " + format);
    if (texts.Ports.size() > 1 || texts.Devices.size() > 1) {
        throw UsageError("name one port and one device of the history, or none for all of them");
    }
    return {.Query = {.Port = texts.Ports.empty() ? "" : PortLabelOf(texts.Ports[0]),
                      .Device = texts.Devices.empty() ? "" : texts.Devices[0],
                      .Time = PeriodOf(texts.Time)},
            .Pdf = format == "pdf",
            .File = texts.Out,
            .Data = texts.Bus.Data};
}

ExportOptions DeviceExport(const ExportTexts& texts) {
    ExportOptions options{.Bus = texts.Bus, .From = texts.From, .Format = texts.Format.Format, .File = texts.Out};
    for (const auto& [add, text] : texts.OfBus)
        add(options.Bus, text);
    if (options.From.empty() && !NamesOneDevice(options.Bus)) {
        throw UsageError("name the one device to export: --device ADDRESS:MODEL, or a saved one: --from FILE");
    }
    if (!texts.Time.Since.empty() || !texts.Time.Until.empty()) {
        throw UsageError("--since and --until go with --format csv or pdf");
    }
    return options;
}

}  // namespace

Command ExportCommand() {
    const auto texts = std::make_shared<ExportTexts>();
    auto arguments = PortArguments(
        [texts](const Value& value) {
            texts->Ports.push_back(value.Text());
            texts->OfBus.emplace_back(AddPort, value.Path());
        },
        [texts](const Value& value) {
            texts->Devices.push_back(value.Text());
            texts->OfBus.emplace_back(AddDevice, value.Text());
        });
    for (auto& argument : BusArguments(texts->Bus))
        arguments.push_back(std::move(argument));
    arguments.push_back(PathOf("--from", "FILE", "a saved device file instead of a device on the bus", texts->From));
    arguments.back().Excludes = {kPort, kDevice};
    arguments.push_back(
        {.Name = "--format",
         .Type = ChoiceOf(kFormatNames),
         .Help = "for a device: text, report (PDF), or device (for --from); for the history: csv or pdf",
         .Take = [texts](const Value& value) { texts->Format = RowNamed(kFormatNames, value.Text()); },
         .IsRequired = true});
    for (auto& argument : PeriodArguments(texts->Time))
        arguments.push_back(std::move(argument));
    arguments.push_back({.Name = "--out",
                         .Type = "FILE",
                         .Help = "the file, replaced if it exists; - is standard output",
                         .Take = [texts](const Value& value) { texts->Out = OutputOf(value); },
                         .IsRequired = true});
    return {"export", "write a device's log and state, or recorded readings, to a file", std::move(arguments),
            [texts]() -> CommandLine {
                if (texts->Format.IsOfHistory) return HistoryExport(*texts);
                return DeviceExport(*texts);
            }};
}

}  // namespace orvix::station
