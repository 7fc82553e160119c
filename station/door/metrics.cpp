#include "station/door/metrics.h"

#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <sys/socket.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "station/door/metric_families.h"
#include "station/model/metrics_address.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kRefreshMs = 1000;

// A scraper that stands still keeps one thread for so long at most.
constexpr char kThreads[] = "4";
constexpr char kStillLimitMs[] = "3000";

/// The package tells no reason when it cannot listen, so this finds it out. Raises SystemError.
void CheckCanListen(const std::string& where) {
    const auto addresses = ParseMetricsAddress(where);
    if (!addresses) throw Error(errors::General, "metrics: " + where + " is no ADDRESS:PORT");
    const platform::FileDescriptor socket(::socket(addresses->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (::bind(socket.Get(), addresses->ai_addr, addresses->ai_addrlen) != 0 || ::listen(socket.Get(), 1) != 0) {
        throw SystemError("metrics cannot be offered at " + where, errno);
    }
}

}  // namespace

/// The latest copy, for the threads of the scrapers.
class MetricsServer::Metrics : public prometheus::Collectable {
public:
    void Publish(StationHealth health) {
        auto copy = std::make_shared<const StationHealth>(std::move(health));
        const std::lock_guard lock(m_Mutex);
        m_Health = std::move(copy);
    }
    std::vector<prometheus::MetricFamily> Collect() const override { return MetricFamilies(*Latest()); }

private:
    std::shared_ptr<const StationHealth> Latest() const {
        const std::lock_guard lock(m_Mutex);
        return m_Health;
    }

    mutable std::mutex m_Mutex;
    std::shared_ptr<const StationHealth> m_Health = std::make_shared<const StationHealth>();
};

class MetricsServer::Listener {
public:
    explicit Listener(const std::string& where)
        : m_Exposer({"listening_ports", where, "num_threads", kThreads, "request_timeout_ms", kStillLimitMs}) {}

    void Offer(const std::shared_ptr<Metrics>& metrics) { m_Exposer.RegisterCollectable(metrics); }

private:
    prometheus::Exposer m_Exposer;
};

MetricsServer::MetricsServer(const std::string& where, Apartment& home, std::function<StationHealth()> health)
    : m_Metrics(std::make_shared<Metrics>()) {
    CheckCanListen(where);
    try {
        m_Listener = std::make_unique<Listener>(where);
    } catch (const std::exception& error) {
        throw Error(errors::General, "metrics cannot be offered at " + where + ": " + error.what());
    }
    m_Listener->Offer(m_Metrics);
    m_Metrics->Publish(health());
    m_Timer = home.CreateTimer([this, health = std::move(health)] { m_Metrics->Publish(health()); });
    m_Timer->Rearm(kRefreshMs, true);
}

MetricsServer::~MetricsServer() = default;

}  // namespace orvix::station
