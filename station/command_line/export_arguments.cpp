#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

struct FormatName {
    const char* Name;
    std::int32_t Format;
};

constexpr FormatName kFormatNames[] = {
    {"text", kFileFormatText}, {"report", kFileFormatReport}, {"device", kFileFormatDevice}};

struct RawExportOptions {
    RawBusOptions Bus;
    std::string From;
    std::string Format;
    std::string Out;
};

ExportOptions ReadExport(const RawExportOptions& raw, const CLI::App& command) {
    ExportOptions options{
        .Bus = ReadBusOptions(raw.Bus, command), .From = {}, .Target = {.File = AbsolutePath(raw.Out), .Format = {}}};
    if (!raw.From.empty()) options.From = AbsolutePath(raw.From);
    if (options.From.empty() && !NamesOneDevice(options.Bus)) {
        throw UsageError("name the one device to export: --device ADDRESS:MODEL, or a saved one: --from FILE");
    }
    for (const auto& known : kFormatNames) {
        if (raw.Format == known.Name) options.Target.Format = known.Format;
    }
    return options;
}

}  // namespace

void AddExport(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("export", "write a device's log and state to a file");
    const auto raw = std::make_shared<RawExportOptions>();
    AddBusOptions(*command, raw->Bus);
    AddPath(*command, "--from", raw->From, "FILE", "a saved device file in place of a device on the bus")
        ->excludes(kPort)
        ->excludes(kDevice);
    command->add_option("--format", raw->Format, "text: a listing; report: PDF; device: for --from")
        ->required()
        ->check(CLI::IsMember(NamesOf(kFormatNames)));
    AddPath(*command, "--out", raw->Out, "FILE", "the file, replaced when it is there")->required();
    command->callback([raw, command, &result] { result = ReadExport(*raw, *command); });
}

}  // namespace orvix::station
