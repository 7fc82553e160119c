#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/bus_starter.h"
#include "station/commands/commands.h"
#include "station/commands/run_setup.h"
#include "station/history/history_recorder.h"
#include "station/history/history_schema.h"
#include "station/output/episodes.h"
#include "station/run/station_run.h"
#include "station/screen/live_screen.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kPassingPeriodMs = 5000;

/// Tells the output what happens, and stops the program when nobody reads it any more.
class OutputListener : public Listener {
public:
    OutputListener(Output& output, MainLoop& loop, bool verbose)
        : m_Output(output),
          m_Loop(loop),
          m_Verbose(verbose),
          m_Passing(loop.Apartment().CreateTimer([this] { TellAll(m_Episodes.OnPassing(Now())); })) {
        m_Passing->Rearm(kPassingPeriodMs, true);
    }

    bool AnyGood() const { return m_AnyGood; }
    /// What is not well at the end, for a person; empty when all is.
    std::string Summary() const { return m_Episodes.Summary(Now()); }

    void OnReading(const Reading& reading) override {
        m_AnyGood = m_AnyGood || reading.Valid();
        m_Output.Show(reading);
        TellAll(m_Episodes.OnReading(reading, Now()));
        if (!std::cout) m_Loop.Stop();
    }
    void OnTrouble(const std::string& port, const Failure& failure) override {
        TellAll(m_Episodes.OnTrouble(port, failure, Now()));
    }
    void OnMessage(const std::string& port, const std::string& text) override {
        if (m_Verbose) m_Output.Message(port, text);
    }
    void OnLine(const LineEvent& event) override { TellAll(m_Episodes.OnLine(event, Now())); }
    void OnDeviceGone(const std::string& port, int address) override { m_Episodes.Forget(port, address); }
    void OnPortGone(const std::string& port) override { m_Episodes.Forget(port, 0); }

private:
    Duration Now() const { return m_Loop.Apartment().Now(); }
    void TellAll(const std::vector<EpisodeEvent>& events) {
        for (const auto& event : events)
            m_Output.Tell(event);
    }

    Output& m_Output;
    MainLoop& m_Loop;
    bool m_Verbose;
    bool m_AnyGood = false;
    Episodes m_Episodes;
    std::unique_ptr<Timer> m_Passing;
};

std::unique_ptr<HistoryRecorder> RecordHistory(const HistorySetup& setup, const Station& station, Output& output,
                                               MainLoop& loop) {
    if (!setup.On) return nullptr;
    const auto say = [&](const std::string& text) { loop.Apartment().Post([&output, text] { output.Note(text); }); };
    return std::make_unique<HistoryRecorder>(station.Folders.Data + kHistoryFile, setup, say);
}

/// The live screen, unless lines or objects are asked for or the terminal is none for it; it hears of the window and of
/// a forced end.
class ScreenSession {
public:
    ScreenSession(const RunOptions& options, MainLoop& loop) : m_Loop(loop) {
        if (options.Plain || options.Bus.Json) return;
        m_Screen = OpenLiveScreen(loop.Apartment(), [&loop] { loop.Stop(); });
        if (!m_Screen) return;
        loop.OnWindowChange([this] { m_Screen->Resize(); });
        loop.OnForcedEnd([this] { m_Screen->RestoreTerminal(); });
    }
    ~ScreenSession() { End(); }
    ScreenSession(const ScreenSession&) = delete;
    ScreenSession& operator=(const ScreenSession&) = delete;

    LiveScreen* Get() { return m_Screen.get(); }
    /// Takes the screen down, so that what is said from now on stays to be read.
    void End() {
        if (!m_Screen) return;
        m_Screen->End();
        m_Loop.OnWindowChange([] {});
        m_Loop.OnForcedEnd(nullptr);
    }

private:
    MainLoop& m_Loop;
    std::unique_ptr<LiveScreen> m_Screen;
};

std::unique_ptr<HistoryRecorder> RecordHistory(const RunOptions& options, const Station& station, Output& output,
                                               MainLoop& loop) {
    if (!options.History.On) return nullptr;
    const auto say = [&](const std::string& text) { loop.Apartment().Post([&output, text] { output.Note(text); }); };
    return std::make_unique<HistoryRecorder>(station.Folders.Data + kHistoryFile, options.History, say);
}

}  // namespace

int Execute(const RunOptions& options, MainLoop& loop) {
    const auto setup = SetupOf(options);
    auto station = OpenStation(setup.Data);
    const auto lines = OutputOf(options.Bus.Json);
    ScreenSession session(options, loop);
    auto* screen = session.Get();
    Output& output = screen != nullptr ? *screen : *lines;
    OutputListener listener(output, loop, options.Bus.Verbose);

    const auto history = RecordHistory(setup.History, *station, output, loop);

    const auto history = RecordHistory(setup.History, *station, *output, loop);

    BusStarter::SimulatedBuses simulated;
    StationRun run(*station, loop.Apartment());
    run.Add(listener);
    if (history) run.Add(*history);
    BusStarter starter(*station, run, simulated, loop, output);
    starter.Start(setup.Buses);
    if (screen != nullptr) screen->Watch([&run] { return run.Values(); });

    const auto end = loop.Apartment().CreateTimer([&] { loop.Stop(); });
    if (options.For) end->Rearm(static_cast<std::int32_t>(options.For->count()), true);
    loop.Run();

    session.End();
    const auto lost = history ? history->Close() : 0;
    if (lost > 0) output.Note("history: " + std::to_string(lost) + " readings could not be written and are lost");
    if (const auto summary = listener.Summary(); !summary.empty()) output.Note(summary);
    return listener.AnyGood() ? kDone : kFailed;
}

}  // namespace orvix::station
