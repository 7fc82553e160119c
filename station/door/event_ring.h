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

namespace orvix::station {

/// Server-sent events. They go out in batches, four a second at most. They are numbered and the latest are kept, so
/// that a client that was away goes on where it was, or is told by the event "reset" that it has missed some. One that
/// reads so slowly that its next event is kept no more is hung up on. A comment now and then keeps a connection alive.
class EventRing {
public:
    /// Which events a client wants. `device`: its public id, empty of what is a bus's.
    using Filter = std::function<bool(const std::string& bus, const std::string& device)>;

    /// `session`: of this run of the station.
    EventRing(Apartment& home, const std::string& session);
    ~EventRing();
    EventRing(const EventRing&) = delete;
    EventRing& operator=(const EventRing&) = delete;

    /// The events from now on, or those that follow the one called `last` unless that is empty.
    std::shared_ptr<HttpStream> Follow(const std::string& last, Filter filter);
    bool HasReaders() const;
    /// `data`: on one line.
    void Add(const char* name, const std::string& bus, const std::string& device, const std::string& data);

private:
    class Reader;
    struct Event {
        std::string Bus;
        std::string Device;
        std::string Text;  ///< as it is sent
    };

    std::string IdOf(std::uint64_t number) const;
    /// The number in an event's id; nothing when it is of another session, or none.
    std::optional<std::uint64_t> NumberOf(const std::string& id) const;
    void WakeReaders();
    void SendComments();

    const std::string m_Session;
    std::deque<Event> m_Kept;
    std::size_t m_KeptBytes = 0;
    std::uint64_t m_First = 1;  ///< number of the oldest that is kept
    std::uint64_t m_Told = 0;   ///< number of the latest that has gone out
    std::vector<std::weak_ptr<Reader>> m_Readers;
    std::unique_ptr<Timer> m_Batch;
    bool m_BatchWaits = false;
    std::unique_ptr<Timer> m_Comment;
};

}  // namespace orvix::station
