#pragma once

#include <prometheus/metric_family.h>

#include <optional>
#include <vector>

#include "station/model/mqtt_state.h"
#include "station/run/health.h"

namespace orvix::station {

/// What Prometheus is told: counters since the start, and gauges, in base units, with the labels port, address and
/// name; of the broker without.
std::vector<prometheus::MetricFamily> MetricFamilies(const StationHealth& health,
                                                     const std::optional<MqttState>& mqtt = {});

}  // namespace orvix::station
