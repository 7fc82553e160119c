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
/// or doubled is asked for again. What tells the model is asked for until two answers in a row bear the same code: the
/// first may be to an earlier question. An address whose answer comes late, or is suspect, is asked again at the end.
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
    /// Whether an answer is the second one of its kind.
    bool IsConfirmed(const Exchange& answer);
    /// Tells what was found, or has it asked again.
    void Report(FoundDevice device);
    void Identify(const Exchange& exchange, const ReadingValue& value);
    /// The device at an address that is asked, or was asked before it; null for any other.
    FoundDevice* DeviceAt(int address);
    void Leave(bool found);
    void Enter(int address);
    /// Goes on to the next of those that are asked again; returns whether there is one.
    bool EnterAgain();

    ScanRange m_Range;
    int m_Done = 0;
    std::deque<int> m_Late;      ///< addresses that answer late, to be asked again at the end
    std::deque<int> m_Suspects;  ///< the same of those that are suspect
    std::set<int> m_Told;        ///< addresses that are not to be asked again for being late
    std::set<int> m_Asked;       ///< those that have been asked again for being suspect

    FoundDevice m_Device;  ///< what is known of the address that is being asked; address 0 at the end
    std::size_t m_Step = 0;
    int m_Attempt = 0;
    int m_Unreadable = 0;  ///< answers of the address that were garbled or late
    int m_Answers = 0;     ///< to the question that is asked
    int m_Alike = 0;       ///< of them, the latest in a row whose codes are the same
    std::string m_Code;    ///< of the latest one

    std::optional<FoundDevice> m_Before;  ///< the device at the address before, until the next exchange is done
    std::vector<FoundDevice> m_Found;
};

}  // namespace orvix::station
