#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/iOrvixDevice.h"
#include "host/iOrvixDriver.h"
#include "station/library/bus_services.h"
#include "station/library/host_message.h"
#include "station/library/library.h"
#include "station/line/exchange_tracker.h"
#include "station/model/bus_setup.h"
#include "station/source/scan.h"

namespace orvix::station {

/// One exchange of a scan and the value of its answer; nothing unless that is one of the variable.
struct ScanAnswer {
    orvix::station::Exchange Exchange;
    ReadingValue Value;
};

/// The library's driver without an adapter: exchanges with any address of a port, without retries. It lives on the
/// thread of its services.
class ScanLine {
public:
    /// Opens the port. `timeoutFactor` is that of an exchange, in milliseconds. Raises General with the reason when the
    /// port does not open.
    ScanLine(const Library& library, BusServices& services, std::int32_t timeoutFactor);
    ~ScanLine();
    ScanLine(const ScanLine&) = delete;
    ScanLine& operator=(const ScanLine&) = delete;

    /// Raises General with the reason when the line fails.
    ScanAnswer Ask(const ScanRequest& request);

private:
    /// Has the driver do the exchange; returns the payload of the answer.
    Variant Execute(const ScanRequest& request, TaskEnded& ended);
    void Hear(const std::string& message);
    /// Waits for the driver to say one of its messages; raises General when it does not, or reports an error.
    template <class Message>
    Message Await();

    const Library& m_Library;
    BusServices& m_Host;
    const std::int32_t m_TimeoutFactor;
    std::shared_ptr<HostDatabase> m_Messages;
    std::unique_ptr<Channel> m_Endpoint;
    std::shared_ptr<iOrvixDriver> m_Driver;
    std::string m_Report;
    HostMessage m_Said;  ///< the latest that was not for people alone
    ExchangeTracker m_Tracker{0, ReplyLimit(m_TimeoutFactor),
                              [this](const Exchange& exchange) { m_Exchange = exchange; }};
    std::optional<Exchange> m_Exchange;  ///< of the latest request
};

}  // namespace orvix::station
