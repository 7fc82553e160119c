#include <iomanip>
#include <iostream>

#include "station/commands/commands.h"
#include "station/json/json.h"
#include "station/library/folders.h"
#include "station/mqtt/broker_trial.h"
#include "station/setup/configuration.h"
#include "station/sink/mqtt/station_name.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kStepLimit{10};
constexpr int kStepWidth = 12;
constexpr int kResultWidth = 8;

MqttSetup MqttSetupOf(const MqttTestOptions& options) {
    StationSetup setup;
    if (!options.Configuration.empty()) setup = LoadConfiguration(options.Configuration);
    Apply(options.OfStation, setup);
    if (!setup.Mqtt.IsOn()) {
        throw ConfigurationError(
            {options.Configuration + ": no broker is set: write [mqtt] and broker = \"mqtt://HOST\""});
    }
    if (setup.Mqtt.Station.empty()) {
        const auto& data = options.Data.empty() ? setup.Data : options.Data;
        setup.Mqtt.Station = StationNameToTry(FindFolders(data).Data);
    }
    return setup.Mqtt;
}

void ShowStep(const TrialStep& step, bool isJson) {
    if (isJson) {
        std::cout << Dump({{"step", NameOf(step.Step)}, {"ok", step.IsGood}, {"text", step.Text}}) << std::endl;
        return;
    }
    std::cout << std::left << std::setw(kStepWidth) << NameOf(step.Step) << std::setw(kResultWidth)
              << (step.IsGood ? "ok" : "FAILED") << step.Text << std::endl;
}

}  // namespace

int Execute(const MqttTestOptions& options, MainLoop& loop) {
    const auto setup = MqttSetupOf(options);
    if (!options.Json) {
        std::cout << "MQTT broker " << setup.Broker.Host << ":" << setup.Broker.Port << ", topics begin with "
                  << setup.Begin() << std::endl;
    }
    bool isGood = false;
    const BrokerTrial trial(
        setup, loop.Apartment(), kStepLimit,
        [&](const TrialStep& step) {
            ShowStep(step, options.Json);
            isGood = step.IsGood && step.Step == MqttStep::Topic;
        },
        [&] { loop.Stop(); });
    loop.Run();
    return isGood ? kDone : kFailed;
}

}  // namespace orvix::station
