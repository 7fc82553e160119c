#include "station/source/scan_thread.h"

#include <exception>
#include <memory>
#include <utility>

#include "station/source/scan_line.h"

namespace orvix::station {
namespace {

/// What lives on the thread: one exchange a turn, so that the thread can be told to stop in between.
class Scanner {
public:
    Scanner(const Library& library, BusServices& services, const BusSetup& setup, ScanRange range, ScanEvents events)
        : m_Apartment(services.Apartment()),
          m_Line(library, services, setup.TimeoutFactor),
          m_Scan(range),
          m_Events(std::move(events)),
          m_Started(m_Apartment.Now()) {
        m_Apartment.Post([this] { Continue(); });
    }

private:
    void Continue() {
        const auto request = m_Scan.Next();
        if (!request) return m_Events.OnEnd(std::nullopt);
        try {
            const auto answer = m_Line.Ask(*request);
            m_Scan.Take(answer.Exchange, answer.Value);
        } catch (const Error& error) {
            return m_Events.OnEnd(error.Description);
        }
        for (const auto& device : m_Scan.TakeFound())
            m_Events.OnFound(device);
        m_Events.OnProgress({m_Scan.Done(), m_Scan.Total(), m_Apartment.Now() - m_Started});
        m_Apartment.Post([this] { Continue(); });
    }

    Apartment& m_Apartment;
    ScanLine m_Line;
    Scan m_Scan;
    ScanEvents m_Events;
    Duration m_Started;
};

}  // namespace

std::optional<Duration> ScanProgress::Left() const {
    if (Done == 0) return std::nullopt;
    return Elapsed / Done * (Total - Done);
}

ScanThread::ScanThread(StationResources& station, Apartment& listener, const BusSetup& setup, ScanRange range,
                       ScanEvents events)
    : m_Thread(station.ServicesFor(setup), [&](BusServices& services) {
          const ScanEvents posted{PostedTo(listener, std::move(events.OnFound)),
                                  PostedTo(listener, std::move(events.OnProgress)),
                                  PostedTo(listener, std::move(events.OnEnd))};
          return std::make_shared<Scanner>(station.Library, services, setup, range, posted);
      }) {}

ScanThread::~ScanThread() {
    m_Thread.Apartment().Quit();
}

}  // namespace orvix::station
