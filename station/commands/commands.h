#pragma once

#include <memory>
#include <optional>

#include "station/commands/main_loop.h"
#include "station/run/output.h"
#include "station/setup/command_line.h"
#include "station/source/bus_thread.h"

namespace orvix::simulator {
class BusServer;
}

namespace orvix::station {

/// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;  ///< the device or the line failed
inline constexpr int kWrongUsage = 2;

/// The commands. Each runs until it is done or the main loop is stopped, and returns the exit status. They raise what
/// keeps them from starting.
int Execute(const RunOptions& options, MainLoop& loop);
int Execute(const ReadOptions& options, MainLoop& loop);
int Execute(const ExportOptions& options, MainLoop& loop);
int Execute(const HistoryOptions& options, MainLoop& loop);
int Execute(const AlarmsOptions& options, MainLoop& loop);
int Execute(const HistoryExportOptions& options, MainLoop& loop);
int Execute(const SimulateOptions& options, MainLoop& loop);
int Execute(const RehearsalOptions& options, MainLoop& loop);
int Execute(const CollectOptions& options, MainLoop& loop);
int Execute(const TraceOptions& options, MainLoop& loop);
int Execute(const ScanOptions& options, MainLoop& loop);
int Execute(const DevicesOptions& options, MainLoop& loop);
int Execute(const ConfigCheckOptions& options, MainLoop& loop);
int Execute(const MqttTestOptions& options, MainLoop& loop);
int Execute(const MqttStatusOptions& options, MainLoop& loop);
int Execute(const ValuesOptions& options, MainLoop& loop);
int Execute(const HealthOptions& options, MainLoop& loop);
int Execute(const ReplayOptions& options, MainLoop& loop);
int Execute(const TextOptions& options, MainLoop& loop);

/// What a command needs before its bus: folders, database, library. `data` is the data folder; empty: the user's.
std::unique_ptr<StationResources> OpenStation(const std::string& data);
/// Says what had to be done to open it.
void TellNotices(const StationResources& station, Output& output);
/// The setup of the bus on one of the ports that the options name.
BusSetup SetupOf(const BusOptions& options, const PortOptions& port, StationResources& station);
/// The port of a command that works on one. Raises UsageError when more are named.
const PortOptions& OnlyPort(const BusOptions& options);
/// `namesPorts`: lines tell which port they are about.
std::unique_ptr<Output> OutputOf(bool json, bool namesPorts = false);
/// For commands that have a bus do one thing and tell its outcome themselves: only the library's messages, when asked
/// for.
class MessagesOnly : public Listener {
public:
    MessagesOnly(const BusOptions& options, Output& output) : m_Wanted(options.Verbose), m_Output(output) {}

    void OnMessage(const std::string& /*port*/, const std::string& text) override { m_Output.Note(text); }
    bool WantsMessages() const override { return m_Wanted; }

private:
    const bool m_Wanted;
    Output& m_Output;
};

/// The bus for those who have none: two sensors and a digital module.
std::vector<simulator::SimulatedDevice> DemonstrationDevices();
/// Gives a setup without a port that bus, and says so. Null when there is a port.
std::unique_ptr<simulator::BusServer> SimulatedUnlessPort(const BusOptions& options, BusSetup& setup, Output& output);

}  // namespace orvix::station
