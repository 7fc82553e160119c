#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/http/message.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Tells clients what happens in a station, as server-sent events: "reading", "alarm", "trouble", and "devices" when
/// the buses or devices have changed. Events go out in batches, four a second at most. They are numbered and the latest
/// are kept, so that a client that was away goes on where it was, or is told by the event "reset" that it has missed
/// some. One that reads so slowly that its next event is kept no more is hung up on.
class EventHub : public Listener {
public:
    /// Which events a client wants. `device`: its public id, empty of what is a bus's.
    using Filter = std::function<bool(const std::string& bus, const std::string& device)>;

    /// `session`: of this run of the station.
    EventHub(Apartment& home, const std::string& session);
    ~EventHub() override;

    /// The events from now on, or those that follow the one called `last` unless that is empty.
    std::shared_ptr<HttpStream> Follow(const std::string& last, Filter filter);

    void OnSetup(const BusSetup& setup) override;
    void OnIdentity(const DeviceIdentity& found) override;
    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnAlarm(const AlarmEvent& event) override;
    void OnDeviceGone(const DeviceId& device) override;
    void OnPortGone(const std::string& port) override;

private:
    class Reader;
    struct Event {
        std::string Bus;
        std::string Device;
        std::string Text;  ///< as it is sent
    };

    void Add(const char* name, const std::string& bus, const std::string& device, const std::string& data);
    void AddChange();
    std::string IdOf(std::uint64_t number) const;
    /// The number in an event's id; nothing when it is of another session, or none.
    std::optional<std::uint64_t> NumberOf(const std::string& id) const;
    void WakeReaders();
    void SendComments();

    Apartment& m_Home;
    const std::string m_Session;
    std::deque<Event> m_Kept;
    std::size_t m_KeptBytes = 0;
    std::uint64_t m_First = 1;  ///< number of the oldest that is kept
    std::uint64_t m_Told = 0;   ///< number of the latest that has gone out
    bool m_HasChanged = false;  ///< buses or devices have, since the latest batch
    std::vector<std::weak_ptr<Reader>> m_Readers;
    std::unique_ptr<Timer> m_Batch;
    bool m_BatchWaits = false;
    std::unique_ptr<Timer> m_Comment;
};

}  // namespace orvix::station
