#include <memory>

#include "station/command_line/arguments.h"
#include "station/model/reading.h"

namespace orvix::station {
namespace {

struct RawReadOptions {
    RawBusOptions Bus;
    std::string Variable;
};

ReadOptions ReadRead(const RawReadOptions& raw, const CLI::App& command) {
    ReadOptions options{.Bus = ReadBusOptions(raw.Bus, command), .Variable = {}};
    if (!NamesOneDevice(options.Bus)) throw UsageError("name the one device to read: --device ADDRESS:MODEL");
    for (const auto& known : kVariableNames) {
        if (raw.Variable == known.Name) options.Variable = known.VarID;
    }
    return options;
}

}  // namespace

void AddRead(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("read", "read one variable of one device, then exit");
    const auto raw = std::make_shared<RawReadOptions>();
    AddBusOptions(*command, raw->Bus);
    command->add_option("variable", raw->Variable, "what to read")
        ->required()
        ->check(CLI::IsMember(NamesOf(kVariableNames)));
    command->callback([raw, command, &result] { result = ReadRead(*raw, *command); });
}

}  // namespace orvix::station
