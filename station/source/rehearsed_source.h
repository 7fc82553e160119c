#pragma once

#include <functional>
#include <memory>

#include "station/source/source.h"

namespace orvix::station {

/// Buses without lines, whose devices always answer. Each device's temperature climbs from RehearsedCelsius(0) with
/// each reading, so that whoever hears the readings sees which of them is missing or came twice.
class RehearsedSource : public Source {
public:
    /// `begin` is the time from the start of a bus to its first readings.
    RehearsedSource(Apartment& home, std::chrono::milliseconds begin) : m_Home(home), m_Begin(begin) {}

    Apartment& Home() override { return m_Home; }
    /// Devices are sensors; one is told with its name as its serial number.
    std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) override;

private:
    Apartment& m_Home;
    const std::chrono::milliseconds m_Begin;
};

/// The temperature of a device's reading, of which there were so many before: 20 to 29.99 degrees Celsius by
/// hundredths, and from there to 20 again.
double RehearsedCelsius(std::uint64_t readingsBefore);

}  // namespace orvix::station
