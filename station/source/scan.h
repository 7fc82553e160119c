#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "station/model/exchange.h"
#include "station/model/reading.h"
#include "station/model/scan_range.h"

namespace orvix::station {

/// One exchange of a scan.
struct ScanRequest {
    int Address = 0;
    ORVIXCNB1_VARS Variable = ORVIXCNB1_VAR_NONE;

    bool operator==(const ScanRequest&) const = default;
};

struct FoundDevice {
    int Address = 0;
    std::int32_t Model = 0;    ///< 0: neither a sensor nor a digital module, or its answers cannot be read
    std::string SerialNumber;  ///< as the device sends it; empty when it does not tell
    std::string Variable;      ///< the name of what it measures
    ReadingValue Value;        ///< its first value
    bool Suspect = false;      ///< its answers were garbled or doubled: two devices share the address, or noise
    bool AnswersLate = false;  ///< answers came after the time-out
};

/// Finds out which devices are on a bus, as a sequence of exchanges: each address is asked for a serial number, which
/// every model knows, and one that does anything but keep silent for what the models measure. An answer that is garbled
/// or doubled is asked for again. An address whose answer comes late is asked again at the end.
class Scan {
public:
    explicit Scan(ScanRange range);

    /// The exchange to be done; nothing when the scan is at its end.
    std::optional<ScanRequest> Next() const;
    /// What became of it; the value of a good answer, nothing when it is none of the variable.
    void Take(const Exchange& exchange, const ReadingValue& value);
    /// The devices found since the last call, each once nothing can be learned about it any more.
    std::vector<FoundDevice> TakeFound();

    /// How many addresses are done, and how many there are.
    int Done() const { return m_Done; }
    int Total() const { return m_Range.To - m_Range.From + 1; }

private:
    void TakeExtras(const std::vector<Surplus>& extras);
    void Identify(const Exchange& exchange, const ReadingValue& value);
    /// The device at an address that is asked, or was asked before it; null for any other.
    FoundDevice* DeviceAt(int address);
    void Leave(bool found);
    void Enter(int address);

    ScanRange m_Range;
    int m_Done = 0;
    std::deque<int> m_Late;  ///< addresses that answer late, to be asked again at the end
    std::set<int> m_Told;    ///< addresses that are not to be asked again

    FoundDevice m_Device;  ///< what is known of the address that is being asked; address 0 at the end
    std::size_t m_Step = 0;
    int m_Attempt = 0;
    int m_Unreadable = 0;  ///< answers of the address that were garbled or late

    std::optional<FoundDevice> m_Before;  ///< the device at the address before, until the next exchange is done
    std::vector<FoundDevice> m_Found;
};

}  // namespace orvix::station
