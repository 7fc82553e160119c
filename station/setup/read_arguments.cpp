#include "station/model/reading.h"
#include "station/setup/arguments.h"

namespace orvix::station {

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
    return {"read", "read one variable of one device, then exit", std::move(arguments), [options] {
                if (!NamesOneDevice(options->Bus)) {
                    throw UsageError("name the one device to read: --device ADDRESS:MODEL");
                }
                return *options;
            }};
}

}  // namespace orvix::station
