#include "station/mqtt/discovery.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "tests/station/json_lines.h"

namespace orvix::tests {
namespace {

using namespace station;

using DocumentedKeys = std::set<std::string>;

// The keys that are documented, by what they are keys of. Others are passed over in silence by who reads them.
const DocumentedKeys kEntityKeys{"availability",
                                 "availability_mode",
                                 "availability_template",
                                 "availability_topic",
                                 "default_entity_id",
                                 "device_class",
                                 "enabled_by_default",
                                 "encoding",
                                 "entity_category",
                                 "entity_picture",
                                 "expire_after",
                                 "force_update",
                                 "icon",
                                 "json_attributes_template",
                                 "json_attributes_topic",
                                 "name",
                                 "payload_available",
                                 "payload_not_available",
                                 "platform",
                                 "qos",
                                 "state_topic",
                                 "unique_id",
                                 "value_template"};
const std::map<std::string, DocumentedKeys> kOwnKeys{
    {"sensor",
     {"last_reset_value_template", "options", "state_class", "suggested_display_precision", "unit_of_measurement"}},
    {"binary_sensor", {"off_delay", "payload_off", "payload_on"}}};
const DocumentedKeys kDeviceKeys{"configuration_url", "connections", "hw_version",     "identifiers",
                                 "manufacturer",      "model",       "model_id",       "name",
                                 "serial_number",     "sw_version",  "suggested_area", "via_device"};
const DocumentedKeys kMessageKeys{"device", "origin",      "components",    "availability", "availability_mode",
                                  "qos",    "state_topic", "command_topic", "encoding"};
const std::map<std::string, DocumentedKeys> kValues{
    {"state_class", {"measurement", "measurement_angle", "total", "total_increasing"}},
    // Of what only tells something; "config" makes such an entity invalid.
    {"entity_category", {"diagnostic"}},
    {"availability_mode", {"all", "any", "latest"}}};
const std::map<std::string, DocumentedKeys> kDeviceClasses{{"sensor", {"temperature"}},
                                                           {"binary_sensor", {"connectivity", "problem"}}};
const std::map<std::string, bool (*)(const Json&)> kTypes{
    {"availability", [](const Json& value) { return value.is_array() && !value.empty(); }},
    {"enabled_by_default", [](const Json& value) { return value.is_boolean(); }},
    {"expire_after", [](const Json& value) { return value.is_number_integer() && value > 0; }},
    {"suggested_display_precision", [](const Json& value) { return value.is_number_integer() && value >= 0; }},
    {"identifiers", [](const Json& value) { return value.is_array() && !value.empty() && value[0].is_string(); }},
    {"device", [](const Json& value) { return value.is_object(); }},
    {"origin", [](const Json& value) { return value.is_object(); }},
    {"components", [](const Json& value) { return value.is_object() && !value.empty(); }}};

bool IsOfType(const std::string& key, const Json& value) {
    const auto type = kTypes.find(key);
    return type != kTypes.end() ? type->second(value) : value.is_string() && !value.get<std::string>().empty();
}

void ExpectKeys(const Json& object, const DocumentedKeys& allowed, const DocumentedKeys& required) {
    for (const auto& [key, value] : object.items()) {
        EXPECT_TRUE(allowed.contains(key)) << key;
        ASSERT_TRUE(IsOfType(key, value)) << key << " " << value;
        const auto values = kValues.find(key);
        EXPECT_TRUE(values == kValues.end() || values->second.contains(value)) << key << " " << value;
        const bool isWild = key.ends_with("topic") && value.get<std::string>().find_first_of("+#") != std::string::npos;
        EXPECT_FALSE(isWild) << value;
    }
    for (const auto& key : required)
        EXPECT_TRUE(object.contains(key)) << key << " in " << object;
}

/// What holds between the keys of an entity.
void ExpectEntity(const Json& entity) {
    const auto& platform = entity["platform"].get_ref<const std::string&>();
    const auto kind = entity.value("device_class", "");
    EXPECT_TRUE(kind.empty() || kDeviceClasses.at(platform).contains(kind)) << entity;
    EXPECT_EQ(kind == "temperature", entity.value("unit_of_measurement", "") == "°C") << entity;
    EXPECT_FALSE(entity.contains("availability") && entity.contains("availability_topic")) << entity;
    for (const auto& one : entity.value("availability", Json::array()))
        ExpectKeys(one, {"topic", "payload_available", "payload_not_available", "value_template"}, {"topic"});
}

/// Holds a message against what is documented. Returns its entities; those that it takes away are null.
std::map<std::string, Json> Entities(const std::string& payload) {
    const auto message = Json::parse(payload);
    ExpectKeys(message, kMessageKeys, {"device", "origin", "components"});
    ExpectKeys(message["device"], kDeviceKeys, {"identifiers", "name"});
    ExpectKeys(message["origin"], {"name", "sw_version", "support_url"}, {"name"});
    std::map<std::string, Json> entities;
    for (const auto& [key, component] : message["components"].items()) {
        const auto own = kOwnKeys.find(component.at("platform"));
        if (own == kOwnKeys.end()) throw std::runtime_error("unknown platform in " + component.dump());
        entities[key] = nullptr;
        if (component.size() == 1) continue;
        auto allowed = kEntityKeys;
        allowed.insert(own->second.begin(), own->second.end());
        ExpectKeys(component, allowed, {"unique_id", "name", "state_topic"});
        ExpectEntity(component);
        EXPECT_EQ(component["unique_id"], key);
        entities[key] = component;
    }
    return entities;
}

const DiscoveredStation kStation{"homeassistant", "nimbo1", "cellar.b"};

DiscoveredDevice SensorOf(const std::string& name, const std::string& port) {
    AlarmLimits limits;
    limits.Low = 2;
    limits.Silent = std::chrono::seconds(60);
    return {{port, 5, 106, name, "TP-1", "tp-1", "", true}, limits, std::chrono::seconds(3)};
}

TEST(Discovery, ASensorIsItsTemperatureItsAlarmsAndDiagnostics) {
    const DiscoveredStation plain{"homeassistant", "nimbo1", "cellar"};
    EXPECT_EQ(DiscoveryTopic(plain, "tp-1"), "homeassistant/device/nimbo1_cellar_tp-1/config");
    const auto payload = DiscoveryPayload(plain, SensorOf("Oven", "/dev/ttyUSB0"));
    auto entities = Entities(payload);
    EXPECT_EQ(entities.size(), 8U);
    const auto of = [&](const std::string& key) { return entities.at("nimbo1_cellar_tp-1_" + key); };
    EXPECT_EQ(of("temperature")["state_topic"], "nimbo1/cellar/devices/tp-1/state");
    EXPECT_EQ(of("temperature")["expire_after"], 3);
    const auto value = of("temperature")["value_template"].get<std::string>();
    EXPECT_NE(value.find("last_good | default("), std::string::npos) << "a good reading has none";
    EXPECT_EQ(of("temperature")["availability"].size(), 2U);
    EXPECT_EQ(of("temperature")["availability_mode"], "all");
    EXPECT_EQ(of("alarm_low")["state_topic"], "nimbo1/cellar/devices/tp-1/alarm/low");
    EXPECT_EQ(of("alarm_low")["device_class"], "problem");
    EXPECT_FALSE(of("alarm_silent").is_null());
    EXPECT_TRUE(of("alarm_high").is_null()) << "has no limit, or none any more";
    EXPECT_TRUE(of("alarm_doubtful").is_null());
    EXPECT_EQ(of("connection")["availability"].size(), 1U) << "it is what tells that the device is offline";

    const auto device = Json::parse(payload)["device"];
    const auto station = Json::parse(DiscoveryPayload(plain))["device"];
    EXPECT_EQ(Entities(DiscoveryPayload(plain)).size(), 1U);
    EXPECT_EQ(Json::array({device["via_device"]}), station["identifiers"]);
    EXPECT_EQ(device["serial_number"], "TP-1");
}

TEST(Discovery, NoIdHoldsNameOrPlaceAndTopicsHoldWhatTheyMay) {
    const auto before = Entities(DiscoveryPayload(kStation, SensorOf("Oven", "/dev/ttyUSB0")));
    const auto after = Entities(DiscoveryPayload(kStation, SensorOf("Stove", "/dev/ttyUSB1")));
    ASSERT_EQ(before.size(), after.size());
    for (const auto& [id, entity] : before) {
        EXPECT_TRUE(after.contains(id)) << id;
        EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_-"), std::string::npos) << id;
    }
    DocumentedKeys topics;
    for (const auto* name : {"a.b", "a_2eb", "a-b", "a/b", "a_b"})
        for (const auto* id : {"", "b", "b_c", "b-c"})
            topics.insert(DiscoveryTopic({"homeassistant", "nimbo1", name}, id));
    EXPECT_EQ(topics.size(), 20U);
}

TEST(Discovery, OfADigitalModuleTheInputsThatAreNotWatchedAreDisabled) {
    DiscoveredDevice door{{"/dev/line", 7, 104, "", "", "d7", "", true}, {}, std::chrono::seconds(3)};
    const auto enabled = [&] {
        std::string which;
        for (const auto& [id, entity] : Entities(DiscoveryPayload(kStation, door)))
            if (id.find("_d7_input_") != std::string::npos && entity["enabled_by_default"]) which += id.back();
        return which;
    };
    EXPECT_EQ(enabled(), "01234567");
    door.Limits.InputsOn = 0b1000;
    door.Limits.InputsOff = 0b1;
    EXPECT_EQ(enabled(), "03");
    std::string alarms;
    for (const auto& [id, entity] : Entities(DiscoveryPayload(kStation, door)))
        if (id.find("_alarm_") != std::string::npos && !entity.is_null()) alarms += id.back();
    EXPECT_EQ(alarms, "03");
    EXPECT_EQ(Json::parse(DiscoveryPayload(kStation, door))["device"]["name"], "Nimbo1 Digital Module");
}

}  // namespace
}  // namespace orvix::tests
