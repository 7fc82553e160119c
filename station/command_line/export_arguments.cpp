#include <algorithm>
#include <memory>

#include "host/iOrvixDevice.h"
#include "station/command_line/arguments.h"

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

struct RawExportOptions {
    RawBusOptions Bus;
    RawPeriod Period;
    std::string From;
    std::string Format;
    std::string Out;
};

const FormatName& FormatNamed(const std::string& name) {
    return *std::find_if(std::begin(kFormatNames), std::end(kFormatNames),
                         [&](const FormatName& known) { return known.Name == name; });
}

HistoryExportOptions ReadHistoryExport(const RawExportOptions& raw) {
    if (!raw.From.empty()) throw UsageError("--from goes with a device's formats, not with --format " + raw.Format);
    if (raw.Bus.Ports.size() > 1 || raw.Bus.Devices.size() > 1) {
        throw UsageError("name one port and one device of the history, or none for all of them");
    }
    return {.Query = {.Port = raw.Bus.Ports.empty() ? "" : PortLabelOf(raw.Bus.Ports[0]),
                      .Device = raw.Bus.Devices.empty() ? "" : raw.Bus.Devices[0],
                      .Time = ReadPeriod(raw.Period)},
            .Pdf = raw.Format == std::string("pdf"),
            .File = AbsolutePath(raw.Out),
            .Data = raw.Bus.Parsed.Data};
}

ExportOptions ReadExport(const RawExportOptions& raw, const CLI::App& command) {
    ExportOptions options{
        .Bus = ReadBusOptions(raw.Bus, command), .From = {}, .Target = {.File = AbsolutePath(raw.Out), .Format = {}}};
    if (!raw.From.empty()) options.From = AbsolutePath(raw.From);
    if (options.From.empty() && !NamesOneDevice(options.Bus)) {
        throw UsageError("name the one device to export: --device ADDRESS:MODEL, or a saved one: --from FILE");
    }
    if (!raw.Period.Since.empty() || !raw.Period.Until.empty()) {
        throw UsageError("--since and --until go with --format csv or pdf");
    }
    options.Target.Format = FormatNamed(raw.Format).Format;
    return options;
}

}  // namespace

void AddExport(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("export", "write a device's log and state, or recorded readings, to a file");
    const auto raw = std::make_shared<RawExportOptions>();
    AddBusOptions(*command, raw->Bus);
    AddPath(*command, "--from", raw->From, "FILE", "a saved device file in place of a device on the bus")
        ->excludes(kPort)
        ->excludes(kDevice);
    command
        ->add_option("--format", raw->Format,
                     "of a device: text, report (PDF), or device (for --from); of the history: csv or pdf")
        ->required()
        ->check(CLI::IsMember(NamesOf(kFormatNames)));
    AddPeriodOptions(*command, raw->Period);
    AddPath(*command, "--out", raw->Out, "FILE", "the file, replaced when it is there")->required();
    command->callback([raw, command, &result] {
        if (FormatNamed(raw->Format).IsOfHistory) {
            result = ReadHistoryExport(*raw);
        } else {
            result = ReadExport(*raw, *command);
        }
    });
}

}  // namespace orvix::station
