#include "station/setup/arguments.h"

// Commands that take next to nothing.

namespace orvix::station {

Command HealthCommand() {
    const auto options = std::make_shared<HealthOptions>();
    auto quiet =
        Flag("--quiet", "only an exit status: 0 when a station answers and its history is written", options->Quiet);
    quiet.Excludes = {"--json", "--watch"};
    return {"health",
            "tell how the running station's buses and devices are doing, and what to do",
            {DataOption(options->Data), JsonFlag(options->Json),
             Flag("--watch", "repeat every two seconds, until Ctrl-C", options->Watch), std::move(quiet)},
            [options] { return *options; }};
}

Command ValuesCommand() {
    const auto options = std::make_shared<ValuesOptions>();
    auto port = TextOf(kPort, "PATH", "only this port", options->Port);
    port.Take = [options](const Value& value) { options->Port = PortLabelOf(value.Text()); };
    return {
        "values",
        "print the latest values of the running station",
        {std::move(port), TextOf(kDevice, "A|NAME", "only the device with this address, name or id", options->Device),
         DataOption(options->Data), JsonFlag(options->Json),
         Flag("--watch", "keep printing new values as they arrive, until Ctrl-C", options->Watch)},
        [options] { return *options; }};
}

Command ReplayCommand() {
    const auto options = std::make_shared<ReplayOptions>();
    auto file = PathOf("file", "FILE", "what nimbo1 record has written, plain or packed with gzip", options->File);
    file.IsRequired = true;
    return {"replay",
            "play a recording back: the same readings, alarms and errors",
            {std::move(file), Flag("--fast", "as fast as possible instead of in real time", options->Fast),
             PathOf("--record", "FILE", "record what is played into this new file", options->Record),
             JsonFlag(options->Json), DataOption(options->Data)},
            [options] { return *options; }};
}

Command TraceCommand() {
    const auto options = std::make_shared<TraceOptions>();
    return {"trace",
            "show the trace lines of all your stations as they come, until Ctrl-C. A station that runs with --trace "
            "looks for this viewer once, with its first line: start the viewer before the stations",
            {JsonFlag(options->Json)},
            [options] { return *options; }};
}

Command ConfigCommand() {
    const auto options = std::make_shared<ConfigCheckOptions>();
    auto file = TextOf("file", "FILE", "the configuration file", options->File);
    file.IsRequired = true;
    Command check{.Name = "check",
                  .Help = "tell what is wrong with a configuration file, or what it holds",
                  .Arguments = {std::move(file)},
                  .Finish = [options] { return *options; },
                  .Inside = {}};
    Command config{
        .Name = "config", .Help = "work with a configuration file", .Arguments = {}, .Finish = nullptr, .Inside = {}};
    config.Inside.push_back(std::move(check));
    return config;
}

}  // namespace orvix::station
