#include "platform/driver_proxy.h"

#include <optional>
#include <utility>

#include "host/error.h"

namespace orvix::platform {

namespace {

/// What has become of a call. Written and read in the caller's apartment only; shared with the messages under way,
/// since the caller may have been torn from its wait by an error of its own.
struct Outcome {
    bool Done = false;
    std::optional<Error> Failure;
};

std::optional<Error> FailureOf(const std::function<void(iOrvixDriver&)>& step, iOrvixDriver& driver) {
    try {
        step(driver);
        return std::nullopt;
    } catch (...) {
        return CurrentError();
    }
}

}  // namespace

DriverProxy::DriverProxy(Apartment& caller, Apartment& home, std::shared_ptr<iOrvixDriver> driver)
    : m_Caller(caller), m_Home(home), m_Driver(std::move(driver)) {}

DriverProxy::~DriverProxy() {
    m_Home.Post([driver = std::move(m_Driver)]() mutable { driver.reset(); });
}

void DriverProxy::Run(std::function<void(iOrvixDriver&)> step) const {
    Apartment& caller = m_Caller;  // the proxy itself may be gone when the wait is over
    const auto outcome = std::make_shared<Outcome>();
    m_Home.Post([&caller, driver = m_Driver, step = std::move(step), outcome] {
        caller.Post([outcome, failure = FailureOf(step, *driver)] {
            outcome->Failure = failure;
            outcome->Done = true;
        });
    });
    // The driver answers when it is through with its exchange, however long that takes.
    while (!caller.PumpUntil([&outcome] { return outcome->Done; }, std::chrono::hours(1))) {
    }
    if (outcome->Failure) throw Error(*outcome->Failure);
}

template <class T>
T DriverProxy::Get(T (iOrvixDriver::*property)() const) const {
    const auto value = std::make_shared<T>();
    Run([value, property](const iOrvixDriver& driver) { *value = (driver.*property)(); });
    return *value;
}

template <class T>
void DriverProxy::Let(void (iOrvixDriver::*property)(T), T rhs) const {
    Run([property, rhs = std::move(rhs)](iOrvixDriver& driver) { (driver.*property)(rhs); });
}

std::int32_t DriverProxy::iOrvixDriver_ThreadID() const {
    return Get(&iOrvixDriver::ThreadID);
}

void DriverProxy::iOrvixDriver_Path(std::string rhs) {
    Let(&iOrvixDriver::Path, std::move(rhs));
}

void DriverProxy::iOrvixDriver_NetRetry(std::int16_t rhs) {
    Let(&iOrvixDriver::NetRetry, rhs);
}

void DriverProxy::iOrvixDriver_PortType(std::int32_t rhs) {
    Let(&iOrvixDriver::PortType, rhs);
}

void DriverProxy::iOrvixDriver_PortAddress(std::string rhs) {
    Let(&iOrvixDriver::PortAddress, std::move(rhs));
}

void DriverProxy::iOrvixDriver_PortSettings(std::string rhs) {
    Let(&iOrvixDriver::PortSettings, std::move(rhs));
}

std::string DriverProxy::iOrvixDriver_ServerIPCName() const {
    return Get<std::string>(&iOrvixDriver::ServerIPCName);
}

void DriverProxy::iOrvixDriver_ServerIPCName(std::string rhs) {
    Let<std::string>(&iOrvixDriver::ServerIPCName, std::move(rhs));
}

void DriverProxy::iOrvixDriver_SubscriberIPCName(std::string rhs) {
    Let(&iOrvixDriver::SubscriberIPCName, std::move(rhs));
}

void DriverProxy::iOrvixDriver_DebugMode(bool rhs) {
    Let(&iOrvixDriver::DebugMode, rhs);
}

void DriverProxy::iOrvixDriver_LogMode(std::int16_t rhs) {
    Let(&iOrvixDriver::LogMode, rhs);
}

void DriverProxy::iOrvixDriver_LogPath(std::string rhs) {
    Let(&iOrvixDriver::LogPath, std::move(rhs));
}

void DriverProxy::iOrvixDriver_Simulation(bool rhs) {
    Let(&iOrvixDriver::Simulation, rhs);
}

void DriverProxy::iOrvixDriver_Init() {
    Run([](iOrvixDriver& driver) { driver.Init(); });
}

}  // namespace orvix::platform
