#include "station/recording/recording_header.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace orvix::station {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kMagic = "nimbo1-recording ";
constexpr std::string_view kVersion = "1 ";

constexpr std::size_t kMostBuses = 256;

[[noreturn]] void Fail(const std::string& why) {
    throw RecordingError(1, why);
}

std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

const Json& Member(const Json& object, const char* name) {
    if (!object.is_object() || !object.contains(name)) Fail(std::string("the header has no \"") + name + "\"");
    return object[name];
}

std::int64_t Number(const Json& object, const char* name, std::int64_t least, std::int64_t largest) {
    const auto& member = Member(object, name);
    const bool isWhole = member.is_number_integer() &&
                         (!member.is_number_unsigned() ||
                          member.get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<std::int64_t>::max()});
    const auto number = isWhole ? member.get<std::int64_t>() : 0;
    if (!isWhole || number < least || number > largest) {
        Fail(std::string("\"") + name + "\" must be a number from " + std::to_string(least) + " to " +
             std::to_string(largest));
    }
    return number;
}

std::string Text(const Json& object, const char* name) {
    const auto& member = Member(object, name);
    if (!member.is_string()) Fail(std::string("\"") + name + "\" must be a text");
    return member.get<std::string>();
}

const Json& List(const Json& object, const char* name, std::size_t most) {
    const auto& member = Member(object, name);
    if (!member.is_array() || member.size() > most) {
        Fail(std::string("\"") + name + "\" must be a list of at most " + std::to_string(most));
    }
    return member;
}

DeviceSetup DeviceOf(const Json& json) {
    constexpr std::int64_t kHighestModel = 32767;
    return {static_cast<int>(Number(json, "address", 1, 255)),
            static_cast<std::int32_t>(Number(json, "model", 0, kHighestModel)),
            Text(json, "name"),
            {}};
}

BusSetup BusOf(const Json& json) {
    constexpr std::int64_t kLongestPeriod = std::int64_t{24} * 24 * 3'600'000;
    BusSetup bus;
    bus.PortLabel = Text(json, "port");
    bus.PortNumber = static_cast<std::int16_t>(Number(json, "number", 1, std::numeric_limits<std::int16_t>::max()));
    bus.Every = std::chrono::milliseconds(Number(json, "every_ms", 1, kLongestPeriod));
    bus.Retries = static_cast<std::int32_t>(Number(json, "retries", 0, 100));
    bus.TimeoutFactor = static_cast<std::int32_t>(Number(json, "timeout_factor_ms", 1, 10'000));
    for (const auto& device : List(json, "devices", 255))
        bus.Devices.push_back(DeviceOf(device));
    return bus;
}

Json ToJson(const BusSetup& bus) {
    auto devices = Json::array();
    for (const auto& device : bus.Devices)
        devices.push_back({{"address", device.Address}, {"model", device.Model}, {"name", device.Name}});
    return {{"port", bus.PortLabel},
            {"number", bus.PortNumber},
            {"every_ms", bus.Every.count()},
            {"retries", bus.Retries},
            {"timeout_factor_ms", bus.TimeoutFactor},
            {"devices", std::move(devices)}};
}

}  // namespace

std::string HeaderLine(const RecordingHeader& header) {
    auto buses = Json::array();
    for (const auto& bus : header.Buses)
        buses.push_back(ToJson(bus));
    const Json json{
        {"started_unix_ms", header.StartedUnixMilliseconds}, {"program", header.Program}, {"buses", std::move(buses)}};
    return std::string(kMagic).append(kVersion).append(Dump(json)).append("\n");
}

RecordingHeader ParseHeader(std::string_view line) {
    constexpr std::int64_t kYear9999 = 253'402'300'799'999;
    if (!line.starts_with(kMagic)) Fail("this is no recording of nimbo1");
    line.remove_prefix(kMagic.size());
    if (!line.starts_with(kVersion)) {
        Fail("this program reads version 1, not version " +
             std::string(line.substr(0, std::min<std::size_t>(line.find(' '), 10))));
    }
    const auto json = Json::parse(line.substr(kVersion.size()), nullptr, false);
    if (json.is_discarded()) Fail("the header is no JSON");
    RecordingHeader header;
    header.StartedUnixMilliseconds = Number(json, "started_unix_ms", 0, kYear9999);
    header.Program = Text(json, "program");
    for (const auto& bus : List(json, "buses", kMostBuses))
        header.Buses.push_back(BusOf(bus));
    if (header.Buses.empty()) Fail("the header names no bus");
    return header;
}

std::string Quoted(const std::string& text) {
    return Dump(text);
}

std::optional<std::string> QuotedText(std::string_view json) {
    const auto text = Json::parse(json, nullptr, false);
    if (!text.is_string()) return std::nullopt;
    return text.get<std::string>();
}

}  // namespace orvix::station
