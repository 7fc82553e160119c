#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "station/model/reading.h"
#include "station/model/scan_range.h"

namespace orvix::station {

/// One exchange of a scan.
struct ScanRequest {
    int Address = 0;
    ORVIXCNB1_VARS Variable = ORVIXCNB1_VAR_NONE;

    bool operator==(const ScanRequest&) const = default;
};

/// What became of it.
struct ScanOutcome {
    enum class Kind {
        Silent,
        Answered,
        Refused,  ///< there is a device, which does not know the variable
        Garbled,  ///< bytes came that are no reply
    };
    Kind What = Kind::Silent;
    ReadingValue Value;         ///< of an answer; a serial number as the device sends it
    bool MoreBytes = false;     ///< more came than one reply
    bool EarlierBytes = false;  ///< before the request there were bytes that belong to an earlier one
};

struct FoundDevice {
    int Address = 0;
    std::int32_t Model = 0;    ///< 0: neither a sensor nor a digital module, or its answers cannot be read
    std::string SerialNumber;  ///< as the device sends it; empty when it does not tell
    std::string Variable;      ///< the name of what it measures
    ReadingValue Value;        ///< its first value
    /// Answers were garbled, doubled or late: two devices share the address, or the line is noisy.
    bool Suspect = false;
};

/// Finds out which devices are on a bus, as a sequence of exchanges: each address is asked for a serial number, which
/// every model knows, and one that does anything but keep silent for what the models measure. An answer that is garbled
/// or doubled is asked for again.
class Scan {
public:
    explicit Scan(ScanRange range);

    /// The exchange to be done; nothing when the scan is at its end.
    std::optional<ScanRequest> Next() const;
    /// Its outcome.
    void Take(const ScanOutcome& outcome);
    /// The devices found since the last call, each once nothing can be learned about it any more.
    std::vector<FoundDevice> TakeFound();

    /// How many addresses are done, and how many there are.
    int Done() const { return m_Done; }
    int Total() const { return m_Range.To - m_Range.From + 1; }

private:
    void Blame(const ScanOutcome& outcome);
    void Identify(const ScanOutcome& outcome);
    void Leave(bool found);
    void Enter(int address);

    ScanRange m_Range;
    int m_Done = 0;
    std::deque<int> m_Late;  ///< silent addresses whose answer may have come late, to be asked again at the end

    FoundDevice m_Device;  ///< what is known of the address that is being asked; address 0 at the end
    std::size_t m_Step = 0;
    int m_Attempt = 0;
    int m_Unreadable = 0;  ///< answers of the address that were garbled or late

    int m_SilentBefore = 0;               ///< the address before, when it kept silent; else 0
    std::optional<FoundDevice> m_Before;  ///< the device at the address before, until the next exchange is done
    std::vector<FoundDevice> m_Found;
};

}  // namespace orvix::station
