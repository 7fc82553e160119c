#include "station/door/metric_families.h"

#include <utility>

#include "host/characters.h"
#include "station/model/fleet_names.h"

namespace orvix::station {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

double Seconds(Duration time) {
    return std::chrono::duration<double>(time).count();
}

/// A bus of a fleet bears the name of its station, too.
Labels LabelsOf(const BusHealth& bus) {
    Labels labels{{"port", Printable(bus.Port)}};
    if (bus.Told) labels.push_back({"station", Printable(StationOfBus(bus.Port))});
    return labels;
}

Labels LabelsOf(const BusHealth& bus, const AddressHealth& address) {
    auto labels = LabelsOf(bus);
    labels.push_back({"address", std::to_string(address.Address)});
    labels.push_back({"id", address.Identifier});
    labels.push_back({"name", Printable(address.Name)});
    return labels;
}

/// What is counted where the line is; nothing elsewhere.
std::optional<double> OfLine(const BusHealth& bus, double value) {
    return bus.Told ? std::nullopt : std::optional(value);
}

Labels LabelsOf(const MqttState& /*broker*/) {
    return {};
}

template <class... Of>
struct ValueRow {
    const char* Name;
    const char* Help;
    MetricType Type;
    /// Nothing when there is none yet.
    std::optional<double> (*Value)(const Of&...);
};

constexpr ValueRow<BusHealth> kOfBus[] = {
    {"nimbo1_port_up", "Whether the serial port works", MetricType::Gauge,
     [](const BusHealth& bus) -> std::optional<double> { return bus.PortDown ? 0 : 1; }},
    {"nimbo1_port_failures_total", "Failures of the serial port", MetricType::Counter,
     [](const BusHealth& bus) -> std::optional<double> { return static_cast<double>(bus.PortFailures); }},
    {"nimbo1_idle_stray_bytes_total", "Bytes on the idle line that belong to no answer", MetricType::Counter,
     [](const BusHealth& bus) -> std::optional<double> {
         return OfLine(bus, static_cast<double>(bus.Idle.Total.StrayBytes));
     }},
    {"nimbo1_line_load_ratio", "Share of the last minute in which bytes were on the line", MetricType::Gauge,
     [](const BusHealth& bus) -> std::optional<double> { return OfLine(bus, bus.LoadLastMinute); }},
};

constexpr ValueRow<BusHealth, AddressHealth> kOfAddress[] = {
    {"nimbo1_doubtful_readings_total", "Readings whose value may be wrong", MetricType::Counter,
     [](const BusHealth&, const AddressHealth& it) -> std::optional<double> {
         return static_cast<double>(it.Total.DoubtfulReadings);
     }},
    {"nimbo1_retries_total", "Requests sent again after a failure", MetricType::Counter,
     [](const BusHealth& bus, const AddressHealth& it) -> std::optional<double> {
         return OfLine(bus, static_cast<double>(it.Total.Retries));
     }},
    {"nimbo1_doubled_answers_total", "Second answers to one request", MetricType::Counter,
     [](const BusHealth& bus, const AddressHealth& it) -> std::optional<double> {
         return OfLine(bus, static_cast<double>(it.Total.Doubled));
     }},
    {"nimbo1_late_answers_total", "Answers that came after their time-out", MetricType::Counter,
     [](const BusHealth& bus, const AddressHealth& it) -> std::optional<double> {
         return OfLine(bus, static_cast<double>(it.Total.Late));
     }},
    {"nimbo1_stray_bytes_total", "Bytes on the line that belong to no answer", MetricType::Counter,
     [](const BusHealth& bus, const AddressHealth& it) -> std::optional<double> {
         return OfLine(bus, static_cast<double>(it.Total.StrayBytes));
     }},
    {"nimbo1_temperature_celsius", "Latest good temperature, while the device is not offline", MetricType::Gauge,
     [](const BusHealth&, const AddressHealth& it) -> std::optional<double> {
         const auto* degrees = std::get_if<double>(&it.Value);
         return degrees != nullptr && it.Quality != Quality::Offline ? std::optional(*degrees) : std::nullopt;
     }},
    {"nimbo1_up", "Whether the latest value is good: neither doubtful, stale nor missing", MetricType::Gauge,
     [](const BusHealth&, const AddressHealth& it) -> std::optional<double> {
         return it.Quality == Quality::Good ? 1 : 0;
     }},
    {"nimbo1_last_good_age_seconds", "Time since the latest good answer", MetricType::Gauge,
     [](const BusHealth&, const AddressHealth& it) -> std::optional<double> {
         return it.LastGood ? std::optional(Seconds(*it.LastGood)) : std::nullopt;
     }},
    {"nimbo1_period_requested_seconds", "Polling period asked for", MetricType::Gauge,
     [](const BusHealth& bus, const AddressHealth&) -> std::optional<double> { return Seconds(bus.Every); }},
    {"nimbo1_period_achieved_seconds", "Polling period of the last minutes", MetricType::Gauge,
     [](const BusHealth&, const AddressHealth& it) -> std::optional<double> {
         const auto period = it.Recent.Period();
         return period ? std::optional(Seconds(*period)) : std::nullopt;
     }},
};

std::optional<double> OfCarriage(const MqttState& mqtt, double (*value)(const MqttCarriageState& carriage)) {
    return mqtt.Carriage ? std::optional(value(*mqtt.Carriage)) : std::nullopt;
}

constexpr ValueRow<MqttState> kOfBroker[] = {
    {"nimbo1_mqtt_connected", "Whether the MQTT broker has taken the station", MetricType::Gauge,
     [](const MqttState& mqtt) -> std::optional<double> { return mqtt.Connection.Since ? 1 : 0; }},
    {"nimbo1_mqtt_history_backlog_rows", "Recorded rows that the broker has not acknowledged", MetricType::Gauge,
     [](const MqttState& mqtt) {
         return OfCarriage(mqtt, [](const auto& carriage) { return static_cast<double>(carriage.Backlog()); });
     }},
    {"nimbo1_mqtt_history_rows_total", "Recorded rows that the broker has acknowledged", MetricType::Counter,
     [](const MqttState& mqtt) {
         return OfCarriage(mqtt, [](const auto& carriage) { return static_cast<double>(carriage.Taken); });
     }},
    {"nimbo1_mqtt_history_skipped_rows_total", "Recorded rows that were removed before they could be sent",
     MetricType::Counter,
     [](const MqttState& mqtt) {
         return OfCarriage(mqtt, [](const auto& carriage) { return static_cast<double>(carriage.Skipped); });
     }},
};

/// The values of the label that tells how exchanges ended.
constexpr std::pair<const char*, Outcome> kResults[] = {
    {"good", Outcome::Good},         {"silent", Outcome::Silent},     {"cut_off", Outcome::CutShort},
    {"bad_frame", Outcome::Damaged}, {"checksum", Outcome::Checksum}, {"refused", Outcome::Refused},
    {"foreign", Outcome::Foreign},   {"late", Outcome::Late},         {"line_lost", Outcome::LineLost}};
static_assert(std::size(kResults) == kOutcomes);

template <class... Of>
void AddValue(MetricFamily& family, const ValueRow<Of...>& row, const Of&... of) {
    const auto value = row.Value(of...);
    if (!value) return;
    ClientMetric metric;
    metric.label = LabelsOf(of...);
    metric.counter.value = metric.gauge.value = *value;
    family.metric.push_back(std::move(metric));
}

void AddExchanges(MetricFamily& family, const BusHealth& bus, const AddressHealth& address) {
    if (bus.Told) return;
    for (const auto& [name, outcome] : kResults) {
        ClientMetric metric;
        metric.label = LabelsOf(bus, address);
        metric.label.push_back({"result", name});
        metric.counter.value = static_cast<double>(address.Total.Count(outcome));
        family.metric.push_back(std::move(metric));
    }
}

/// One metric for each input, while the device is not offline.
void AddInputs(MetricFamily& family, const BusHealth& bus, const AddressHealth& address) {
    const auto* inputs = std::get_if<std::int32_t>(&address.Value);
    if (inputs == nullptr || address.Quality == Quality::Offline) return;
    for (int input = 0; input < 8; ++input) {
        ClientMetric metric;
        metric.label = LabelsOf(bus, address);
        metric.label.push_back({"input", std::to_string(input)});
        metric.gauge.value = (*inputs >> input) & 1;
        family.metric.push_back(std::move(metric));
    }
}

/// One metric for each quality there is, of which one is 1.
void AddQualities(MetricFamily& family, const BusHealth& bus, const AddressHealth& address) {
    for (const auto quality : {Quality::Good, Quality::Doubtful, Quality::Stale, Quality::Offline}) {
        ClientMetric metric;
        metric.label = LabelsOf(bus, address);
        metric.label.push_back({"quality", NameOf(quality)});
        metric.gauge.value = address.Quality == quality ? 1 : 0;
        family.metric.push_back(std::move(metric));
    }
}

void AddRoundTrips(MetricFamily& family, const BusHealth& bus, const AddressHealth& address) {
    if (bus.Told) return;
    const auto& trips = address.Total.RoundTrips;
    ClientMetric metric;
    metric.label = LabelsOf(bus, address);
    metric.histogram.sample_count = trips.Count();
    metric.histogram.sample_sum = Seconds(trips.Sum());
    for (int exponent = 0; exponent <= Histogram::kMostExponent; ++exponent) {
        metric.histogram.bucket.push_back(
            {trips.CountUpTo(exponent), Seconds(std::chrono::milliseconds(std::int64_t{1} << exponent))});
    }
    family.metric.push_back(std::move(metric));
}

}  // namespace

std::vector<MetricFamily> MetricFamilies(const StationHealth& health, const std::optional<MqttState>& mqtt) {
    std::vector<MetricFamily> families;
    for (const auto& row : kOfBus) {
        auto& family = families.emplace_back(MetricFamily{row.Name, row.Help, row.Type, {}});
        for (const auto& bus : health.Buses)
            AddValue(family, row, bus);
    }
    const auto eachAddress = [&](MetricFamily family, auto add) {
        for (const auto& bus : health.Buses) {
            for (const auto& address : bus.Addresses)
                add(family, bus, address);
        }
        families.push_back(std::move(family));
    };
    for (const auto& row : kOfAddress) {
        eachAddress({row.Name, row.Help, row.Type, {}},
                    [&](MetricFamily& family, const BusHealth& bus, const AddressHealth& address) {
                        AddValue(family, row, bus, address);
                    });
    }
    eachAddress(
        {"nimbo1_input", "Latest good state of an input, while the device is not offline", MetricType::Gauge, {}},
        AddInputs);
    eachAddress({"nimbo1_quality", "How much the latest value is worth", MetricType::Gauge, {}}, AddQualities);
    eachAddress({"nimbo1_exchanges_total", "Exchanges by how they ended", MetricType::Counter, {}}, AddExchanges);
    eachAddress(
        {"nimbo1_round_trip_seconds", "From a request to the last byte of its answer", MetricType::Histogram, {}},
        AddRoundTrips);
    ClientMetric still;
    still.gauge.value = Seconds(health.HistoryStill.value_or(Duration::zero()));
    families.push_back({"nimbo1_history_standstill_seconds",
                        "For how long nothing could be written into the history; 0: it can be",
                        MetricType::Gauge,
                        {still}});
    if (!mqtt) return families;
    for (const auto& row : kOfBroker)
        AddValue(families.emplace_back(MetricFamily{row.Name, row.Help, row.Type, {}}), row, *mqtt);
    return families;
}

}  // namespace orvix::station
