#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "host/iOrvixDriver.h"

namespace orvix::platform {

/// A driver that lives in another apartment, for use in the caller's: every member runs in the driver's own apartment
/// while the caller waits and its messages and ticks go on; an error that it raises is raised to the caller.
///
/// The proxy holds the driver. Releasing the proxy, which does not wait, has the driver released on its own thread once
/// all that has been posted there before is done. Both apartments must outlive that, and the driver's deliver until
/// then. What is delivered to the caller while it waits may release the proxy.
class DriverProxy final : public iOrvixDriver {
public:
    DriverProxy(Apartment& caller, Apartment& home, std::shared_ptr<iOrvixDriver> driver);
    ~DriverProxy() override;
    DriverProxy(const DriverProxy&) = delete;
    DriverProxy& operator=(const DriverProxy&) = delete;

private:
    std::int32_t iOrvixDriver_ThreadID() const override;
    void iOrvixDriver_Path(std::string rhs) override;
    void iOrvixDriver_NetRetry(std::int16_t rhs) override;
    void iOrvixDriver_PortType(std::int32_t rhs) override;
    void iOrvixDriver_PortAddress(std::string rhs) override;
    void iOrvixDriver_PortSettings(std::string rhs) override;
    std::string iOrvixDriver_ServerIPCName() const override;
    void iOrvixDriver_ServerIPCName(std::string rhs) override;
    void iOrvixDriver_SubscriberIPCName(std::string rhs) override;
    void iOrvixDriver_DebugMode(bool rhs) override;
    void iOrvixDriver_LogMode(std::int16_t rhs) override;
    void iOrvixDriver_LogPath(std::string rhs) override;
    void iOrvixDriver_Simulation(bool rhs) override;
    void iOrvixDriver_Init() override;

    /// Runs a step with the driver in its apartment and waits for it; raises what it raises.
    void Run(std::function<void(iOrvixDriver&)> step) const;
    template <class T>
    T Get(T (iOrvixDriver::*property)() const) const;
    template <class T>
    void Let(void (iOrvixDriver::*property)(T), T rhs) const;

    Apartment& m_Caller;
    Apartment& m_Home;
    std::shared_ptr<iOrvixDriver> m_Driver;
};

}  // namespace orvix::platform
