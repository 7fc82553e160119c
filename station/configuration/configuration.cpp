#include "station/configuration/configuration.h"

#include <fcntl.h>

#include <algorithm>

#include "devices/protocol/basOrvixNB1.h"
#include "host/error.h"
#include "host/text.h"
#include "platform/regular_file.h"
#include "simulator/device_arguments.h"
#include "station/configuration/toml_value.h"
#include "station/model/metrics_address.h"

namespace orvix::station {
namespace {

// A station has hundreds of devices at most; what is larger is no configuration.
constexpr std::size_t kLargestFile = std::size_t{1024} * 1024;

std::int32_t ModelOf(const TomlValue& value) {
    const auto number = value.Node.value_exact<std::int64_t>();
    try {
        return simulator::ParseModel(number ? std::to_string(*number) : value.Text());
    } catch (const simulator::ArgumentError&) {
        throw BadValue("the model must be \"sensor\" (106) or \"digital\" (104)");
    }
}

void ReadInputs(const TomlValue& inputs, DeviceSetup& device) {
    for (const auto& [key, node] : inputs.Table()) {
        const std::string bit(key.str());
        const auto state = node.value_exact<bool>();
        if (bit.size() != 1 || bit[0] < '0' || bit[0] > '7' || !state) {
            throw BadValue("write the inputs that are an alarm by bit, such as { 0 = true, 7 = false }");
        }
        (*state ? device.Limits.InputsOn : device.Limits.InputsOff) |= 1U << (bit[0] - '0');
    }
}

constexpr TomlKey<DeviceSetup> kDeviceKeys[] = {
    {"address",
     [](const TomlValue& value, DeviceSetup& device) { device.Address = static_cast<int>(value.Whole(1, 255)); }},
    {"model", [](const TomlValue& value, DeviceSetup& device) { device.Model = ModelOf(value); }},
    {"name", [](const TomlValue& value, DeviceSetup& device) { device.Name = value.Text(); }},
    {"low", [](const TomlValue& value, DeviceSetup& device) { device.Limits.Low = value.Real(); }},
    {"high", [](const TomlValue& value, DeviceSetup& device) { device.Limits.High = value.Real(); }},
    {"inputs", ReadInputs},
    {"hold_off", [](const TomlValue& value,
                    DeviceSetup& device) { device.Limits.HoldOff = static_cast<int>(value.Whole(1, 1000)); }},
};

/// What is wrong with a device as a whole; a value that could not be used has been told already.
void CheckDevice(const TomlValue& table, const DeviceSetup& device) {
    const auto complain = [&](const char* key, const std::string& text) {
        const auto* node = table.Table().get(key);
        table.Wrong.Add((node != nullptr ? *node : table.Node).source().begin,
                        node != nullptr ? table.Key + "." + key : table.Key, text);
    };
    for (const char* key : {"address", "model"}) {
        if (!table.Table().contains(key)) complain(key, "the " + std::string(key) + " is missing");
    }
    const auto& limits = device.Limits;
    if (limits.Low && limits.High && *limits.Low >= *limits.High) complain("low", "must be below high");
    if (device.Model == kDigitalModuleModel && (limits.Low || limits.High)) {
        complain(limits.Low ? "low" : "high", "a digital module has inputs, not temperatures");
    }
    if (device.Model == kTemperatureSensorModel && (limits.InputsOn | limits.InputsOff) != 0) {
        complain("inputs", "a sensor has a temperature, not inputs");
    }
}

void ReadDevices(const TomlValue& devices, BusSetup& bus) {
    devices.EachTable([&](const TomlValue& table) {
        DeviceSetup device;
        ReadTable(table, kDeviceKeys, device);
        CheckDevice(table, device);
        const auto isAlike = [&](const DeviceSetup& other) { return other.Address == device.Address; };
        if (device.Address > 0 && std::any_of(bus.Devices.begin(), bus.Devices.end(), isAlike)) {
            table.Wrong.Add(table.Table().get("address")->source().begin, table.Key + ".address",
                            "address " + std::to_string(device.Address) + " is there twice on this bus");
        }
        bus.Devices.push_back(device);
    });
}

std::chrono::milliseconds EveryOf(const TomlValue& value) {
    const auto every = value.Period();
    if (every < kShortestPeriod) throw BadValue("the shortest period is 100ms");
    return every;
}

constexpr TomlKey<BusSetup> kBusKeys[] = {
    {"port", [](const TomlValue& value, BusSetup& bus) { bus.PortPath = value.Path(); }},
    {"name", [](const TomlValue& value, BusSetup& bus) { bus.PortLabel = value.Text(); }},
    {"every", [](const TomlValue& value, BusSetup& bus) { bus.Every = EveryOf(value); }},
    {"retries", [](const TomlValue& value,
                   BusSetup& bus) { bus.Retries = static_cast<std::int32_t>(value.Whole(0, kMostRetries)); }},
    {"timeout_factor",
     [](const TomlValue& value, BusSetup& bus) {
         bus.TimeoutFactor = static_cast<std::int32_t>(value.Whole(1, kLongestTimeoutFactor));
     }},
    {"driver_thread", [](const TomlValue& value, BusSetup& bus) { bus.DriverThread = value.Boolean(); }},
    {"device", ReadDevices},
};

void ReadBuses(const TomlValue& buses, StationSetup& setup) {
    buses.EachTable([&](const TomlValue& table) {
        BusSetup bus;
        ReadTable(table, kBusKeys, bus);
        for (const auto& other : setup.Buses) {
            const auto complain = [&](const char* key, const std::string& text) {
                table.Wrong.Add(table.Table().get(key)->source().begin, table.Key + "." + key, text);
            };
            if (!bus.PortPath.empty() && bus.PortPath == other.PortPath) complain("port", "this port is there twice");
            if (!bus.PortLabel.empty() && bus.PortLabel == other.PortLabel)
                complain("name", "this name is there twice");
        }
        setup.Buses.push_back(bus);
    });
}

constexpr TomlKey<HistorySetup> kHistoryKeys[] = {
    {"on", [](const TomlValue& value, HistorySetup& history) { history.On = value.Boolean(); }},
    {"keep", [](const TomlValue& value, HistorySetup& history) { history.Keep = value.Age(); }},
    {"max_size", [](const TomlValue& value, HistorySetup& history) { history.MostBytes = value.Size(); }},
};

/// Host and port: what stands behind the last colon is a number, and something stands before it.
std::string ListenAddress(const TomlValue& value) {
    auto text = value.Text();
    if (!ParseMetricsAddress(text)) throw BadValue(kMetricsAddressForm);
    return text;
}

constexpr TomlKey<StationSetup> kMetricsKeys[] = {
    {"listen", [](const TomlValue& value, StationSetup& setup) { setup.Metrics = ListenAddress(value); }},
};

constexpr TomlKey<StationSetup> kAlarmsKeys[] = {
    {"on_alarm", [](const TomlValue& value, StationSetup& setup) { setup.OnAlarm = value.Texts(); }},
};

constexpr TomlKey<StationSetup> kStationKeys[] = {
    {"data", [](const TomlValue& value, StationSetup& setup) { setup.Data = value.Path(); }},
    {"bus", ReadBuses},
    {"history", [](const TomlValue& value, StationSetup& setup) { ReadTable(value, kHistoryKeys, setup.History); }},
    {"metrics", [](const TomlValue& value, StationSetup& setup) { ReadTable(value, kMetricsKeys, setup); }},
    {"alarms", [](const TomlValue& value, StationSetup& setup) { ReadTable(value, kAlarmsKeys, setup); }},
};

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

toml::table ParseToml(std::string_view text, Complaints& wrong) {
    try {
        return toml::parse(text);
    } catch (const toml::parse_error& error) {
        wrong.Add(error.source().begin, {}, std::string(error.description()));
        throw ConfigurationError(wrong.Lines());
    }
}

}  // namespace

ConfigurationError::ConfigurationError(std::vector<std::string> lines)
    : std::runtime_error(Joined(lines)), m_Lines(std::move(lines)) {}

StationSetup ParseConfiguration(std::string_view text, const std::string& name) {
    Complaints wrong(name);
    const auto table = ParseToml(text, wrong);
    StationSetup setup;
    ReadTable(TomlValue{table, {}, wrong}, kStationKeys, setup);
    if (wrong.Any()) throw ConfigurationError(wrong.Lines());
    return setup;
}

StationSetup LoadConfiguration(const std::string& path) {
    std::string text;
    try {
        text = BytesToText(platform::ReadRegularFile(path, kLargestFile));
    } catch (const Error& error) {
        throw ConfigurationError({error.Description});
    }
    return ParseConfiguration(text, path);
}

}  // namespace orvix::station
