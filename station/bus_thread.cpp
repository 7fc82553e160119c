#include "station/bus_thread.h"

#include <memory>
#include <utility>

namespace orvix::station {

Station::Station(StationFolders folders, const std::string& libraryFile)
    : Folders(std::move(folders)), Account(platform::PrepareHostDatabase(Folders.Data)), Library(libraryFile) {}

ServicesSetup Station::ServicesFor(const BusSetup& setup) {
    return {.Directory = Directory,
            .Folders = Folders,
            .Account = Account,
            .Viewer = Viewer,
            .PortNumber = setup.PortNumber,
            .PortPath = setup.PortPath,
            .NetTimeoutInterval = setup.TimeoutFactor};
}

BusThread::BusThread(Station& station, Apartment& listener, const BusSetup& setup, BusEvents events)
    : m_Thread(station.ServicesFor(setup), [&](BusServices& services) {
          const BusEvents posted{PostedTo(listener, std::move(events.OnReading)),
                                 PostedTo(listener, std::move(events.OnTrouble)),
                                 PostedTo(listener, std::move(events.OnMessage))};
          auto bus = std::make_shared<Bus>(station.Library, services, setup, posted);
          m_Bus = bus.get();
          return bus;
      }) {}

BusThread::~BusThread() {
    Post([this](Bus& bus) { bus.Close([this] { m_Thread.Apartment().Quit(); }); });
}

void BusThread::Post(std::function<void(Bus&)> work) {
    m_Thread.Apartment().Post([this, work = std::move(work)] { work(*m_Bus); });
}

}  // namespace orvix::station
