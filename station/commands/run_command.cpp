#include <iostream>

#include "simulator/bus_server.h"
#include "station/bus/clock.h"
#include "station/commands/commands.h"
#include "station/control/control_server.h"
#include "station/health/health_book.h"
#include "station/health/health_requests.h"
#include "station/health/health_text.h"
#include "station/health/metrics.h"
#include "station/history/history_recorder.h"
#include "station/history/history_schema.h"
#include "station/run/station_run.h"

namespace orvix::station {
namespace {

/// Tells the output what happens, and stops the program when nobody reads it any more.
class OutputListener : public Listener {
public:
    OutputListener(Output& output, MainLoop& loop, bool verbose) : m_Output(output), m_Loop(loop), m_Verbose(verbose) {}

    bool AnyGood() const { return m_AnyGood; }

    void OnReading(const Reading& reading) override {
        m_AnyGood = m_AnyGood || reading.Valid();
        m_Output.Show(reading);
        if (!std::cout) m_Loop.Stop();
    }
    void OnTrouble(const std::string& port, const Failure& failure) override { m_Output.Trouble(port, failure); }
    void OnMessage(const std::string& port, const std::string& text) override {
        if (m_Verbose) m_Output.Message(port, text);
    }

private:
    Output& m_Output;
    MainLoop& m_Loop;
    bool m_Verbose;
    bool m_AnyGood = false;
};

/// Gives a bus that names no port the simulated one, and its devices when none are named.
std::unique_ptr<simulator::BusServer> SimulateBus(BusSetup& setup) {
    const auto devices = DemonstrationDevices();
    auto server = std::make_unique<simulator::BusServer>(simulator::SimulatedBus(devices), 0);
    setup.PortPath = server->Terminal().Path();
    if (setup.Devices.empty()) {
        for (const auto& device : devices)
            setup.Devices.push_back({device.Address, device.Model, {}, {}});
    }
    return server;
}

/// Where the station is asked while it runs. None when the data folder takes no socket, which is said.
std::unique_ptr<ControlServer> OpenControl(const std::string& folder, MainLoop& loop,
                                           const std::function<StationHealth()>& health, Output& output) {
    try {
        auto control = std::make_unique<ControlServer>(
            folder, loop.Apartment(),
            ControlServer::Requests{{kHealthRequest, [health] { return PlainHealth(health()); }},
                                    {kHealthJsonRequest, [health] { return JsonHealth(health()); }}});
        if (const auto other = control->OtherStation()) {
            output.Note("another station (process " + std::to_string(*other) + ") uses the data folder " + folder +
                        " too; both work, and nimbo1 health shows both");
        }
        return control;
    } catch (const Error& error) {
        output.Note("nimbo1 health cannot ask this station: " + error.Description);
        return nullptr;
    }
}

std::unique_ptr<HistoryRecorder> RecordHistory(const RunOptions& options, const Station& station, Output& output,
                                               MainLoop& loop) {
    if (!options.History.On) return nullptr;
    const auto say = [&](const std::string& text) { loop.Apartment().Post([&output, text] { output.Note(text); }); };
    return std::make_unique<HistoryRecorder>(station.Folders.Data + kHistoryFile, options.History, say);
}

}  // namespace

int Execute(const RunOptions& options, MainLoop& loop) {
    auto station = OpenStation(options.Bus);
    const auto output = OutputOf(options.Bus.Json);
    OutputListener listener(*output, loop, options.Bus.Verbose);

    const auto history = RecordHistory(options, *station, *output, loop);

    std::unique_ptr<simulator::BusServer> simulated;
    HealthBook healthBook;
    StationRun run(*station, loop.Apartment());
    run.Add(listener);
    run.Add(healthBook);
    const auto health = [&] { return healthBook.At(loop.Apartment().Now(), UnixMilliseconds(), run.Values()); };
    const auto control = OpenControl(station->Folders.Data, loop, health, *output);
    std::unique_ptr<MetricsServer> metrics;
    if (!options.Metrics.empty()) {
        metrics = std::make_unique<MetricsServer>(options.Metrics, loop.Apartment(), health);
    }
    if (history) run.Add(*history);
    for (const auto& port : options.Bus.Ports) {
        auto setup = SetupOf(options.Bus, port, *station);
        setup.Every = options.Every;
        if (!port.Path) {
            simulated = SimulateBus(setup);
            output->Note("this bus is simulated; name a real one with --port PATH --device ADDRESS:MODEL");
        }
        run.Start(setup);
    }

    const auto end = loop.Apartment().CreateTimer([&] { loop.Stop(); });
    if (options.For) end->Rearm(static_cast<std::int32_t>(options.For->count()), true);
    loop.Run();
    const auto lost = history ? history->Close() : 0;
    if (lost > 0) output->Note("history: " + std::to_string(lost) + " readings could not be written and are lost");
    return listener.AnyGood() ? kDone : kFailed;
}

}  // namespace orvix::station
