#include "station/store/recording_json.h"

#include <limits>

#include "station/json/json.h"

namespace orvix::station {
namespace {

/// The members of an object in a line of a recording; each error names the line.
class Members {
public:
    Members(std::string_view text, std::size_t line) : Members(Json::parse(text, nullptr, false), line) {
        if (m_Object.is_discarded()) Fail("what stands in it is no JSON");
    }
    Members(Json object, std::size_t line) : m_Object(std::move(object)), m_Line(line) {}

    std::int64_t Number(const char* name, std::int64_t least, std::int64_t largest) const {
        const auto& member = Member(name);
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
    std::string Text(const char* name) const {
        const auto& member = Member(name);
        if (!member.is_string()) Fail(std::string("\"") + name + "\" must be a text");
        return member.get<std::string>();
    }
    std::vector<Members> List(const char* name, std::size_t most) const {
        const auto& member = Member(name);
        if (!member.is_array() || member.size() > most) {
            Fail(std::string("\"") + name + "\" must be a list of at most " + std::to_string(most));
        }
        std::vector<Members> list;
        for (const auto& item : member)
            list.emplace_back(item, m_Line);
        return list;
    }

private:
    [[noreturn]] void Fail(const std::string& why) const { throw RecordingError(m_Line, why); }

    const Json& Member(const char* name) const {
        if (!m_Object.is_object() || !m_Object.contains(name)) Fail(std::string("it has no \"") + name + "\"");
        return m_Object[name];
    }

    Json m_Object;
    std::size_t m_Line;
};

DeviceSetup DeviceOf(const Members& device) {
    constexpr std::int64_t kHighestModel = 32767;
    return {static_cast<int>(device.Number("address", 1, 255)),
            static_cast<std::int32_t>(device.Number("model", 0, kHighestModel)),
            device.Text("name"),
            {}};
}

}  // namespace

std::string HeaderJson(const RecordingHeader& header) {
    return Dump({{"started_unix_ms", header.StartedUnixMilliseconds}, {"program", header.Program}});
}

RecordingHeader ParseHeaderJson(std::string_view json, std::size_t line) {
    constexpr std::int64_t kYear9999 = 253'402'300'799'999;
    const Members header(json, line);
    return {header.Number("started_unix_ms", 0, kYear9999), header.Text("program")};
}

std::string BusJson(const BusSetup& bus) {
    auto devices = Json::array();
    for (const auto& device : bus.Devices)
        devices.push_back({{"address", device.Address}, {"model", device.Model}, {"name", device.Name}});
    return Dump({{"port", bus.PortLabel},
                 {"number", bus.PortNumber},
                 {"every_ms", bus.Every.count()},
                 {"retries", bus.Retries},
                 {"timeout_factor_ms", bus.TimeoutFactor},
                 {"devices", std::move(devices)}});
}

BusSetup ParseBusJson(std::string_view json, std::size_t line) {
    constexpr std::int64_t kLongestPeriod = std::int64_t{24} * 24 * 3'600'000;
    const Members members(json, line);
    BusSetup bus;
    bus.PortLabel = members.Text("port");
    bus.PortNumber = static_cast<std::int16_t>(members.Number("number", 1, std::numeric_limits<std::int16_t>::max()));
    bus.Every = std::chrono::milliseconds(members.Number("every_ms", 1, kLongestPeriod));
    bus.Retries = static_cast<std::int32_t>(members.Number("retries", 0, kMostRetries));
    bus.TimeoutFactor = static_cast<std::int32_t>(members.Number("timeout_factor_ms", 1, kLongestTimeoutFactor));
    for (const auto& device : members.List("devices", 255))
        bus.Devices.push_back(DeviceOf(device));
    return bus;
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
