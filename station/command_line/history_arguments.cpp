#include <memory>

#include "host/error.h"
#include "station/command_line/arguments.h"
#include "station/model/clock.h"
#include "station/model/history_time.h"

namespace orvix::station {
namespace {

struct RawHistoryOptions {
    std::string Port;
    std::string Device;
    RawPeriod Period;
    bool Csv = false;
    bool Json = false;
    HistoryOptions Parsed;
};

struct RawAlarmsOptions {
    std::string Port;
    std::string Device;
    RawPeriod Period;
    AlarmsOptions Parsed;
};

constexpr char kLastWeek[] = "7d";

void AddQueryOptions(CLI::App& command, std::string& port, std::string& device) {
    AddPath(command, kPort, port, "PATH", "only of this port");
    AddPath(command, kDevice, device, "A|NAME", "only of the device with this address or name");
}

HistoryOptions ReadHistory(const RawHistoryOptions& raw) {
    auto options = raw.Parsed;
    options.Query = {.Port = PortLabelOf(raw.Port), .Device = raw.Device, .Time = ReadPeriod(raw.Period)};
    if (raw.Csv) options.Format = HistoryFormat::Csv;
    if (raw.Json) options.Format = HistoryFormat::Json;
    return options;
}

AlarmsOptions ReadAlarms(const RawAlarmsOptions& raw) {
    auto options = raw.Parsed;
    options.Query = {.Port = PortLabelOf(raw.Port), .Device = raw.Device, .Time = ReadPeriod(raw.Period, kLastWeek)};
    return options;
}

std::int64_t TimeOf(const char* option, const std::string& text, std::int64_t now) {
    try {
        return ParseHistoryTime(text, now);
    } catch (const Error& error) {
        throw UsageError(std::string(option) + " " + error.Description);
    }
}

}  // namespace

std::string PortLabelOf(const std::string& port) {
    return port.empty() || port == kSimulatedPort ? port : AbsolutePath(port);
}

void AddPeriodOptions(CLI::App& command, RawPeriod& raw, const std::string& since) {
    command
        .add_option("--since", raw.Since,
                    "recorded since then: 15m, 2h or 30d ago, or 2026-11-22T10:00 (UTC) [" + since + "]")
        ->type_name("TIME");
    command.add_option("--until", raw.Until, "recorded before then [now]")->type_name("TIME");
}

Period ReadPeriod(const RawPeriod& raw, const std::string& since) {
    const auto now = UnixMilliseconds();
    const Period period{TimeOf("--since", raw.Since.empty() ? since : raw.Since, now),
                        TimeOf("--until", raw.Until.empty() ? "0s" : raw.Until, now)};
    if (period.Since >= period.Until) throw UsageError("--since is not before --until");
    return period;
}

void AddHistory(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("history", "print what stations have recorded");
    const auto raw = std::make_shared<RawHistoryOptions>();
    AddQueryOptions(*command, raw->Port, raw->Device);
    AddPeriodOptions(*command, raw->Period);
    command->add_flag("--summary", raw->Parsed.Summary, "one line a device: lowest, mean and highest value, gaps");
    auto* csv = command->add_flag("--csv", raw->Csv, "comma-separated values under a heading");
    command->add_flag("--json", raw->Json, "one JSON object a line")->excludes(csv);
    AddDataOption(*command, raw->Parsed.Data);
    command->callback([raw, &result] { result = ReadHistory(*raw); });
}

void AddAlarms(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("alarms", "list the alarms that stations have recorded");
    const auto raw = std::make_shared<RawAlarmsOptions>();
    AddQueryOptions(*command, raw->Port, raw->Device);
    AddPeriodOptions(*command, raw->Period, kLastWeek);
    AddJsonFlag(*command, raw->Parsed.Json);
    AddDataOption(*command, raw->Parsed.Data);
    command->callback([raw, &result] { result = ReadAlarms(*raw); });
}

}  // namespace orvix::station
