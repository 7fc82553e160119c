#include <iostream>

#include "station/commands/commands.h"
#include "station/commands/port_scan.h"
#include "station/json/json.h"
#include "station/model/clock.h"

namespace orvix::station {
namespace {

void Write(const Json& object) {
    std::cout << Dump(object) << std::endl;
}

Json JsonOf(const std::string& port, const FoundDevice& device) {
    Json object{{"time", IsoText(UnixMilliseconds())},
                {"event", "device"},
                {"port", port},
                {"address", device.Address},
                {"model", device.Model == 0 ? Json(nullptr) : Json(device.Model)},
                {"serial", SerialJson(device.SerialNumber)},
                {"variable", device.Variable},
                {"value", ToJson(device.Value)},
                {"suspect", device.Suspect},
                {"late", device.AnswersLate}};
    if (device.Suspect) object["reason"] = kSuspicion;
    return object;
}

void WriteSummary(const ScanOptions& options, const PortScan& scan, bool isWhole) {
    const auto& progress = scan.Progress();
    Write({{"time", IsoText(UnixMilliseconds())},
           {"event", "scan"},
           {"port", *options.Bus.Ports[0].Path},
           {"from", options.Range.From},
           {"to", options.Range.To},
           {"asked", progress.Done},
           {"found", scan.Found().size()},
           {"seconds", std::chrono::duration<double>(progress.Elapsed).count()},
           {"complete", isWhole}});
}

void SaySummary(const PortScan& scan, bool isWhole) {
    const auto& progress = scan.Progress();
    std::cerr << "nimbo1: " << (isWhole ? "" : "interrupted: ") << progress.Done << " of " << progress.Total
              << " addresses asked, " << scan.Found().size() << " found";
    if (isWhole && scan.Found().empty()) std::cerr << "; look at power and wiring, or try a longer --timeout-factor";
    std::cerr << std::endl;
}

}  // namespace

int Execute(const ScanOptions& options, MainLoop& loop) {
    const auto station = OpenStation(options.Bus.Data);
    const auto setup = SetupOf(options.Bus, options.Bus.Ports[0], *station);
    bool isWhole = false;
    std::optional<std::string> failure;
    const auto output = OutputOf(options.Bus.Json);
    TellNotices(*station, *output);
    PortScan scan(
        *station, loop.Apartment(), setup, options.Range, *output, std::cerr, true,
        [&](const FoundDevice& device) {
            if (options.Bus.Json) {
                Write(JsonOf(setup.PortLabel, device));
            } else {
                std::cout << DescriptionOf(device) << std::endl;
            }
            if (!std::cout) loop.Stop();
        },
        [&](const std::optional<std::string>& reason) {
            failure = reason;
            isWhole = !reason;
            loop.Stop();
        });
    loop.Run();

    scan.ClearDisplay();
    if (options.Remember) scan.Remember(station->Folders.Database, setup.PortPath);
    if (options.Bus.Json) {
        WriteSummary(options, scan, isWhole);
    } else {
        SaySummary(scan, isWhole);
    }
    if (failure) throw Error(errors::General, *failure);
    if (options.Remember && !station->Host.WhyPassing().empty()) {
        throw Error(errors::General, "the devices found are not remembered: " + station->Host.WhyPassing());
    }
    return kDone;
}

}  // namespace orvix::station
