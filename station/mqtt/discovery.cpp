#include "station/mqtt/discovery.h"

#include <vector>

#include "devices/protocol/device_models.h"
#include "host/text.h"
#include "station/json/json.h"
#include "station/model/alarm.h"
#include "station/model/version.h"
#include "station/mqtt/topics.h"

namespace orvix::station {
namespace {

constexpr int kInputs = 8;

// Good readings have no "last_good", and Home Assistant writes into its log what it does not find.
// A value is shown as long as the station shows it: neither a doubtful one nor one of a device that is offline.
constexpr char kGoodValue[] =
    "{% set value = (value_json.last_good | default(value_json, true)).value "
    "if value_json.quality in ('good', 'stale') else none %}";

bool HasInputs(std::int32_t model) {
    return MeasuredVariable(model) == ORVIXCNB1_VAR_INPUTBYTE;
}

/// Injective, of letters, digits, "-" and "_" only, as the topics of messages and ids are.
std::string PlainId(const std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    constexpr unsigned kBase = 16;
    std::string plain;
    for (const char c : text) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
        if (isPlain) {
            plain += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        plain += '_';
        plain += kDigits[byte / kBase];
        plain += kDigits[byte % kBase];
    }
    return plain;
}

/// Of the station for an empty id.
std::string UniqueId(const DiscoveredStation& station, const std::string& id) {
    auto unique = "nimbo1_" + PlainId(station.Name);
    if (!id.empty()) unique += "_" + PlainId(id);
    return unique;
}

std::string FullTopic(const DiscoveredStation& station, const std::string& topic) {
    return station.Base + "/" + station.Name + "/" + topic;
}

Json Availability(const DiscoveredStation& station, const std::string& topic) {
    return {{"topic", FullTopic(station, topic)}, {"payload_available", kOnline}, {"payload_not_available", kOffline}};
}

Json Origin() {
    return {{"name", "nimbo1"}, {"sw_version", kVersion}};
}

Json Connectivity(const DiscoveredStation& station, const std::string& topic) {
    return {{"platform", "binary_sensor"},
            {"name", "Connection"},
            {"device_class", "connectivity"},
            {"entity_category", "diagnostic"},
            {"payload_on", kOnline},
            {"payload_off", kOffline},
            {"state_topic", FullTopic(station, topic)}};
}

/// The components of one device.
class Components {
public:
    Components(const DiscoveredStation& station, const DiscoveredDevice& device)
        : m_Station(station),
          m_Device(device),
          m_Id(device.Identity.Identifier),
          m_State(FullTopic(station, StateTopic(m_Id))),
          m_Health(FullTopic(station, BusHealthTopic(device.Identity.Port))) {}

    Json Take() {
        if (HasInputs(m_Device.Identity.Model)) {
            AddInputs();
        } else {
            AddTemperature();
        }
        AddAlarms();
        AddDiagnostics();
        return std::move(m_Components);
    }

private:
    /// Not available while the station or the device is not.
    void Add(const std::string& key, Json component, bool needsDevice = true) {
        const auto unique = UniqueId(m_Station, m_Id) + "_" + key;
        component["unique_id"] = unique;
        component["availability"] = Json::array({Availability(m_Station, kStatusTopic)});
        if (needsDevice) component["availability"].push_back(Availability(m_Station, AvailabilityTopic(m_Id)));
        component["availability_mode"] = "all";
        m_Components[unique] = std::move(component);
    }

    void AddTemperature() {
        Add("temperature", {{"platform", "sensor"},
                            {"name", "Temperature"},
                            {"device_class", "temperature"},
                            {"unit_of_measurement", "°C"},
                            {"state_class", "measurement"},
                            {"suggested_display_precision", 1},
                            {"expire_after", m_Device.ExpireAfter.count()},
                            {"state_topic", m_State},
                            {"value_template", std::string(kGoodValue) + "{{ value }}"}});
    }

    void AddInputs() {
        const unsigned watched = m_Device.Limits.InputsOn | m_Device.Limits.InputsOff;
        for (int input = 0; input < kInputs; ++input) {
            const unsigned bit = 1U << static_cast<unsigned>(input);
            const auto number = std::to_string(input);
            Add("input_" + number,
                {{"platform", "binary_sensor"},
                 {"name", "Input " + number},
                 {"enabled_by_default", watched == 0 || (watched & bit) != 0},
                 {"expire_after", m_Device.ExpireAfter.count()},
                 {"state_topic", m_State},
                 {"value_template", std::string(kGoodValue) + "{{ none if value is none else 'ON' if value | " +
                                        "bitwise_and(" + std::to_string(bit) + ") else 'OFF' }}"}});
        }
    }

    void AddAlarms() {
        for (const auto& [kind, isConfigured] : AlarmsOf(m_Device.Identity.Model, m_Device.Limits))
            AddAlarm(kind, isConfigured);
    }

    void AddAlarm(const std::string& kind, bool isPossible) {
        const auto key = "alarm_" + ReplaceAll(kind, " ", "_");
        // A platform alone takes away what was there.
        if (!isPossible) {
            m_Components[UniqueId(m_Station, m_Id) + "_" + key] = {{"platform", "binary_sensor"}};
            return;
        }
        const auto topic = FullTopic(m_Station, AlarmTopic(m_Id, kind));
        // It holds on while the device is offline.
        Add(key,
            {{"platform", "binary_sensor"},
             {"name", "Alarm " + kind},
             {"device_class", "problem"},
             {"state_topic", topic},
             {"value_template", "{{ 'ON' if value_json.state == 'on' else 'OFF' }}"},
             {"json_attributes_topic", topic}},
            false);
    }

    void AddDiagnostics() {
        auto connection = Connectivity(m_Station, AvailabilityTopic(m_Id));
        Add("connection", std::move(connection), false);
        const auto ofDevice =
            "{% set health = value_json.devices | selectattr('id', 'eq', '" + m_Id + "') | first | default(none) %}";
        Add("good",
            {{"platform", "sensor"},
             {"name", "Good readings"},
             {"unit_of_measurement", "%"},
             {"state_class", "measurement"},
             {"suggested_display_precision", 1},
             {"entity_category", "diagnostic"},
             {"state_topic", m_Health},
             {"value_template", ofDevice + "{% set good = health.recent.readings_good if health else none %}" +
                                    "{{ none if good is none else good * 100 }}"}},
            false);
        // A state has 255 characters at most.
        Add("health",
            {{"platform", "sensor"},
             {"name", "Health"},
             {"entity_category", "diagnostic"},
             {"state_topic", m_Health},
             {"value_template", ofDevice + "{{ ((health.diagnosis | map(attribute='sentence') | join('; ')) or " +
                                    "'nothing is wrong')[:255] if health else none }}"}},
            false);
    }

    const DiscoveredStation& m_Station;
    const DiscoveredDevice& m_Device;
    const std::string m_Id;
    const std::string m_State;
    const std::string m_Health;
    Json m_Components = Json::object();
};

}  // namespace

std::vector<DeviceAlarm> AlarmsOf(std::int32_t model, const AlarmLimits& limits) {
    std::vector<DeviceAlarm> alarms;
    const auto add = [&alarms](AlarmKind kind, int input, bool isConfigured) {
        AlarmEvent event;
        event.Kind = kind;
        event.Input = input;
        alarms.push_back({event.KindText(), isConfigured});
    };
    if (HasInputs(model)) {
        const unsigned watched = limits.InputsOn | limits.InputsOff;
        for (int input = 0; input < kInputs; ++input)
            add(AlarmKind::Input, input, ((watched >> static_cast<unsigned>(input)) & 1U) != 0);
    } else {
        add(AlarmKind::Low, 0, limits.Low.has_value());
        add(AlarmKind::High, 0, limits.High.has_value());
    }
    add(AlarmKind::Silent, 0, limits.Silent.count() > 0);
    add(AlarmKind::Doubtful, 0, limits.Doubtful.count() > 0);
    return alarms;
}

std::string BirthTopic(const std::string& prefix) {
    return prefix + "/status";
}

std::string DiscoveryTopic(const DiscoveredStation& station, const std::string& id) {
    return station.Prefix + "/device/" + UniqueId(station, id) + "/config";
}

std::string DiscoveryPayload(const DiscoveredStation& station) {
    const auto unique = UniqueId(station, {});
    auto connection = Connectivity(station, kStatusTopic);
    connection["unique_id"] = unique + "_connection";
    return Dump({{"device",
                  {{"identifiers", Json::array({unique})},
                   {"name", station.Name},
                   {"model", "nimbo1"},
                   {"sw_version", kVersion}}},
                 {"origin", Origin()},
                 {"components", {{unique + "_connection", connection}}}});
}

std::string DiscoveryPayload(const DiscoveredStation& station, const DiscoveredDevice& device) {
    const auto& identity = device.Identity;
    const auto* model = FindDeviceModel(identity.Model);
    const std::string description = model == nullptr ? "unknown" : model->DeviceDescription;
    Json described{{"identifiers", Json::array({UniqueId(station, identity.Identifier)})},
                   {"name", identity.Name.empty() ? description : identity.Name},
                   {"model", description},
                   {"via_device", UniqueId(station, {})}};
    if (!identity.SerialNumber.empty()) described["serial_number"] = identity.SerialNumber;
    return Dump({{"device", described}, {"origin", Origin()}, {"components", Components(station, device).Take()}});
}

}  // namespace orvix::station
