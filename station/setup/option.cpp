#include "station/setup/option.h"

#include "station/model/listen_address.h"
#include "station/words/time_span.h"

namespace orvix::station {
namespace {

// Timers count milliseconds in 32 bits.
constexpr std::chrono::hours kLongestPeriod{24 * 24};

double MaxStep(const Value& value) {
    const auto step = value.Real();
    if (!(step > 0)) throw BadValue("write degrees, more than 0");
    return step;
}

constexpr Option<BusSetup> kBusOptions[] = {
    {"port", nullptr, nullptr, nullptr,
     [](const Value& value, BusSetup& bus) {
         if (value.Text() != kSimulatedPort) bus.PortPath = value.Path();
     }},
    {"name", nullptr, nullptr, nullptr, [](const Value& value, BusSetup& bus) { bus.PortLabel = value.Text(); }},
    {"every", "--every", "TIME", "polling period (1s)",
     [](const Value& value, BusSetup& bus) { bus.Every = value.Span(kShortestPeriod, kLongestPeriod); }},
    {"retries", "--retries", "N", "extra attempts after a failed exchange (3)",
     [](const Value& value, BusSetup& bus) { bus.Retries = static_cast<std::int32_t>(value.Whole(0, kMostRetries)); }},
    {"timeout_factor", "--timeout-factor", "MS", "an answer may take five times this many milliseconds (10)",
     [](const Value& value, BusSetup& bus) {
         bus.TimeoutFactor = static_cast<std::int32_t>(value.Whole(1, kLongestTimeoutFactor));
     }},
    {"plausible_low", nullptr, nullptr, nullptr,
     [](const Value& value, BusSetup& bus) { bus.Plausible.Low = value.Real(); }},
    {"plausible_high", nullptr, nullptr, nullptr,
     [](const Value& value, BusSetup& bus) { bus.Plausible.High = value.Real(); }},
    {"max_step", "--max-step", "DEGREES",
     "a temperature that jumps by more is read again at once, and doubtful unless confirmed",
     [](const Value& value, BusSetup& bus) { bus.Plausible.MaxStep = MaxStep(value); }},
    {"port_gone", nullptr, nullptr, nullptr,
     [](const Value& value, BusSetup& bus) { bus.PortGone = value.Span(std::chrono::seconds(1), kLongestPeriod); }},
    {"driver_thread", "--driver-thread", nullptr, "run the driver on a thread of its own",
     [](const Value& value, BusSetup& bus) { bus.DriverThread = value.Boolean(); }},
    {nullptr, "--trace", nullptr,
     "write a trace into the folder Log of the data folder, in the file of the day it started, and to nimbo1 trace",
     [](const Value& value, BusSetup& bus) { bus.Trace = value.Boolean(); }},
    {nullptr, "--debug", nullptr, "show the driver's debug lines; implies --verbose",
     [](const Value& value, BusSetup& bus) { bus.Debug = value.Boolean(); }},
};

/// Host and port: what stands behind the last colon is a number, and something stands before it. No name is looked up,
/// which may take long, but the one that everybody writes.
std::string ListenAddress(const Value& value) {
    auto text = value.Text();
    constexpr std::string_view localhost = "localhost:";
    if (text.starts_with(localhost)) text.replace(0, localhost.size(), "127.0.0.1:");
    if (!ParseListenAddress(text)) throw BadValue(kListenAddressForm);
    return text;
}

std::chrono::hours Kept(const Value& value) {
    return std::chrono::floor<std::chrono::hours>(value.Span(std::chrono::hours(1), kLongestTimeSpan));
}

bool IsOnlyChanges(const Value& value) {
    const auto text = value.Text();
    if (text != "all" && text != "change") throw BadValue("write \"all\" or \"change\"");
    return text == "change";
}

double DeadBand(const Value& value) {
    const auto band = value.Real();
    if (band < 0) throw BadValue("write degrees, 0 or more");
    return band;
}

BrokerAddress Broker(const Value& value) {
    const auto broker = ParseBroker(value.Text());
    if (!broker) throw BadValue(kBrokerForm);
    return *broker;
}

bool IsMqtt5(const Value& value) {
    const auto version = value.Text();
    if (version != "5" && version != "3.1.1") throw BadValue("write \"5\" or \"3.1.1\"");
    return version == "5";
}

std::string TopicLevel(const Value& value) {
    auto text = value.Text();
    if (!IsTopicLevel(text)) throw BadValue("write a name without /, + and #");
    return text;
}

std::string TopicBase(const Value& value) {
    auto text = value.Text();
    if (text.find_first_of("+#$") != std::string::npos || text.starts_with('/') || text.ends_with('/')) {
        throw BadValue("write levels of a topic, such as \"site/hall\", without +, # and $");
    }
    return text;
}

constexpr Option<StationSetup> kStationOptions[] = {
    {"data", "--data", "DIR", "folder of the database and of everything recorded",
     [](const Value& value, StationSetup& setup) { setup.Data = value.Path(); }},
    {"history.on", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.On = value.Boolean(); }},
    {nullptr, "--no-history", nullptr, "do not record the readings",
     [](const Value& value, StationSetup& setup) { setup.History.On = setup.History.On && !value.Boolean(); }},
    {"history.keep", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.Keep = Kept(value); }},
    {"history.keep_rollups", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.KeepRollUps = Kept(value); }},
    {"history.record", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.Record.OnlyChanges = IsOnlyChanges(value); }},
    {"history.dead_band", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.Record.DeadBand = DeadBand(value); }},
    {"history.longest_silence", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) {
         setup.History.Record.LongestSilence = value.Span(std::chrono::seconds(1), kLongestPeriod);
     }},
    {"history.max_size", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.History.MostBytes = value.Size(); }},
    {"metrics.listen", "--metrics", "ADDRESS:PORT", "offer metrics to Prometheus at http://ADDRESS:PORT/metrics",
     [](const Value& value, StationSetup& setup) { setup.Metrics = ListenAddress(value); }},
    {"web.listen", "--web", "ADDRESS:PORT", "serve the page, and an interface for programs, at http://ADDRESS:PORT/",
     [](const Value& value, StationSetup& setup) { setup.Web.Listen = ListenAddress(value); }},
    {"web.tokens", "--web-tokens", "FILE", "who may do what there: lines \"read TOKEN\" and \"change TOKEN\"",
     [](const Value& value, StationSetup& setup) { setup.Web.Tokens = value.Path(); }},
    {"web.hosts", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Web.Hosts = value.Texts(); }},
    {"web.lines", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Web.Lines = value.Boolean(); }},
    {"mqtt.broker", "--mqtt", "URL", "report to an MQTT broker: mqtt://HOST, or mqtts://HOST with TLS",
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Broker = Broker(value); }},
    {"mqtt.version", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Speaks5 = IsMqtt5(value); }},
    {"mqtt.station", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Station = TopicLevel(value); }},
    {"mqtt.topic", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Topic = TopicBase(value); }},
    {"mqtt.user", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.User = value.Text(); }},
    {"mqtt.password_file", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.PasswordFile = value.Path(); }},
    {"mqtt.ca", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Ca = value.Path(); }},
    {"mqtt.cert", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Cert = value.Path(); }},
    {"mqtt.key", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Key = value.Path(); }},
    {"mqtt.backfill", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Backfill = value.Boolean(); }},
    {"mqtt.resend", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.Resend = Kept(value); }},
    {"mqtt.home_assistant", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.HomeAssistant = value.Boolean(); }},
    {"mqtt.discovery_prefix", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.Mqtt.DiscoveryPrefix = TopicBase(value); }},
    {"alarms.on_alarm", nullptr, nullptr, nullptr,
     [](const Value& value, StationSetup& setup) { setup.OnAlarm = value.Command(); }},
};

}  // namespace

std::span<const Option<BusSetup>> BusOptionTable() {
    return kBusOptions;
}

std::span<const Option<StationSetup>> StationOptionTable() {
    return kStationOptions;
}

}  // namespace orvix::station
