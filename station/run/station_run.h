#pragma once

#include <algorithm>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/model/listener.h"
#include "station/model/station_setup.h"
#include "station/run/alarm_book.h"
#include "station/run/latest_values.h"
#include "station/source/bus_thread.h"

namespace orvix::station {

/// The buses of a running station, each on a thread of its own, and those who listen to them. It lives on the program's
/// main thread, whose apartment all events come to.
class StationRun : private Listener {
public:
    /// `station` and `home` outlive this.
    StationRun(Station& station, Apartment& home) : m_Station(station), m_Home(home) {}
    /// Takes all buses down, at the same time.
    ~StationRun() override;
    StationRun(const StationRun&) = delete;
    StationRun& operator=(const StationRun&) = delete;

    /// Listeners are told in the order in which they were added; they outlive this.
    void Add(Listener& listener) { m_Listeners.push_back(&listener); }
    /// Brings a bus online and has its devices read once a period. Raises what keeps it from starting.
    void Start(const BusSetup& setup);

    /// Turns the buses that run into those that are wanted, and leaves alone what stays as it is. Returns a sentence
    /// for each bus that changed.
    std::vector<std::string> Apply(const std::vector<BusSetup>& wanted);
    bool IsAnyRunning() const { return !m_Buses.empty(); }
    /// Whether all buses get on with their work. Ask it now and then.
    bool Moves();
    /// Has every bus that is traced write into a file that is there.
    void ReopenTraces();
    /// The bus that runs on a port; nothing when there is none.
    std::optional<BusSetup> SetupOn(const std::string& port);

    /// The latest reading of each device, with the quality that it has now. The time is 0 of one that has not been
    /// heard of yet.
    std::vector<Reading> Values() const;
    const AlarmBook& Alarms() const { return m_Alarms; }

private:
    struct RunningBus {
        BusSetup Setup;
        std::unique_ptr<BusThread> Thread;
    };

    std::vector<BusSetup> Setups() const;
    std::list<RunningBus>::iterator BusOn(const std::string& port);
    void Stop(const std::string& port);
    void ChangeDevices(RunningBus& bus, const BusSetup& wanted);
    void TakeDevices(const BusSetup& setup);
    void Forget(const std::string& port, int address);
    void TellAlarms(std::vector<AlarmEvent> events);
    void OnReading(const Reading& told) override;
    void OnTrouble(const std::string& port, const Failure& failure) override {
        Tell(&Listener::OnTrouble, port, failure);
    }
    void OnMessage(const std::string& port, const std::string& text) override {
        Tell(&Listener::OnMessage, port, text);
    }
    bool WantsMessages() const override {
        return std::any_of(m_Listeners.begin(), m_Listeners.end(),
                           [](const Listener* l) { return l->WantsMessages(); });
    }
    void OnLine(const LineEvent& event) override { Tell(&Listener::OnLine, event); }
    void OnExchange(const Exchange& exchange) override { Tell(&Listener::OnExchange, exchange); }
    /// Calls a member of every listener.
    template <class... Parameters, class... Arguments>
    void Tell(void (Listener::*event)(Parameters...), const Arguments&... arguments) {
        for (auto* listener : m_Listeners)
            (listener->*event)(arguments...);
    }

    Station& m_Station;
    Apartment& m_Home;
    std::vector<Listener*> m_Listeners;
    LatestValues m_Values;
    AlarmBook m_Alarms;
    std::int64_t m_Seq = 0;  ///< of the latest reading or alarm
    std::list<RunningBus> m_Buses;
};

}  // namespace orvix::station
