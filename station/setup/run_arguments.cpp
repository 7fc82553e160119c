#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

// Timers count milliseconds in 32 bits.
constexpr std::chrono::hours kLongestRun{24 * 24};

Argument ForOption(std::optional<std::chrono::milliseconds>& target) {
    return {.Name = "--for", .Type = "TIME", .Help = "stop after this time", .Take = [&target](const Value& value) {
                target = value.Span(std::chrono::milliseconds(1), kLongestRun);
            }};
}

/// A command that goes online and prints each reading; it keeps a recording in the file that `recordOption` names.
Command Running(const char* name, const char* help, const char* recordOption) {
    const auto options = std::make_shared<RunOptions>();
    auto& bus = options->Bus;
    auto arguments = PortArguments([&bus](const Value& value) { AddPort(bus, value.Path()); },
                                   [&bus](const Value& value) { AddDevice(bus, value.Text()); });
    auto record = PathOf(recordOption, "FILE", "keep what happens on the lines in this new file, for nimbo1 replay",
                         options->Record);
    record.IsRequired = !record.Name.starts_with('-');
    arguments.push_back(std::move(record));
    for (auto& argument : BusArguments(bus))
        arguments.push_back(std::move(argument));
    arguments.push_back(PathOf("--config", "FILE",
                               "file with buses, devices and everything else; options here take precedence",
                               options->Configuration));
    arguments.push_back(BusOption("--every", bus));
    arguments.push_back(ForOption(options->For));
    auto plain = Flag("--plain", "lines instead of the live screen, also on a terminal", options->Plain);
    plain.Excludes = {"--json"};
    arguments.push_back(std::move(plain));
    arguments.push_back(Flag("-q,--quiet", "no readings, only what is out of the ordinary", options->Quiet));
    for (const char* option : {"--web", "--web-tokens", "--mqtt", "--metrics", "--no-history"})
        arguments.push_back(StationOption(option, options->OfStation));
    return {name, help, std::move(arguments), [options] { return *options; }};
}

}  // namespace

Command RunCommand() {
    return Running("run",
                   "go online and show the readings (the default command): live on a terminal, otherwise one per line",
                   "--record");
}

Command RecordCommand() {
    return Running("record", "the same as run --record FILE", "file");
}

Command CollectCommand() {
    const auto options = std::make_shared<CollectOptions>();
    std::vector<Argument> arguments{
        PathOf("--config", "FILE", "broker, page and all else; options here win over it", options->Configuration)};
    for (const char* option : {"--data", "--mqtt", "--web", "--web-tokens", "--metrics"})
        arguments.push_back(StationOption(option, options->OfStation));
    arguments.push_back(ForOption(options->For));
    return {"collect", "show the stations that report to a broker as one", std::move(arguments),
            [options] { return *options; }};
}

}  // namespace orvix::station
