#include "station/setup/configuration.h"

#include <algorithm>
#include <string_view>

#include "devices/protocol/device_models.h"
#include "host/error.h"
#include "host/text.h"
#include "platform/regular_file.h"
#include "simulator/device_arguments.h"
#include "station/setup/file_value.h"
#include "station/setup/option.h"
#include "station/words/time_span.h"

namespace orvix::station {
namespace {

// A station has hundreds of devices at most; what is larger is no configuration.
constexpr std::size_t kLargestFile = std::size_t{1024} * 1024;

std::int32_t ModelOf(const FileValue& value) {
    const auto* number = value.Node.As<std::int64_t>();
    try {
        return simulator::ParseModel(number != nullptr ? std::to_string(*number) : value.Text());
    } catch (const simulator::ArgumentError& error) {
        throw BadValue(error.what());
    }
}

void ReadInputs(const FileValue& inputs, AlarmLimits& limits) {
    for (const auto& [bit, place, value] : inputs.Members()) {
        const auto* state = value.As<bool>();
        if (bit.size() != 1 || bit[0] < '0' || bit[0] > '7' || state == nullptr) {
            throw BadValue("write which inputs raise an alarm, by bit, such as { 0 = true, 7 = false }");
        }
        (*state ? limits.InputsOn : limits.InputsOff) |= 1U << (bit[0] - '0');
    }
}

std::chrono::milliseconds AlarmSpan(const FileValue& value) {
    return value.Span(std::chrono::seconds(1), kLongestTimeSpan);
}

double DegreesFrom0(const FileValue& value) {
    const auto degrees = value.Real();
    if (degrees < 0) throw BadValue("write degrees, 0 or more");
    return degrees;
}

/// A number of readings, or a time.
void ReadHoldOff(const FileValue& value, AlarmLimits& limits) {
    if (value.Node.As<std::string>() != nullptr) {
        limits.HoldOffTime = AlarmSpan(value);
    } else {
        limits.HoldOff = static_cast<int>(value.Whole(1, 1000));
    }
}

std::vector<FileKey> DeviceKeys(DeviceSetup& device) {
    auto& limits = device.Limits;
    return {{"address", [&](const FileValue& value) { device.Address = static_cast<int>(value.Whole(1, 255)); }},
            {"model", [&](const FileValue& value) { device.Model = ModelOf(value); }},
            {"name", [&](const FileValue& value) { device.Name = value.Text(); }},
            {"low", [&](const FileValue& value) { limits.Low = value.Real(); }},
            {"high", [&](const FileValue& value) { limits.High = value.Real(); }},
            {"inputs", [&](const FileValue& value) { ReadInputs(value, limits); }},
            {"hold_off", [&](const FileValue& value) { ReadHoldOff(value, limits); }},
            {"hysteresis", [&](const FileValue& value) { limits.Hysteresis = DegreesFrom0(value); }},
            {"silent", [&](const FileValue& value) { limits.Silent = AlarmSpan(value); }},
            {"doubtful", [&](const FileValue& value) { limits.Doubtful = AlarmSpan(value); }}};
}

/// What is wrong with a device as a whole; a value that could not be used has been told already.
void CheckDevice(const FileValue& table, const DeviceSetup& device) {
    for (const char* key : {"address", "model"}) {
        if (table.Member(key) == nullptr) table.Complain(key, "the " + std::string(key) + " is missing");
    }
    const auto& limits = device.Limits;
    if (limits.Low && limits.High && *limits.Low >= *limits.High) table.Complain("low", "must be below high");
    const auto* model = FindDeviceModel(device.Model);
    if (model == nullptr) return;
    const bool hasInputs = model->Measurement.VarID == ORVIXCNB1_VAR_INPUTBYTE;
    if (hasInputs && (limits.Low || limits.High)) {
        table.Complain(limits.Low ? "low" : "high", "a digital module has inputs, not temperatures");
    }
    if (!hasInputs && (limits.InputsOn | limits.InputsOff) != 0) {
        table.Complain("inputs", "a sensor has a temperature, not inputs");
    }
}

void ReadDevices(const FileValue& devices, BusSetup& bus) {
    devices.EachTable([&](const FileValue& table) {
        DeviceSetup device;
        ReadTable(table, DeviceKeys(device));
        CheckDevice(table, device);
        if (device.Address > 0 && DeviceAt(device.Address, bus.Devices) != nullptr) {
            table.Complain("address", "address " + std::to_string(device.Address) + " appears twice on this bus");
        }
        bus.Devices.push_back(device);
    });
}

/// The rows whose keys stand in `table`, or in none when it is empty.
template <class Target>
std::vector<FileKey> KeysOf(std::span<const Option<Target>> options, const std::string& table, Target& target) {
    std::vector<FileKey> keys;
    for (const auto& option : options) {
        if (option.Key == nullptr) continue;
        const std::string key(option.Key);
        const auto dot = key.find('.');
        if ((dot == std::string::npos ? "" : key.substr(0, dot)) != table) continue;
        keys.push_back(
            {key.substr(dot + 1), [&option, &target](const FileValue& value) { option.Read(value, target); }});
    }
    return keys;
}

void ReadBuses(const FileValue& buses, StationSetup& setup) {
    buses.EachTable([&](const FileValue& table) {
        BusSetup bus;
        auto keys = KeysOf(BusOptionTable(), {}, bus);
        keys.push_back({"device", [&](const FileValue& value) { ReadDevices(value, bus); }});
        ReadTable(table, keys);
        if (table.Member("port") == nullptr) {
            table.Complain("port",
                           "the port is missing: write its device file, or \"" + std::string(kSimulatedPort) + "\"");
        }
        if (bus.Plausible.Low >= bus.Plausible.High) table.Complain("plausible_low", "must be below plausible_high");
        for (const auto& other : setup.Buses) {
            if (!bus.PortPath.empty() && bus.PortPath == other.PortPath)
                table.Complain("port", "this port appears twice");
            if (!bus.PortLabel.empty() && bus.PortLabel == other.PortLabel) {
                table.Complain("name", "this name appears twice");
            }
        }
        setup.Buses.push_back(bus);
    });
}

/// What is wrong with the keys of a broker together; a value that could not be used has been told already.
void CheckMqtt(const FileValue& table, const MqttSetup& mqtt) {
    const auto has = [&](const char* key) { return table.Member(key) != nullptr; };
    if (!has("broker")) table.Complain("broker", "the broker is missing");
    if (has("password_file") && !has("user")) table.Complain("password_file", "a password needs a user");
    if (has("cert") != has("key")) {
        table.Complain(has("cert") ? "cert" : "key", "cert and key go together");
    }
    if (has("resend") && !mqtt.Backfill) table.Complain("resend", "is of use with backfill = true alone");
    for (const char* key : {"ca", "cert", "key"}) {
        if (has(key) && mqtt.IsOn() && !mqtt.Broker.Tls) table.Complain(key, "is of use with mqtts:// alone");
    }
}

/// Keys of the tables of the station.
void AddTables(std::vector<FileKey>& keys, std::initializer_list<const char*> names, StationSetup& setup) {
    for (const char* name : names) {
        keys.push_back({name, [&setup, name](const FileValue& value) {
                            ReadTable(value, KeysOf(StationOptionTable(), name, setup));
                        }});
    }
}

std::vector<FileKey> StationKeys(StationSetup& setup) {
    auto keys = KeysOf(StationOptionTable(), {}, setup);
    keys.push_back({"bus", [&](const FileValue& value) { ReadBuses(value, setup); }});
    AddTables(keys, {"history", "metrics", "web", "alarms"}, setup);
    keys.push_back({"mqtt", [&setup](const FileValue& value) {
                        ReadTable(value, KeysOf(StationOptionTable(), "mqtt", setup));
                        CheckMqtt(value, setup.Mqtt);
                    }});
    return keys;
}

std::vector<FileKey> FleetKeys(StationSetup& setup) {
    auto keys = KeysOf(StationOptionTable(), {}, setup);
    AddTables(keys, {"metrics", "web", "alarms"}, setup);
    keys.push_back({"mqtt", [&setup](const FileValue& value) {
                        auto inside = KeysOf(StationOptionTable(), "mqtt", setup);
                        // The others are of a station that reports.
                        constexpr std::string_view kOfConnection[] = {"broker", "topic", "user", "password_file",
                                                                      "ca",     "cert",  "key"};
                        std::erase_if(inside, [&](const FileKey& key) {
                            return std::ranges::find(kOfConnection, key.Name) == std::end(kOfConnection);
                        });
                        ReadTable(value, inside);
                        CheckMqtt(value, setup.Mqtt);
                    }});
    return keys;
}

TomlNode TreeOf(std::string_view text, Complaints& wrong) {
    try {
        return ParseToml(text);
    } catch (const TomlError& error) {
        wrong.Add(error.At, {}, error.what());
        throw ConfigurationError(wrong.Lines());
    }
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

/// `missing`: what a setup that is right otherwise lacks; null: nothing.
StationSetup Parse(std::string_view text, const std::string& name, std::vector<FileKey> (*keysOf)(StationSetup&),
                   const char* (*missing)(const StationSetup&)) {
    Complaints wrong(name);
    const auto tree = TreeOf(text, wrong);
    // As a file is for a moment while an editor writes it.
    if (tree.As<TomlNode::Table>()->empty()) wrong.Add({1, 1}, {}, "the configuration is empty: it sets nothing");
    StationSetup setup;
    ReadTable(FileValue(tree, {}, wrong), keysOf(setup));
    const auto* lack = wrong.Any() ? nullptr : missing(setup);
    if (lack != nullptr) wrong.Add({1, 1}, {}, lack);
    if (wrong.Any()) throw ConfigurationError(wrong.Lines());
    return setup;
}

std::string TextIn(const std::string& path) {
    try {
        return BytesToText(platform::ReadRegularFile(path, kLargestFile));
    } catch (const Error& error) {
        throw ConfigurationError({error.Description});
    }
}

}  // namespace

ConfigurationError::ConfigurationError(std::vector<std::string> lines)
    : std::runtime_error(Joined(lines)), m_Lines(std::move(lines)) {}

StationSetup ParseConfiguration(std::string_view text, const std::string& name) {
    return Parse(text, name, StationKeys, [](const StationSetup& setup) {
        return setup.Buses.empty() ? "no bus is set: write [[bus]] and its port" : nullptr;
    });
}

StationSetup LoadConfiguration(const std::string& path) {
    return ParseConfiguration(TextIn(path), path);
}

StationSetup LoadFleetConfiguration(const std::string& path) {
    return Parse(TextIn(path), path, FleetKeys, [](const StationSetup& setup) {
        return setup.Mqtt.IsOn() ? nullptr : "no broker is set: write [mqtt] and its broker";
    });
}

}  // namespace orvix::station
