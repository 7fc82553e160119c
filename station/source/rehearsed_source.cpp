#include "station/source/rehearsed_source.h"

#include <algorithm>
#include <utility>

#include "devices/protocol/device_models.h"
#include "station/model/clock.h"

namespace orvix::station {
namespace {

constexpr std::uint64_t kRehearsedSteps = 1000;
constexpr double kStepsPerDegree = 100;
constexpr double kLowest = 20;
// As of a real line.
constexpr std::chrono::milliseconds kRoundTrip{30};

class RehearsedBus : public SourceBus {
public:
    RehearsedBus(Apartment& home, std::chrono::milliseconds begin, BusSetup setup, Listener& listener,
                 std::function<void()> ended)
        : m_Home(home),
          m_Begin(begin),
          m_Setup(std::move(setup)),
          m_Listener(listener),
          m_Ended(std::move(ended)),
          m_Period(home.CreateTimer([this] { ReadAll(); })) {}

    const BusSetup& Setup() const override { return m_Setup; }
    void Poll() override {
        for (const auto& device : m_Setup.Devices) {
            m_Listener.OnIdentity({.Port = m_Setup.PortLabel,
                                   .Address = device.Address,
                                   .Model = device.Model,
                                   .Name = device.Name,
                                   .SerialNumber = device.Name,
                                   .Identifier = {},
                                   .Remark = {}});
        }
        Rearm(std::max(m_Begin, std::chrono::milliseconds(1)));
    }
    void Devices(const DeviceChanges& /*changes*/) override {}
    void Close() override {
        m_Period->Enabled(false);
        m_Home.Post(m_Ended);
    }

private:
    void Rearm(std::chrono::milliseconds period) { m_Period->Rearm(static_cast<std::int32_t>(period.count()), true); }

    void ReadAll() {
        if (m_Readings == 0) Rearm(m_Setup.Every);
        const auto now = m_Home.Now();
        m_Listener.OnLine({.Time = now, .Port = m_Setup.PortLabel, .What = LineEvent::Kind::Opened});
        const auto celsius = RehearsedCelsius(m_Readings++);
        for (const auto& device : m_Setup.Devices) {
            Exchange exchange;
            exchange.Port = m_Setup.PortLabel;
            exchange.Address = device.Address;
            exchange.Sent = now;
            exchange.RoundTrip = kRoundTrip;
            m_Listener.OnExchange(exchange);
            Reading reading;
            reading.UnixMilliseconds = UnixMillisecondsOf(m_Home.DateNow());
            reading.Port = m_Setup.PortLabel;
            reading.Address = device.Address;
            reading.Model = device.Model;
            reading.Name = device.Name;
            reading.Variable = NameOf(MeasuredVariable(device.Model));
            reading.Value = celsius;
            m_Listener.OnReading(reading);
        }
    }

    Apartment& m_Home;
    const std::chrono::milliseconds m_Begin;
    const BusSetup m_Setup;
    Listener& m_Listener;
    const std::function<void()> m_Ended;
    const std::unique_ptr<Timer> m_Period;
    std::uint64_t m_Readings = 0;
};

}  // namespace

double RehearsedCelsius(std::uint64_t readingsBefore) {
    return kLowest + static_cast<double>(readingsBefore % kRehearsedSteps) / kStepsPerDegree;
}

std::unique_ptr<SourceBus> RehearsedSource::Open(const BusSetup& setup, Listener& listener,
                                                 std::function<void()> ended) {
    return std::make_unique<RehearsedBus>(m_Home, m_Begin, setup, listener, std::move(ended));
}

}  // namespace orvix::station
