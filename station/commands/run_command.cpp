#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/commands.h"
#include "station/history/history_recorder.h"
#include "station/history/history_schema.h"
#include "station/recording/recorder.h"
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

std::unique_ptr<Recorder> RecordTo(const std::string& file, const std::vector<BusSetup>& setups, MainLoop& loop,
                                   Output& output) {
    auto& home = loop.Apartment();
    return std::make_unique<Recorder>(
        file, setups, home.Now(), [&](const std::string& text) { home.Post([&output, text] { output.Note(text); }); });
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
    std::unique_ptr<Recorder> recorder;
    StationRun run(*station, loop.Apartment());
    run.Add(listener);
    if (history) run.Add(*history);
    std::vector<BusSetup> setups;
    for (const auto& port : options.Bus.Ports) {
        auto setup = SetupOf(options.Bus, port, *station);
        setup.Every = options.Every;
        if (!port.Path) {
            simulated = SimulateBus(setup);
            output->Note("this bus is simulated; name a real one with --port PATH --device ADDRESS:MODEL");
        }
        setups.push_back(std::move(setup));
    }
    if (!options.Record.empty()) {
        recorder = RecordTo(options.Record, setups, loop, *output);
        run.Add(*recorder);
    }
    for (const auto& setup : setups)
        run.Start(setup);

    const auto end = loop.Apartment().CreateTimer([&] { loop.Stop(); });
    if (options.For) end->Rearm(static_cast<std::int32_t>(options.For->count()), true);
    loop.Run();
    if (recorder) {
        if (const auto missing = recorder->Finish()) output->Note(*missing);
    }
    const auto lost = history ? history->Close() : 0;
    if (lost > 0) output->Note("history: " + std::to_string(lost) + " readings could not be written and are lost");
    return listener.AnyGood() ? kDone : kFailed;
}

}  // namespace orvix::station
