#pragma once

#include <list>
#include <memory>
#include <string>

#include "platform/virtual_apartment.h"
#include "simulator/simulated_bus.h"
#include "station/library/bus.h"
#include "station/library/outbox.h"
#include "station/line/line_tap.h"
#include "station/source/bus_thread.h"
#include "station/source/source.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {

/// Simulated buses that are read in virtual time, each as if on a thread of its own.
class VirtualSource : public station::Source {
public:
    /// The devices and faults are those of every bus; the faults of each have a seed of their own.
    VirtualSource(station::StationResources& station, std::vector<simulator::SimulatedDevice> devices,
                  std::vector<simulator::Fault> faults)
        : m_Station(station), m_Devices(std::move(devices)), m_Faults(std::move(faults)) {}

    platform::VirtualApartment& Home() override { return m_Home; }
    std::unique_ptr<station::SourceBus> Open(const station::BusSetup& setup, station::Listener& listener,
                                             std::function<void()> ended) override {
        return std::make_unique<VirtualBus>(*this, setup, listener, std::move(ended));
    }
    void RunFor(Duration time) { m_Scheduler.RunFor(time); }
    /// All ports go, and come back after that time.
    void Unplug(Duration time) {
        for (auto* bus : m_Buses) {
            bus->Port.MissingUntil = m_Scheduler.Now() + time;
            bus->Port.HangUp();
        }
    }

private:
    struct VirtualBus : station::SourceBus {
        VirtualBus(VirtualSource& source, const station::BusSetup& setup, station::Listener& listener,
                   std::function<void()> ended)
            : Source(source),
              Ended(std::move(ended)),
              Apartment(source.m_Scheduler, ++source.m_Threads),
              Devices_(source.m_Devices, {source.m_Faults, static_cast<std::uint64_t>(source.m_Threads)}),
              Outbox(Apartment, source.m_Home, listener) {
            Port.Respond = [this](const std::string& request) { return Answer(request); };
            Bus = std::make_unique<station::Bus>(source.m_Station.Library, Services, setup, Outbox);
            source.m_Buses.push_back(this);
        }
        ~VirtualBus() override {
            Close();
            while (!IsClosed)
                Source.m_Home.Block(std::chrono::milliseconds(10));
        }
        void Close() override {
            if (std::exchange(IsClosing, true)) return;
            Source.m_Buses.remove(this);
            Apartment.Post([this] {
                Bus->Close([this] {
                    IsClosed = true;
                    Source.m_Home.Post(Ended);
                });
            });
        }

        const station::BusSetup& Setup() const override { return Bus->Setup(); }
        void Poll() override {
            Apartment.Post([this] { Bus->Poll(); });
        }
        void Devices(const station::DeviceChanges& changes) override {
            Apartment.Post([this, changes] { Bus->Devices(changes); });
        }

        Response Answer(const std::string& request) {
            constexpr std::chrono::milliseconds kByteTime{1};
            Response response;
            for (const auto& answer : Devices_.Receive(request, Apartment.Now())) {
                const auto half = answer.Bytes.size() / 2;
                const auto sent = kByteTime * static_cast<int>(request.size() + half);
                response.Reply.push_back({answer.Bytes.substr(0, half), sent + answer.Delay});
                response.Reply.push_back({answer.Bytes.substr(half), kByteTime * static_cast<int>(half)});
            }
            return response;
        }

        VirtualSource& Source;
        const std::function<void()> Ended;
        bool IsClosing = false;
        bool IsClosed = false;
        platform::VirtualApartment Apartment;
        simulator::SimulatedBus Devices_;
        ScriptedLine Port{Apartment};
        station::Outbox Outbox;
        station::LineTap Tap{Port, Apartment, "", [this](const station::LineEvent& event) { Tell(event); }};
        station::BusServices Services{Source.m_Station.ServicesFor({}), Apartment, Tap};
        std::unique_ptr<station::Bus> Bus;

        void Tell(station::LineEvent event) {
            event.Port = Setup().PortLabel;
            Services.OnLine(event);
        }
    };

    station::StationResources& m_Station;
    const std::vector<simulator::SimulatedDevice> m_Devices;
    const std::vector<simulator::Fault> m_Faults;
    platform::VirtualScheduler m_Scheduler{FromUnixMilliseconds(1'766'000'000'000)};
    platform::VirtualApartment m_Home{m_Scheduler};
    std::int32_t m_Threads = 1;
    std::list<VirtualBus*> m_Buses;
};

}  // namespace orvix::tests
