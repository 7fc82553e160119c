#include "station/source/bus_thread.h"

#include <memory>
#include <utility>

namespace orvix::station {
namespace {

// What opening a port, or writing to one that is stuck, may take besides an exchange.
constexpr std::chrono::seconds kPortLimit{10};

}  // namespace

Station::Station(StationFolders folders, const std::string& libraryFile)
    : Folders(std::move(folders)), Account(platform::PrepareHostDatabase(Folders.Data)), Library(libraryFile) {}

ServicesSetup Station::ServicesFor(const BusSetup& setup) {
    return {.Directory = Directory,
            .Folders = Folders,
            .Account = Account,
            .Viewer = Viewer,
            .PortNumber = setup.PortNumber,
            .PortLabel = setup.PortLabel,
            .PortPath = setup.PortPath,
            .NetTimeoutInterval = setup.TimeoutFactor};
}

BusThread::BusThread(Station& station, Apartment& home, const BusSetup& setup, Listener& listener)
    : m_LongestStop(setup.LongestExchange() + kPortLimit),
      m_Outbox(home, listener),
      m_Thread(station.ServicesFor(setup), [&](BusServices& services) {
          m_Outbox.TurnsOf(services.Apartment());
          auto bus = std::make_shared<Bus>(station.Library, services, setup, m_Outbox);
          m_Bus = bus.get();
          return bus;
      }) {}

bool BusThread::Moves(Duration now) {
    if (m_Sign && *m_Sign->Given) m_Sign.reset();
    if (!m_Sign) {
        m_Sign = {now, std::make_shared<std::atomic<bool>>(false)};
        m_Thread.Apartment().Post([given = m_Sign->Given] { *given = true; });
    }
    return now - m_Sign->AskedAt <= m_LongestStop;
}

BusThread::~BusThread() {
    Close();
}

void BusThread::Close() {
    if (std::exchange(m_Closing, true)) return;
    Post([this](Bus& bus) { bus.Close([this] { m_Thread.Apartment().Quit(); }); });
}

void BusThread::Post(std::function<void(Bus&)> work) {
    m_Thread.Apartment().Post([this, work = std::move(work)] { work(*m_Bus); });
}

}  // namespace orvix::station
