#include "platform/real_apartment.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "host/error.h"

namespace orvix::platform {
namespace {

timespec SystemTime(Duration time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

}  // namespace

RealApartment::RealApartment()
    : m_ThreadID(gettid()), m_Wake(std::make_shared<FileDescriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
    if (!m_Wake->IsOpen()) throw SystemError("no event for a message loop", errno);
}

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
    // Without the lock, for which the thread that wakes up would have to wait again. Once that is free the thread may
    // deliver the message, quit and destroy the apartment.
    std::shared_ptr<const FileDescriptor> wake;
    {
        const std::lock_guard lock(m_Mutex);
        m_Messages.push_back(std::move(message));
        if (std::exchange(m_Sleeps, false)) wake = m_Wake;
    }
    if (wake) ::eventfd_write(wake->Get(), 1);
}

std::unique_ptr<DescriptorWatch> RealApartment::Watch(int descriptor, short events, std::function<void(short)> ready) {
    const auto number = ++m_LatestWatch;
    m_Watched.emplace(number, Watched{descriptor, events, std::move(ready)});
    return std::make_unique<DescriptorWatch>([this, number] { m_Watched.erase(number); });
}

std::unique_ptr<Timer> RealApartment::CreateTimer(std::function<void()> tick) {
    return m_Timers.Create(*this, std::move(tick));
}

bool RealApartment::PumpUntil(const std::function<bool()>& done, Duration limit) {
    const Duration end = Now() + limit;
    while (!done()) {
        DeliverNext(end);
        if (Now() > end) return done();
    }
    return true;
}

void RealApartment::Block(Duration time) {
    std::this_thread::sleep_for(time);
}

void RealApartment::DeliverNext(Duration end) {
    HandleDescriptors(std::min(end, m_Timers.NextDue().value_or(end)));
    if (const auto message = TakeMessage()) return (*message)();
    m_Timers.TickNext(Now());
}

void RealApartment::HandleDescriptors(Duration end) {
    std::vector<std::uint64_t> numbers;
    for (const auto& [number, watched] : m_Watched)
        numbers.push_back(number);
    const auto polled = Wait(end);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto watched = m_Watched.find(numbers[i]);
        // An earlier handler may have ended it.
        if (polled[i].revents == 0 || watched == m_Watched.end()) continue;
        const auto ready = watched->second.Ready;  // the handler may end its own watch
        ready(polled[i].revents);
    }
}

std::vector<pollfd> RealApartment::Wait(Duration end) {
    std::vector<pollfd> polled;
    for (const auto& [number, watched] : m_Watched)
        polled.push_back({watched.Descriptor, watched.Events, 0});
    {
        const std::lock_guard lock(m_Mutex);
        m_Sleeps = m_Messages.empty();
        if (!m_Sleeps && polled.empty()) return polled;
        if (!m_Sleeps) end = Duration::zero();
    }
    polled.push_back({m_Wake->Get(), POLLIN, 0});
    const auto limit = SystemTime(std::max(end - Now(), Duration::zero()));
    if (::ppoll(polled.data(), polled.size(), end == Duration::max() ? nullptr : &limit, nullptr) < 0) {
        for (auto& descriptor : polled)
            descriptor.revents = 0;
    }
    eventfd_t count = 0;
    if (polled.back().revents != 0) ::eventfd_read(m_Wake->Get(), &count);
    polled.pop_back();
    return polled;
}

std::optional<std::function<void()>> RealApartment::TakeMessage() {
    const std::lock_guard lock(m_Mutex);
    m_Sleeps = false;
    if (m_Messages.empty()) return std::nullopt;
    auto message = std::move(m_Messages.front());
    m_Messages.pop_front();
    return message;
}

}  // namespace orvix::platform
