#include "station/store/clock_watch.h"

#include <cstdlib>
#include <ctime>
#include <utility>

namespace orvix::station {
namespace {

// Going to sleep and waking up take longer than the clocks differ otherwise.
constexpr std::int64_t kShortestSleep = 5000;

std::int64_t Milliseconds(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace

ClockTimes ReadClocks() {
    return {Milliseconds(CLOCK_REALTIME), Milliseconds(CLOCK_BOOTTIME), Milliseconds(CLOCK_MONOTONIC)};
}

std::optional<Interruption> ClockWatch::Take(const ClockTimes& now) {
    const auto before = std::exchange(m_Before, now);
    if (!before) return std::nullopt;
    const auto passed = now.Boot - before->Boot;
    const auto step = now.Unix - before->Unix - passed;
    if (std::abs(step) > kClockStep) return Interruption{Interruption::Kind::ClockSet, before->Unix, now.Unix, step};
    const auto slept = passed - (now.Awake - before->Awake);
    if (slept > kShortestSleep) return Interruption{Interruption::Kind::Slept, before->Unix, now.Unix, 0};
    return std::nullopt;
}

}  // namespace orvix::station
