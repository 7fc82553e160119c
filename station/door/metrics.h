#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "station/run/health.h"

namespace orvix::station {

/// Offers the health of a station to Prometheus: http://ADDRESS:PORT/metrics. Scrapers are served on threads of their
/// own, which end a connection that stands still for seconds; the station is asked at each request.
class MetricsServer {
public:
    /// `where`: "127.0.0.1:9400" or "[::1]:9400". `health` is called on the apartment. Raises Error when the port
    /// cannot be listened on.
    MetricsServer(const std::string& where, Apartment& home, std::function<StationHealth()> health);
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

private:
    class Metrics;
    class Listener;

    std::shared_ptr<Metrics> m_Metrics;
    std::unique_ptr<Listener> m_Listener;
};

}  // namespace orvix::station
