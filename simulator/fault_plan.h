#pragma once

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "simulator/fault.h"

namespace orvix::simulator {

/// Bytes that come back on a line.
struct BusAnswer {
    std::string Bytes;
    std::chrono::nanoseconds Delay{0};  ///< after the request, besides the time that the line takes
};

/// What goes wrong with the answers of a simulated bus. The same faults and seed spoil the same requests in the same
/// way. Faults of the port are not its business.
class FaultPlan {
public:
    FaultPlan() = default;
    FaultPlan(const std::vector<Fault>& faults, std::uint64_t seed);

    /// What comes of the answer to the next request of an address, by all faults that hit it, in their order.
    BusAnswer Spoil(int address, std::string answer);

private:
    struct Counted {
        orvix::simulator::Fault Fault;
        int Requests = 0;  ///< met so far, of its address
    };
    bool Hits(Counted& counted, int address);
    void Apply(const Fault& fault, int address, BusAnswer& answer);
    void FlipBit(std::string& frame);
    std::string Rubbish();
    void AnswerTwice(std::string& frame);
    /// A number from 0 to below the limit.
    std::size_t Draw(std::size_t limit);

    std::vector<Counted> m_Faults;
    std::mt19937_64 m_Random;
};

}  // namespace orvix::simulator
