#include "station/setup/configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using station::ParseConfiguration;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::vector<std::string> Complaints(const std::string& text) {
    try {
        ParseConfiguration(text, "f");
        return {};
    } catch (const station::ConfigurationError& error) {
        return error.Lines();
    }
}

TEST(Configuration, ABrokerIsNamedByItsUrl) {
    using station::BrokerAddress;
    EXPECT_EQ(station::ParseBroker("mqtt://h"), (BrokerAddress{"h", 1883, false}));
    EXPECT_EQ(station::ParseBroker("mqtts://[::1]:1/"), (BrokerAddress{"::1", 1, true}));
    for (const char* url : {"h", "http://h", "mqtt://", "mqtt://h:", "mqtt://h:0", "mqtt://h:65536", "mqtt://h:1x",
                            "mqtt://::1", "mqtt://h/topic", "mqtt://a b"})
        EXPECT_FALSE(station::ParseBroker(url)) << url;
}

TEST(Configuration, FillsTheWholeSetup) {
    const auto setup = ParseConfiguration(R"(
data = "/var/d"
[[bus]]
port = "/dev/../dev/ttyUSB0"
name = "hall"
every = "1.5s"
retries = 0
timeout_factor = 20
plausible_low = -60
plausible_high = 120.5
driver_thread = true
[[bus.device]]
address = 5
model = "sensor"
name = "Oven"
low = -1
high = 30.5
hold_off = 3
[[bus.device]]
address = 7
model = 104
inputs = { 0 = true, 7 = false }
[[bus]]
port = "simulated"
[history]
on = false
keep = "2w"
keep_rollups = "520w"
record = "change"
dead_band = 0.25
longest_silence = "10m"
max_size = "500MB"
[metrics]
listen = "127.0.0.1:9400"
[mqtt]
broker = "mqtts://broker.lan"
version = "3.1.1"
station = "oven-3"
topic = "site/hall"
user = "u"
password_file = "/p"
ca = "/a"
cert = "/c"
key = "/k"
[alarms]
on_alarm = ["say", "it"]
)",
                                          "f");
    EXPECT_EQ(setup.Data, "/var/d");
    ASSERT_EQ(setup.Buses.size(), 2U);
    const auto& bus = setup.Buses[0];
    EXPECT_EQ(bus.PortPath, "/dev/ttyUSB0");
    EXPECT_EQ(bus.PortLabel, "hall");
    EXPECT_EQ(bus.Every, 1500ms);
    EXPECT_EQ(bus.Retries, 0);
    EXPECT_EQ(bus.TimeoutFactor, 20);
    EXPECT_EQ(bus.Plausible, (station::Plausibility{-60, 120.5, {}}));
    EXPECT_TRUE(bus.DriverThread);
    EXPECT_THAT(bus.Devices, ElementsAre(station::DeviceSetup{5, 106, "Oven", {-1.0, 30.5, 0, 0, 3}},
                                         station::DeviceSetup{7, 104, "", {{}, {}, 0x01, 0x80, 1}}));
    EXPECT_EQ(setup.Buses[1].PortPath, "");
    EXPECT_FALSE(setup.History.On);
    EXPECT_EQ(setup.History.Keep, 14 * 24h);
    EXPECT_EQ(setup.History.KeepRollUps, 520 * 7 * 24h);
    EXPECT_TRUE(setup.History.Record.OnlyChanges);
    EXPECT_EQ(setup.History.Record.DeadBand, 0.25);
    EXPECT_EQ(setup.History.Record.LongestSilence, 10min);
    EXPECT_EQ(setup.History.MostBytes, 500'000'000);
    EXPECT_EQ(setup.Metrics, "127.0.0.1:9400");
    EXPECT_EQ(setup.Mqtt, (station::MqttSetup{
                              {"broker.lan", 8883, true}, false, "oven-3", "site/hall", "u", "/p", "/a", "/c", "/k"}));
    EXPECT_THAT(setup.OnAlarm, ElementsAre("say", "it"));
}

TEST(Configuration, EveryErrorHasItsPlaceAndKey) {
    const std::string device = "[[bus]]\nport = \"simulated\"\n[[bus.device]]\naddress = 5\nmodel = \"sensor\"\n";
    const std::string module = "[[bus]]\nport = \"simulated\"\n[[bus.device]]\naddress = 5\nmodel = \"digital\"\n";
    const struct {
        std::string Text;
        std::vector<std::string> Lines;
    } cases[] = {
        {"[[bus]]\nport = \"simulated\"\nevery = \"10ms\"", {"f:3:9: bus[0].every: '10ms' is not from 100ms to 576h"}},
        {"[[bus]]\nport = \"simulated\"\nevery = 1", {"f:3:9: bus[0].every: write a non-empty text in quotes"}},
        {"[[bus]]\nport = \"\"", {"f:2:8: bus[0].port: write a non-empty text in quotes"}},
        {"[[bus]]\nport = \"simulated\"\nevry = \"1s\"",
         {"f:3:1: bus[0].evry: there is no such key; did you mean every?"}},
        {"colour = 1", {"f:1:1: colour: there is no such key"}},
        {"", {"f:1:1: the configuration is empty: it sets nothing"}},
        {"# [[bus]]\n", {"f:1:1: the configuration is empty: it sets nothing"}},
        {"[[\x01]]",
         {"f:1:3: Error while parsing key: expected bare key starting character or string delimiter, saw "
          "'\\u0001'"}},
        {"[bus]", {"f:1:1: bus: write [[...]] with two brackets: there may be several"}},
        {"history = 1", {"f:1:11: history: this must be a table: [history]"}},
        {"[[bus]]\nport = \"simulated\"\nretries = -1\ntimeout_factor = 0\n[history]\nkeep = \"1s\"\nmax_size = "
         "\"9EB\"\non = 1",
         {"f:3:11: bus[0].retries: write a whole number from 0 to 100",
          "f:4:18: bus[0].timeout_factor: write a whole number from 1 to 10000",
          "f:6:8: history.keep: '1s' is not from 1h to 876000h",
          "f:7:12: history.max_size: write \"500MB\" or \"2GB\", at least 1MB",
          "f:8:6: history.on: write true or false"}},
        {"[[bus]]\nport = \"simulated\"\n[[bus.device]]\nname = \"x\"",
         {"f:3:1: bus[0].device[0]: the address is missing", "f:3:1: bus[0].device[0]: the model is missing"}},
        {device + "[[bus.device]]\naddress = 5\nmodel = 106",
         {"f:7:11: bus[0].device[1].address: address 5 appears twice on this bus"}},
        {"[[bus]]\nport = \"simulated\"\n[[bus.device]]\naddress = 256\nmodel = 105",
         {"f:4:11: bus[0].device[0].address: write a whole number from 1 to 255",
          "f:5:9: bus[0].device[0].model: '105' is not a model: write sensor (106) or digital (104)"}},
        {device + "low = 5\nhigh = 5", {"f:6:7: bus[0].device[0].low: must be below high"}},
        {device + "low = nan", {"f:6:7: bus[0].device[0].low: write a number"}},
        {device + "inputs = { 0 = true }", {"f:6:10: bus[0].device[0].inputs: a sensor has a temperature, not inputs"}},
        {module + "high = 5", {"f:6:8: bus[0].device[0].high: a digital module has inputs, not temperatures"}},
        {module + "inputs = { 8 = true }",
         {"f:6:10: bus[0].device[0].inputs: write which inputs raise an alarm, by bit, such as { 0 = true, 7 = false "
          "}"}},
        {"[[bus]]\nport = \"/p\"\nname = \"a\"\n[[bus]]\nport = \"/p\"\nname = \"a\"",
         {"f:5:8: bus[1].port: this port appears twice", "f:6:8: bus[1].name: this name appears twice"}},
        {"[metrics]\nlisten = \":70000\"",
         {"f:2:10: metrics.listen: write a numeric address and a port, such as 127.0.0.1:9400"}},
        {"[mqtt]\nbroker = \"mqtt://u:p@host\"\nstation = \"a/b\"\ntopic = \"a/+\"\ncert = \"c\"",
         {std::string("f:2:10: mqtt.broker: ") + station::kBrokerForm,
          "f:3:11: mqtt.station: write a name without /, + and #",
          "f:4:9: mqtt.topic: write levels of a topic, such as \"site/hall\", without +, # and $",
          "f:5:8: mqtt.cert: cert and key go together"}},
        {"[mqtt]\npassword_file = \"p\"",
         {"f:1:1: mqtt: the broker is missing", "f:2:17: mqtt.password_file: a password needs a user"}},
        {"[mqtt]\nbroker = \"mqtt://h\"\nca = \"c\"\nversion = \"3\"",
         {"f:3:6: mqtt.ca: is of use with mqtts:// alone", "f:4:11: mqtt.version: write \"5\" or \"3.1.1\""}},
        {"[alarms]\non_alarm = \"x\"",
         {"f:2:12: alarms.on_alarm: write a list of texts, such as [\"one\", \"another\"]"}},
        {"[[bus]]\nname = \"a\"", {"f:1:1: bus[0]: the port is missing: write its device file, or \"simulated\""}},
        {"[history]\non = true", {"f:1:1: no bus is set: write [[bus]] and its port"}},
    };
    for (const auto& c : cases)
        EXPECT_THAT(Complaints(c.Text), ElementsAreArray(c.Lines)) << c.Text;
    EXPECT_THAT(Complaints("[[bus]]\nport = "), ElementsAre(testing::StartsWith("f:2:")));
    EXPECT_THROW(station::LoadConfiguration(TestFolder().Path + "/none"), station::ConfigurationError);
}

}  // namespace
}  // namespace orvix::tests
