#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/iOrvixDevice.h"
#include "host/iOrvixDriver.h"
#include "station/library/bus_services.h"
#include "station/library/library.h"
#include "station/source/scan.h"

namespace orvix::station {

/// What came over a line since the latest request.
struct LineBytes {
    std::string Received;
    bool Discarded = false;  ///< bytes were there before the request

    void Take(const LineEvent& event);
};

/// The library's driver without an adapter: exchanges with any address of a port, without retries. It lives on the
/// thread of its services.
class ScanLine {
public:
    /// Opens the port. `line` is told by the listener of the services what happens on it, and outlives this.
    /// `timeoutFactor` is that of an exchange, in milliseconds. Raises General with the reason when the port does not
    /// open.
    ScanLine(const Library& library, BusServices& services, LineBytes& line, std::int32_t timeoutFactor);
    ~ScanLine();
    ScanLine(const ScanLine&) = delete;
    ScanLine& operator=(const ScanLine&) = delete;

    /// Raises General with the reason when the line fails.
    ScanOutcome Ask(const ScanRequest& request);

private:
    struct Answer {
        ErrorNumber Number = errors::None;
        std::string Text;
        Variant Value;
    };

    void Connect();
    Answer Execute(const ScanRequest& request);
    /// Waits for the driver to say one of its messages; raises General when it does not, or reports an error.
    std::vector<std::string> Await(const std::string& message);

    const Library& m_Library;
    BusServices& m_Host;
    LineBytes& m_Line;
    const std::int32_t m_TimeoutFactor;
    std::shared_ptr<HostDatabase> m_Messages;
    std::unique_ptr<Channel> m_Endpoint;
    std::shared_ptr<iOrvixDriver> m_Driver;
    std::string m_Report;
    std::optional<std::vector<std::string>> m_Said;  ///< the awaited message
    std::string m_Awaited;
};

}  // namespace orvix::station
