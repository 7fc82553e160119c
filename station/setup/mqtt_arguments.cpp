#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

Command MqttTestCommand() {
    const auto options = std::make_shared<MqttTestOptions>();
    auto broker = StationOption("--mqtt", options->OfStation);
    broker.Help = "the broker: mqtt://HOST, or mqtts://HOST with TLS";
    return {"test",
            "go the way to a broker step by step, and say which step fails and what helps",
            {std::move(broker),
             PathOf("--config", "FILE", "the broker of its [mqtt], as run would use it", options->Configuration),
             DataOption(options->Data), JsonFlag(options->Json)},
            [options]() -> CommandLine {
                if (options->OfStation.empty() && options->Configuration.empty()) {
                    throw UsageError("name the broker: --mqtt URL, or --config FILE with its [mqtt]");
                }
                return *options;
            }};
}

Command MqttStatusCommand() {
    const auto options = std::make_shared<MqttStatusOptions>();
    return {"status",
            "how the running station and its broker get on, and how many recorded rows wait",
            {DataOption(options->Data), JsonFlag(options->Json)},
            [options] { return *options; }};
}

}  // namespace

Command MqttCommand() {
    return {.Name = "mqtt",
            .Help = "look at the way to an MQTT broker",
            .Arguments = {},
            .Finish = nullptr,
            .Inside = {MqttTestCommand(), MqttStatusCommand()}};
}

}  // namespace orvix::station
