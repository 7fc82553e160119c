#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "simulator/fault_plan.h"

namespace orvix::simulator {

using Time = std::chrono::nanoseconds;

/// A value that a simulated device measures: constant, or rising from From to To over each period.
struct ValueSource {
    double From = 0;
    double To = 0;
    std::chrono::milliseconds Period{0};

    double At(Time sinceStart) const;
};

struct SimulatedDevice {
    int Address = 0;
    std::int32_t Model = 0;
    ValueSource Value;  ///< degrees Celsius, or the input byte 0 to 255
};

/// What a device answers to a command that it does not know.
std::string BuildRefusal(int address);

/// "5:sensor=21.5", "6:sensor=ramp:20:30:60s", "7:digital=5"; without a value 20 degrees, or inputs 0. Raises
/// ArgumentError.
SimulatedDevice ParseSimulatedDevice(const std::string& text);

/// A series for the bus of a device file: the last part of its path in capitals, so that no two buses of a machine have
/// the same serial numbers.
std::string SeriesOf(const std::string& path);

/// The devices on one line: takes bytes, gives the bytes that come back. It knows neither a clock nor a port.
class SimulatedBus {
public:
    /// `series` begins the serial numbers. Raises ArgumentError when two devices have the same address.
    explicit SimulatedBus(const std::vector<SimulatedDevice>& devices, FaultPlan faults = {},
                          std::string series = "NB1");

    /// Those that are on the line from now on. Raises ArgumentError when two have the same address.
    void Devices(const std::vector<SimulatedDevice>& devices);

    /// Takes what has been received and answers the requests that are complete, as the devices would: with the code of
    /// the request, a refusal to an unknown command, nothing for an address where no device is. Bytes that belong to no
    /// frame are passed over.
    std::vector<BusAnswer> Receive(const std::string& bytes, Time sinceStart);

private:
    std::string Answer(const SimulatedDevice& device, const std::string& code, Time sinceStart) const;

    const std::string m_Series;
    std::map<int, SimulatedDevice> m_Devices;
    FaultPlan m_Faults;
    std::string m_Buffer;
    Time m_LastReceived{0};
};

}  // namespace orvix::simulator
