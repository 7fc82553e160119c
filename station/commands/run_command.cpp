#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/bus_starter.h"
#include "station/commands/commands.h"
#include "station/commands/run_setup.h"
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

std::unique_ptr<HistoryRecorder> RecordHistory(const HistorySetup& setup, const Station& station, Output& output,
                                               MainLoop& loop) {
    if (!setup.On) return nullptr;
    const auto say = [&](const std::string& text) { loop.Apartment().Post([&output, text] { output.Note(text); }); };
    return std::make_unique<HistoryRecorder>(station.Folders.Data + kHistoryFile, setup, say);
}

}  // namespace

int Execute(const RunOptions& options, MainLoop& loop) {
    const auto setup = SetupOf(options);
    auto station = OpenStation(setup.Data);
    const auto output = OutputOf(options.Bus.Json);
    OutputListener listener(*output, loop, options.Bus.Verbose);

    const auto history = RecordHistory(setup.History, *station, *output, loop);

    BusStarter::SimulatedBuses simulated;
    StationRun run(*station, loop.Apartment());
    run.Add(listener);
    if (history) run.Add(*history);
    BusStarter starter(*station, run, simulated, loop, *output);
    starter.Start(setup.Buses);

    const auto end = loop.Apartment().CreateTimer([&] { loop.Stop(); });
    if (options.For) end->Rearm(static_cast<std::int32_t>(options.For->count()), true);
    loop.Run();
    const auto lost = history ? history->Close() : 0;
    if (lost > 0) output->Note("history: " + std::to_string(lost) + " readings could not be written and are lost");
    return listener.AnyGood() ? kDone : kFailed;
}

}  // namespace orvix::station
