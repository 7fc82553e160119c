#include "station/library/driver_thread.h"

#include "platform/driver_proxy.h"

namespace orvix::station {

DriverThread::DriverThread(const Library& library, BusServices& bus)
    : m_Thread(bus.Setup(), [&](BusServices& services) {
          auto& home = bus.Apartment();
          services.OnLine = PostedTo<LineEvent>(home, bus.OnLine);
          services.OnReport = PostedTo<std::string>(home, bus.OnReport);
          services.OnDebugLine = PostedTo<std::string>(home, bus.OnDebugLine);
          auto driver = library.Create<iOrvixDriver>("cOrvixDriverNB1", services.Get());
          m_Driver = std::make_shared<platform::DriverProxy>(home, services.Apartment(), std::move(driver));
          return nullptr;
      }) {}

DriverThread::~DriverThread() {
    m_Driver.reset();
    m_Thread.Apartment().Quit();
}

}  // namespace orvix::station
