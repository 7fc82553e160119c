#include "station/source/bus_thread.h"

#include <memory>
#include <utility>

namespace orvix::station {

Station::Station(StationFolders folders, const std::string& libraryFile)
    : Folders(std::move(folders)), Account(platform::PrepareHostDatabase(Folders.Data)), Library(libraryFile) {}

ServicesSetup Station::ServicesFor(const BusSetup& setup, LineListener onLine) {
    return {.Directory = Directory,
            .Folders = Folders,
            .Account = Account,
            .Viewer = Viewer,
            .PortNumber = setup.PortNumber,
            .PortLabel = setup.PortLabel,
            .PortPath = setup.PortPath,
            .NetTimeoutInterval = setup.TimeoutFactor,
            .OnLine = std::move(onLine)};
}

BusThread::BusThread(Station& station, Apartment& home, const BusSetup& setup, Listener& listener)
    : m_Outbox(home, listener),
      m_Thread(station.ServicesFor(setup, [this](const LineEvent& event) { m_Outbox.OnLine(event); }),
               [&](BusServices& services) {
                   m_Outbox.TurnsOf(services.Apartment());
                   auto bus = std::make_shared<Bus>(station.Library, services, setup, m_Outbox);
                   m_Bus = bus.get();
                   return bus;
               }) {}

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
