#include "station/store/recording_json.h"

#include <limits>

#include "station/json/json.h"
#include "station/words/time_span.h"

namespace orvix::station {
namespace {

Json Parsed(std::string_view text, std::size_t line) {
    auto json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) throw RecordingError(line, "it does not contain JSON");
    return json;
}

/// The members of an object in a line of a recording; each error names the line. Copies nothing: what is nested too
/// deep would take up the stack.
class Members {
public:
    /// `object` outlives this.
    Members(const Json& object, std::size_t line) : m_Object(object), m_Line(line) {}

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
    bool Has(const char* name) const { return m_Object.is_object() && m_Object.contains(name); }
    double Real(const char* name) const {
        const auto& member = Member(name);
        if (!member.is_number()) Fail(std::string("\"") + name + "\" must be a number");
        return member.get<double>();
    }
    bool Boolean(const char* name) const {
        const auto& member = Member(name);
        if (!member.is_boolean()) Fail(std::string("\"") + name + "\" must be true or false");
        return member.get<bool>();
    }
    /// Zero when it is not there.
    std::chrono::milliseconds Span(const char* name) const {
        constexpr std::chrono::milliseconds kLongest = kLongestTimeSpan;
        return std::chrono::milliseconds(Has(name) ? Number(name, 1, kLongest.count()) : 0);
    }
    Members Object(const char* name) const { return {Member(name), m_Line}; }
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
        if (!Has(name)) Fail(std::string("it has no \"") + name + "\"");
        return m_Object[name];
    }

    const Json& m_Object;
    std::size_t m_Line;
};

constexpr std::int64_t kAllInputs = 255;

/// None is not written.
void PutSpan(Json& json, const char* name, std::chrono::milliseconds span) {
    if (span.count() > 0) json[name] = span.count();
}

/// Names every member, so that a new one is not forgotten here.
Json ToJson(const AlarmLimits& limits) {
    const auto& [low, high, inputsOn, inputsOff, holdOff, holdOffTime, hysteresis, silent, doubtful] = limits;
    auto json = Json::object();
    if (low) json["low"] = *low;
    if (high) json["high"] = *high;
    json["inputs_on"] = inputsOn;
    json["inputs_off"] = inputsOff;
    json["hold_off"] = holdOff;
    if (hysteresis > 0) json["hysteresis"] = hysteresis;
    PutSpan(json, "hold_off_ms", holdOffTime);
    PutSpan(json, "silent_ms", silent);
    PutSpan(json, "doubtful_ms", doubtful);
    return json;
}

AlarmLimits LimitsOf(const Members& json) {
    AlarmLimits limits;
    if (json.Has("low")) limits.Low = json.Real("low");
    if (json.Has("high")) limits.High = json.Real("high");
    limits.InputsOn = static_cast<unsigned>(json.Number("inputs_on", 0, kAllInputs));
    limits.InputsOff = static_cast<unsigned>(json.Number("inputs_off", 0, kAllInputs));
    limits.HoldOff = static_cast<int>(json.Number("hold_off", 1, std::numeric_limits<int>::max()));
    if (json.Has("hysteresis")) limits.Hysteresis = json.Real("hysteresis");
    limits.HoldOffTime = json.Span("hold_off_ms");
    limits.Silent = json.Span("silent_ms");
    limits.Doubtful = json.Span("doubtful_ms");
    return limits;
}

Json ToJson(const DeviceSetup& device) {
    const auto& [address, model, name, limits, serialNumber] = device;
    Json json{{"address", address}, {"model", model}, {"name", name}};
    if (limits != AlarmLimits{}) json["alarm"] = ToJson(limits);
    if (serialNumber) json["serial"] = *serialNumber;
    return json;
}

DeviceSetup DeviceOf(const Members& json) {
    constexpr std::int64_t kHighestModel = 32767;
    DeviceSetup device;
    device.Address = static_cast<int>(json.Number("address", 1, 255));
    device.Model = static_cast<std::int32_t>(json.Number("model", 0, kHighestModel));
    device.Name = json.Text("name");
    if (json.Has("alarm")) device.Limits = LimitsOf(json.Object("alarm"));
    if (json.Has("serial")) device.SerialNumber = json.Text("serial");
    return device;
}

}  // namespace

std::string HeaderJson(const RecordingHeader& header) {
    const auto& [started, program, namesPorts] = header;
    return Dump({{"started_unix_ms", started}, {"program", program}, {"names_ports", namesPorts}});
}

RecordingHeader ParseHeaderJson(std::string_view json, bool isFirst) {
    constexpr std::int64_t kYear9999 = 253'402'300'799'999;
    const auto parsed = Parsed(json, 1);
    const Members header(parsed, 1);
    return {header.Number("started_unix_ms", 0, kYear9999), header.Text("program"),
            !isFirst && header.Boolean("names_ports")};
}

std::string BusJson(const BusSetup& bus) {
    // The port's file is another one at another desk; debug, driver thread and trace change nothing of what
    // is decided.
    const auto& [port, path, number, devices, every, retries, timeoutFactor, plainPolling, plausible, debug,
                 driverThread, trace, portGone] = bus;
    auto list = Json::array();
    for (const auto& device : devices)
        list.push_back(ToJson(device));
    Json object{{"port", port},
                {"number", number},
                {"every_ms", every.count()},
                {"retries", retries},
                {"timeout_factor_ms", timeoutFactor},
                {"plain_polling", plainPolling},
                {"plausible_low", plausible.Low},
                {"plausible_high", plausible.High},
                {"devices", std::move(list)}};
    if (plausible.MaxStep) object["max_step"] = *plausible.MaxStep;
    PutSpan(object, "port_gone_ms", portGone);
    return Dump(object);
}

BusSetup ParseBusJson(std::string_view json, std::size_t line) {
    constexpr std::int64_t kLongestPeriod = std::int64_t{24} * 24 * 3'600'000;
    const auto parsed = Parsed(json, line);
    const Members members(parsed, line);
    BusSetup bus;
    bus.PortLabel = members.Text("port");
    bus.PortNumber = static_cast<std::int16_t>(members.Number("number", 1, std::numeric_limits<std::int16_t>::max()));
    bus.Every = std::chrono::milliseconds(members.Number("every_ms", 1, kLongestPeriod));
    bus.Retries = static_cast<std::int32_t>(members.Number("retries", 0, kMostRetries));
    bus.TimeoutFactor = static_cast<std::int32_t>(members.Number("timeout_factor_ms", 1, kLongestTimeoutFactor));
    // Version 1 was written while stations asked for nothing else.
    bus.PlainPolling = !members.Has("plain_polling") || members.Boolean("plain_polling");
    const auto real = [&](const char* name, std::optional<double> otherwise) {
        return members.Has(name) ? members.Real(name) : otherwise;
    };
    bus.Plausible = {*real("plausible_low", bus.Plausible.Low), *real("plausible_high", bus.Plausible.High),
                     real("max_step", {})};
    bus.PortGone = members.Span("port_gone_ms");
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
