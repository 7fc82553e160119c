#include "devices/protocol/device_models.h"
#include "station/model/reading.h"
#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

/// Raises UsageError when the device is of a model that does not measure that.
void CheckMeasures(const DeviceSetup& device, ORVIXCNB1_VARS variable) {
    for (const auto* model : kDeviceModels) {
        if (model->Measurement.VarID != variable || model->DeviceModel == device.Model) continue;
        throw UsageError("device " + std::to_string(device.Address) + " is a " +
                         DeviceModelOf(device.Model).DeviceDescription + ", which has no " + NameOf(variable));
    }
}

}  // namespace

Command ReadCommand() {
    const auto options = std::make_shared<ReadOptions>();
    auto& bus = options->Bus;
    auto arguments = PortArguments([&bus](const Value& value) { AddPort(bus, value.Path()); },
                                   [&bus](const Value& value) { AddDevice(bus, value.Text()); });
    for (auto& argument : BusArguments(bus))
        arguments.push_back(std::move(argument));
    arguments.push_back(
        {.Name = "variable",
         .Type = ChoiceOf(kVariableNames),
         .Help = "what to read",
         .Take = [options](const Value& value) { options->Variable = RowNamed(kVariableNames, value.Text()).VarID; },
         .IsRequired = true});
    return {"read", "read one variable of devices on one port, then exit", std::move(arguments), [options] {
                const auto& ports = options->Bus.Ports;
                if (ports.size() > 1 || ports[0].Devices.empty()) {
                    throw UsageError("name what to read on one port: --device ADDRESS:MODEL");
                }
                for (const auto& device : ports[0].Devices)
                    CheckMeasures(device, options->Variable);
                return *options;
            }};
}

}  // namespace orvix::station
