#include "station/sink/service/service_notifier.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <utility>

namespace orvix::station {
namespace {

/// The interval at which the service manager wants a sign of life, halved so that a late one is no missing one;
/// 0: it wants none.
std::int32_t SignOfLifeMs() {
    std::uint64_t limitUs = 0;
    if (sd_watchdog_enabled(0, &limitUs) <= 0) return 0;
    constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp<std::uint64_t>(limitUs / 2000, 1, most));
}

}  // namespace

ServiceNotifier::ServiceNotifier(Apartment& home, std::function<bool()> allMove)
    : m_Alive(home.CreateTimer([allMove = std::move(allMove)] {
          if (allMove()) sd_notify(0, "WATCHDOG=1");
      })) {
    if (const auto interval = SignOfLifeMs(); interval > 0) m_Alive->Rearm(interval, true);
}

ServiceNotifier::~ServiceNotifier() {
    sd_notify(0, "STOPPING=1");
}

void ServiceNotifier::OnLine(const LineEvent& event) {
    if (m_Ready || event.What != LineEvent::Kind::Opened) return;
    m_Ready = true;
    sd_notifyf(0, "READY=1\nSTATUS=%s is online", event.Port.c_str());
}

void ServiceNotifier::Reloading() {
    // The end of a reload would be taken for the end of the start.
    if (!m_Ready) return;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%lld", static_cast<long long>(microseconds));
}

void ServiceNotifier::Reloaded() {
    if (m_Ready) sd_notify(0, "READY=1");
}

}  // namespace orvix::station
