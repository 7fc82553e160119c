#include "simulator/simulated_bus.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "devices/protocol/device_models.h"
#include "devices/protocol/frame.h"
#include "simulator/device_arguments.h"

namespace orvix::simulator {
namespace {

using namespace std::string_literals;

// A device that does not know a command answers with this code and payload.
const std::string kRefusalCode = "\x07\x00"s;
const std::string kRefusalPayload = "\xC9"s;

constexpr double kRoomTemperature = 20;

// A frame that stops for longer has been broken off: what comes next is a new one.
constexpr Time kLongestPause = std::chrono::milliseconds(100);

std::vector<std::string> SplitAtColons(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ':') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

ValueSource ParseValue(const std::string& text, const std::string& what) {
    const auto parts = SplitAtColons(text);
    if (parts[0] != "ramp") {
        const auto value = ParseReal(text, what);
        return {value, value, {}};
    }
    if (parts.size() != 4)
        throw ArgumentError("'" + text + "' is not a ramp: write ramp:FROM:TO:PERIOD, such as ramp:20:30:60s");
    return {ParseReal(parts[1], what), ParseReal(parts[2], what), ParseDuration(parts[3])};
}

void CheckInputs(const ValueSource& value, const std::string& text) {
    for (const double end : {value.From, value.To}) {
        if (end < 0 || end > 255 || end != std::floor(end)) {
            throw ArgumentError("device '" + text + "': inputs are a whole number from 0 to 255");
        }
    }
}

std::string SerialNumberOf(const std::string& series, int address) {
    const auto digits = std::to_string(address);
    return series + "-" + std::string(4 - digits.size(), '0') + digits;
}

}  // namespace

double ValueSource::At(Time sinceStart) const {
    if (Period.count() <= 0) return From;
    const auto position =
        static_cast<double>((sinceStart % Time(Period)).count()) / static_cast<double>(Time(Period).count());
    return From + (To - From) * position;
}

SimulatedDevice ParseSimulatedDevice(const std::string& text) {
    const auto argument = ParseDeviceArgument(text, "=");
    const bool digital = MeasuredVariable(argument.Model) == ORVIXCNB1_VAR_INPUTBYTE;
    SimulatedDevice device{argument.Address, argument.Model, {}};
    const double unset = digital ? 0 : kRoomTemperature;
    device.Value = {unset, unset, {}};
    if (!argument.Rest.empty()) device.Value = ParseValue(argument.Rest.substr(1), digital ? "number" : "temperature");
    if (digital) CheckInputs(device.Value, text);
    return device;
}

std::string BuildRefusal(int address) {
    return BuildFrame(address, kRefusalCode, kRefusalPayload);
}

std::string SeriesOf(const std::string& path) {
    auto series = path.substr(path.rfind('/') + 1);
    std::transform(series.begin(), series.end(), series.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return series;
}

SimulatedBus::SimulatedBus(const std::vector<SimulatedDevice>& devices, FaultPlan faults, std::string series)
    : m_Series(std::move(series)), m_Faults(std::move(faults)) {
    Devices(devices);
}

void SimulatedBus::Devices(const std::vector<SimulatedDevice>& devices) {
    std::map<int, SimulatedDevice> byAddress;
    for (const auto& device : devices) {
        if (!byAddress.emplace(device.Address, device).second) {
            throw ArgumentError("address " + std::to_string(device.Address) + " is named twice");
        }
    }
    m_Devices = std::move(byAddress);
}

std::vector<BusAnswer> SimulatedBus::Receive(const std::string& bytes, Time sinceStart) {
    if (sinceStart - m_LastReceived > kLongestPause) m_Buffer.clear();
    m_LastReceived = sinceStart;
    m_Buffer += bytes;
    std::vector<BusAnswer> answers;
    for (;;) {
        m_Buffer.erase(0, m_Buffer.find(kStartByte));
        const auto length = FrameLength(m_Buffer);
        if (!length || m_Buffer.size() < *length) return answers;
        const auto request = ParseRequest(m_Buffer);
        // What only looked like a frame may hide the start of a real one.
        m_Buffer.erase(0, request ? *length : 1);
        if (!request) continue;
        const auto device = m_Devices.find(request->address);
        if (device == m_Devices.end()) continue;
        answers.push_back(m_Faults.Spoil(device->first, Answer(device->second, request->code, sinceStart)));
    }
}

std::string SimulatedBus::Answer(const SimulatedDevice& device, const std::string& code, Time sinceStart) const {
    const auto value = device.Value.At(sinceStart);
    const auto reply = [&](const std::string& payload) { return BuildFrame(device.Address, code, payload); };
    if (code == kSerialNumberCode) return reply(SerialNumberOf(m_Series, device.Address));
    const auto& model = DeviceModelOf(device.Model);
    return code == model.Measurement.Code ? reply(model.Encode(value)) : BuildRefusal(device.Address);
}

}  // namespace orvix::simulator
