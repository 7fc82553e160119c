#include "station/setup/arguments.h"

namespace orvix::station {

Command ScanCommand() {
    const auto options = std::make_shared<ScanOptions>();
    auto& range = options->Range;
    return {
        "scan",
        "find the devices on a bus; Ctrl-C ends the search and keeps what was found",
        {{.Name = kPort,
          .Type = "PATH",
          .Help = "serial device",
          .Take = [options](const Value& value) { AddPort(options->Bus, value.Path()); },
          .IsRequired = true},
         WholeOf("--from", "first address [1]", 1, 255, range.From),
         WholeOf("--to", "last address [255]", 1, 255, range.To),
         Flag("--remember", "remember what is found, for nimbo1 run on this port", options->Remember),
         DataOption(options->Bus.Data),
         BusOption("--timeout-factor", options->Bus),
         JsonFlag(options->Bus.Json)},
        [options] {
            const auto& asked = options->Range;
            if (asked.From > asked.To) {
                throw UsageError("--from " + std::to_string(asked.From) + " is after --to " + std::to_string(asked.To));
            }
            return *options;
        }};
}

}  // namespace orvix::station
