#pragma once

#include <prometheus/metric_family.h>

#include <vector>

#include "station/run/health.h"

namespace orvix::station {

/// What Prometheus is told: counters since the start, and gauges, in base units, with the labels port, address and
/// name.
std::vector<prometheus::MetricFamily> MetricFamilies(const StationHealth& health);

}  // namespace orvix::station
