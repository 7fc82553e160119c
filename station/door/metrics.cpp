#include "station/door/metrics.h"

#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <sys/socket.h>

#include <cerrno>
#include <future>
#include <utility>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "station/door/metric_families.h"
#include "station/model/metrics_address.h"

namespace orvix::station {
namespace {

// A station that does not answer a scraper has no values to show.
constexpr std::chrono::seconds kAnswerLimit{2};

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

/// Asks the station for its health, on the threads of the scrapers.
class MetricsServer::Metrics : public prometheus::Collectable {
public:
    Metrics(Apartment& home, std::function<StationHealth()> health)
        : m_Question(std::make_shared<Question>(std::move(health))), m_Home(home) {}

    std::vector<prometheus::MetricFamily> Collect() const override {
        const auto answer = std::make_shared<std::promise<StationHealth>>();
        auto health = answer->get_future();
        m_Home.Post([question = m_Question, answer] { answer->set_value((*question)()); });
        if (health.wait_for(kAnswerLimit) != std::future_status::ready) return {};
        return MetricFamilies(health.get());
    }

private:
    using Question = std::function<StationHealth()>;
    std::shared_ptr<const Question> m_Question;
    Apartment& m_Home;
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
    : m_Metrics(std::make_shared<Metrics>(home, std::move(health))) {
    CheckCanListen(where);
    try {
        m_Listener = std::make_unique<Listener>(where);
    } catch (const std::exception& error) {
        throw Error(errors::General, "metrics cannot be offered at " + where + ": " + error.what());
    }
    m_Listener->Offer(m_Metrics);
}

MetricsServer::~MetricsServer() = default;

}  // namespace orvix::station
