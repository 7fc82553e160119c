#include "platform/real_apartment.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace orvix::platform {

namespace {
using SteadyTime = std::chrono::time_point<std::chrono::steady_clock, Duration>;
}

RealApartment::RealApartment() : m_ThreadID(gettid()) {}

void RealApartment::Run() {
    while (!m_Quit) {
        DeliverNext(Duration::max());
    }
    m_Quit = false;
}

void RealApartment::Quit() {
    Post([this] { m_Quit = true; });
}

Duration RealApartment::Now() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

Date RealApartment::DateNow() const {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return FromUnixMilliseconds(std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count());
}

void RealApartment::Post(std::function<void()> message) {
    const std::lock_guard lock(m_Mutex);
    m_Messages.push_back(std::move(message));
    // Under the lock: once it is free the receiver may deliver the message, quit and destroy the apartment.
    m_Wake.notify_one();
}

std::unique_ptr<Timer> RealApartment::CreateTimer(std::function<void()> tick) {
    return m_Timers.Create(*this, std::move(tick));
}

bool RealApartment::PumpUntil(const std::function<bool()>& done, Duration limit) {
    const Duration end = Now() + limit;
    while (!done()) {
        if (!DeliverNext(end) || Now() > end) return done();
    }
    return true;
}

void RealApartment::Block(Duration time) {
    std::this_thread::sleep_for(time);
}

bool RealApartment::DeliverNext(Duration end) {
    if (const auto message = WaitForMessage(std::min(end, m_Timers.NextDue().value_or(end)))) {
        (*message)();
        return true;
    }
    return m_Timers.TickNext(Now());
}

std::optional<std::function<void()>> RealApartment::WaitForMessage(Duration end) {
    std::unique_lock lock(m_Mutex);
    if (!m_Wake.wait_until(lock, SteadyTime(end), [this] { return !m_Messages.empty(); })) return std::nullopt;
    auto message = std::move(m_Messages.front());
    m_Messages.pop_front();
    return message;
}

}  // namespace orvix::platform
