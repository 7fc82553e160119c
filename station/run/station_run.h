#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/model/clock.h"
#include "station/model/listener.h"
#include "station/model/station_setup.h"
#include "station/run/alarm_book.h"
#include "station/run/identity_book.h"
#include "station/run/latest_values.h"
#include "station/source/source.h"

namespace orvix::station {

/// The buses of a running station and those who listen to them. It lives in the home of its source, where all events
/// come to, and knows no time but the source's.
class StationRun : private Listener {
public:
    /// Called with a bus that could not be started when its port had become free, and why.
    using Failed = std::function<void(const std::string& port, const Error&)>;

    /// `source` outlives this; nothing is delivered in its home any more when this goes. `session` is the run's UUID.
    explicit StationRun(Source& source, std::string session, Failed failed = nullptr);
    /// Takes all buses down, at the same time, and waits for them.
    ~StationRun() override;
    StationRun(const StationRun&) = delete;
    StationRun& operator=(const StationRun&) = delete;

    /// Devices that earlier runs have known, those that were last at a place last; to be told before buses start.
    void Know(const std::vector<DeviceIdentity>& earlier) { m_Identities.Know(earlier); }
    /// The same of alarms that were on when an earlier session ended.
    void Know(const std::vector<AlarmState>& left) { m_Alarms.Know(left); }
    /// Listeners are told in the order in which they were added; they outlive this.
    void Add(Listener& listener) { m_Listeners.push_back(&listener); }
    /// Brings a bus online and has its devices read once a period. Raises what keeps it from starting.
    void Start(const BusSetup& setup);

    /// Turns the buses that run into those that are wanted, and leaves alone what stays as it is. Waits for no bus: one
    /// that is stopped is heard no more, and ends with its exchange; what uses its port then starts after that. Returns
    /// a sentence for each bus that changed.
    std::vector<std::string> Apply(const std::vector<BusSetup>& wanted);
    /// Tells the readings that wait until it is known which device they are of; it will not be. Those that have waited
    /// for less long go on doing so.
    void TellHeld(Duration atLeast = Duration::zero());
    /// Does something when no bus that was stopped uses a port any more: at once, or later.
    void WhenFree(const std::string& portPath, std::function<void()> work);
    bool IsAnyRunning() const { return !m_Buses.empty(); }
    /// Whether all buses get on with their work. Ask it now and then.
    bool Moves();
    /// Has every bus that is traced write into a file that is there.
    void ReopenTraces();
    /// The bus that runs on a port; nothing when there is none.
    std::optional<BusSetup> SetupOn(const std::string& port);

    /// Has a device read before what else waits on its bus. `done` is called in the home of the source; it is dropped
    /// when the bus goes first. Raises Error when the bus does not run, or cannot be asked.
    void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done);
    /// The same, and makes a file of it. `format`: kFileFormatText, kFileFormatReport or kFileFormatDevice.
    void Export(const DeviceId& place, std::int32_t format, const std::function<void(const DeviceFile&)>& done);

    /// The latest reading of each device, with the quality that it has now. The time is 0 of one that has not been
    /// heard of yet, and the identifier empty of one that is not announced yet.
    std::vector<Reading> Values() const;
    /// The buses that run or wait for their ports, as they are used.
    std::vector<BusSetup> Setups() const;
    /// What a device is called wherever it is.
    std::string IdentifierOf(const DeviceId& device) const { return m_Identities.IdentifierOf(device); }
    const AlarmBook& Alarms() const { return m_Alarms; }
    /// Somebody knows of an alarm. Returns the alarm; nothing when there is none with this id that is on.
    std::optional<AlarmEvent> Acknowledge(const std::string& alarm, const std::string& by, const std::string& comment);
    const std::string& Session() const { return m_Session; }

private:
    struct RunningBus {
        BusSetup Setup;
        std::uint64_t Number;
        std::unique_ptr<SourceBus> Bus;  ///< null: it waits for its port
    };
    struct WaitingWork {
        std::string PortPath;
        std::function<void()> Do;
    };

    /// Failed ones, while it is not known of which device.
    struct HeldReadings {
        Duration Since{0};
        std::vector<Reading> Readings;
    };

    std::list<RunningBus>::iterator BusOn(const std::string& port);
    /// Raises Error unless a bus can be asked.
    SourceBus& Asked(const std::string& port);
    bool IsRunning(const std::string& port);
    bool IsFree(const std::string& portPath) const;
    void Open(RunningBus& bus);
    void StartWhenFree(const BusSetup& setup);
    void StartWaiting(const std::string& port);
    void Ended(std::uint64_t number);
    void Stop(const std::string& port);
    void ChangeDevices(RunningBus& bus, const BusSetup& wanted);
    void TakeDevices(const BusSetup& setup);
    /// The one place where a device is forgotten.
    void Forget(const DeviceId& device);
    void TellAlarms(std::vector<AlarmEvent> events);
    void Pass();
    void Tell(const DeviceIdentity& identity);
    /// Tells which devices are at the places of a bus, as far as that is known.
    void Announce(const BusSetup& setup);
    /// It is not going to be known better which device is at a place.
    void Settle(const DeviceId& place);
    void Take(Reading reading);
    /// The device that is wanted at a place; null when there is none, or its bus does not run.
    const DeviceSetup* WantedAt(const std::string& port, int address);
    void OnIdentity(const DeviceIdentity& found) override;
    void OnReading(const Reading& told) override;
    /// Of an alarm that the source has judged.
    void OnAlarm(const AlarmEvent& told) override;
    void OnLost(const DeviceId& device) override;
    void OnTrouble(const std::string& port, const Failure& failure) override {
        if (IsRunning(port)) Tell(&Listener::OnTrouble, port, failure);
    }
    void OnMessage(const std::string& port, const std::string& text) override {
        Tell(&Listener::OnMessage, port, text);
    }
    bool WantsMessages() const override {
        return std::any_of(m_Listeners.begin(), m_Listeners.end(),
                           [](const Listener* l) { return l->WantsMessages(); });
    }
    void OnLine(const LineEvent& event) override;
    void OnExchange(const Exchange& exchange) override { Tell(&Listener::OnExchange, exchange); }
    /// Calls a member of every listener.
    template <class... Parameters, class... Arguments>
    void Tell(void (Listener::*event)(Parameters...), const Arguments&... arguments) {
        for (auto* listener : m_Listeners)
            (listener->*event)(arguments...);
    }

    std::int64_t UnixNow() const { return UnixMillisecondsOf(m_Source.Home().DateNow()); }

    Source& m_Source;
    const std::string m_Session;
    const Failed m_Failed;
    std::vector<Listener*> m_Listeners;
    LatestValues m_Values;
    AlarmBook m_Alarms;
    IdentityBook m_Identities;
    std::map<DeviceId, HeldReadings> m_Held;
    std::unique_ptr<Timer> m_Passing;
    std::int64_t m_Seq = 0;            ///< of the latest reading or alarm
    std::uint64_t m_LatestNumber = 0;  ///< of a bus that was started
    std::list<RunningBus> m_Buses;
    std::list<RunningBus> m_Ending;  ///< those that were stopped and have not ended yet
    std::vector<WaitingWork> m_Waiting;
};

}  // namespace orvix::station
