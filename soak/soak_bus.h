#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "soak/faulty_devices.h"
#include "tests/end_to_end/host_side.h"

namespace orvix::soak {

/// A host with its adapter: polls the fleet, asks for readings besides, changes settings, goes offline now and then,
/// and checks every value that it is given. It lives in the apartment of its services, in virtual or in real time.
class SoakBus {
public:
    SoakBus(const Services& services, std::shared_ptr<iOrvixDriver> driver, std::uint32_t seed, Counts& counts);

    /// Asks for nothing more, waits for what is still open, and closes the adapter.
    void Finish();

private:
    struct Asked {
        std::unique_ptr<SharedEntry> Entry;
        int Address;
        Duration When;
    };

    void Watch(const Measurement& device);
    void Act();
    void Ask();
    void Sweep();
    void CheckAnswer(const Asked& asked);
    void Listen();

    const Services& m_Services;
    Random m_Random;
    Counts& m_Counts;
    tests::HostSide m_Side;
    std::vector<Asked> m_Asked;
    std::map<int, Duration> m_ReadAt;  ///< by address
    Duration m_LastReading;
    std::unique_ptr<Timer> m_Timer;
};

}  // namespace orvix::soak
