#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "devices/protocol/device_models.h"
#include "host/apartment.h"
#include "host/variant.h"
#include "soak/random.h"
#include "tasks/enumerations.h"
#include "tests/support/scripted_line.h"

namespace orvix::soak {

struct ModelDevice {
    const char* Address;
    std::int32_t Model;
};
inline constexpr ModelDevice kModelFleet[] = {{"1", 106}, {"2", 106}, {"3", 106}, {"9", 104}};
/// Nobody has added this one, and nothing answers there.
inline constexpr ModelDevice kMissingDevice = {"77", 106};
/// The first one's copy from a file.
inline constexpr ModelDevice kOfflineDevice = {"1-2", 106};

/// What a device answers: the number that stands in the request's payload, which tells who asked for it. A poll of the
/// adapter's own has no payload and is answered with a running number.
///
/// A number is exact as a single: those of requests and of polls lie apart, and tell their device.
namespace token {
inline constexpr std::uint32_t kDevices = 16;
/// So many numbers pass before one comes again.
inline constexpr std::uint32_t kCycle = 60000;

std::uint32_t OfRequest(std::uint64_t sequence, std::size_t device);
std::uint32_t OfPoll(std::uint64_t sequence, std::size_t device);
bool IsPoll(std::uint32_t token);
std::size_t DeviceOf(std::uint32_t token);
/// The number in a reply, as payload or as the value of a record; nothing when there is none.
std::optional<std::uint32_t> In(const Variant& payload);
}  // namespace token

/// The devices of kModelFleet behind a scripted line that is faulty now and then.
class ModelDevices {
public:
    ModelDevices(Apartment& apartment, tests::ScriptedLine& line, Random& random);

    std::function<void()> OnRequest = [] {};
    /// Makes no faults from now on.
    bool Healthy = false;

private:
    tests::Response Answer(const std::string& request);
    tests::Response Fault(std::string reply, std::int32_t address);

    Apartment& m_Apartment;
    tests::ScriptedLine& m_Line;
    Random& m_Random;
    std::uint64_t m_Polls = 0;
};

}  // namespace orvix::soak
