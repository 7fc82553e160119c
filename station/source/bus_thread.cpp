#include "station/source/bus_thread.h"

#include <memory>
#include <utility>

#include "station/library/outbox.h"

namespace orvix::station {
namespace {

// What opening a port, or writing to one that is stuck, may take besides an exchange.
constexpr std::chrono::seconds kPortLimit{10};

/// What lives on the thread.
struct Resident {
    Resident(const StationResources& station, Apartment& home, const BusSetup& setup, Listener& listener,
             BusServices& services)
        : Telling(services.Apartment(), home, listener), Driven(station.Library, services, setup, Telling) {}

    Outbox Telling;
    Bus Driven;
};

StationFolders WithDatabase(StationFolders folders, const std::string& database) {
    folders.Database = database;
    return folders;
}

}  // namespace

StationResources::StationResources(StationFolders folders, const std::string& libraryFile)
    : Host(folders.Data), Folders(WithDatabase(std::move(folders), Host.Folder())), Library(libraryFile) {}

ServicesSetup StationResources::ServicesFor(const BusSetup& setup) {
    return {.Directory = Directory,
            .Folders = Folders,
            .Account = Host.Account(),
            .Viewer = Viewer,
            .PortNumber = setup.PortNumber,
            .PortLabel = setup.PortLabel,
            .PortPath = setup.PortPath,
            .NetTimeoutInterval = setup.TimeoutFactor};
}

BusThread::BusThread(StationResources& station, Apartment& home, const BusSetup& setup, Listener& listener,
                     std::function<void()> ended)
    : m_LongestStop(setup.LongestExchange() + kPortLimit),
      m_Home(home),
      m_Thread(
          station.ServicesFor(setup),
          [&](BusServices& services) {
              auto resident = std::make_shared<Resident>(station, home, setup, listener, services);
              m_Bus = &resident->Driven;
              m_Setup = m_Bus->Setup();
              return resident;
          },
          [&home, ended = std::move(ended)] {
              if (ended) home.Post(ended);
          }) {}

bool BusThread::Moves(Duration now) {
    if (m_Closed) return now - *m_Closed <= 2 * m_LongestStop;
    if (m_Sign && *m_Sign->Given) m_Sign.reset();
    if (!m_Sign) {
        m_Sign = {now, std::make_shared<std::atomic<bool>>(false)};
        Post([given = m_Sign->Given](Bus& bus) { bus.GiveSign([given] { *given = true; }); });
    }
    return now - m_Sign->AskedAt <= m_LongestStop;
}

BusThread::~BusThread() {
    Close();
}

void BusThread::Close() {
    if (m_Closed) return;
    m_Closed = m_Home.Now();
    Post([this](Bus& bus) { bus.Close([this] { m_Thread.Apartment().Quit(); }); });
}

void BusThread::Post(std::function<void(Bus&)> work) {
    m_Thread.Apartment().Post([this, work = std::move(work)] { work(*m_Bus); });
}

}  // namespace orvix::station
