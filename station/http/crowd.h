#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/apartment.h"

namespace orvix::station {

/// The clients of a server, and which of them has to go. A client that dawdles gives way to a new one: a connection
/// that has sent no whole request, or does not read its answer, is ended when its time is over, and before it when its
/// address or all together have too many, the oldest first. Thus slow clients, however many, keep nobody out. One that
/// reads a stream stays.
class Crowd {
public:
    /// The number of a connection, chosen by the server.
    using Key = std::uint64_t;

    struct Limits {
        std::size_t All = 512;
        std::size_t Address = 256;
        Duration Request = std::chrono::seconds(15);  ///< until a whole request has come
        Duration Answer = std::chrono::seconds(60);   ///< until its answer has been read
    };
    explicit Crowd(const Limits& limits) : m_Limits(limits) {}

    /// A client has connected. Returns who has to go.
    std::vector<Key> Enter(Key client, const std::string& address, Duration now);
    void Leave(Key client) { m_Members.erase(client); }

    /// What the client does now: sends a request, has its answer made or reads it, or reads a stream.
    enum class Doing { Asking, Reading, Listening };
    void Does(Key client, Doing what, Duration now);

    /// Those whose time is over, each once.
    std::vector<Key> Overdue(Duration now);
    /// When the next one's time is over; nothing when nobody's will be.
    std::optional<Duration> NextEnd() const;
    /// How many listen, in all or from one address.
    std::size_t Listeners(const std::string* address = nullptr) const;

private:
    struct Member {
        std::string Address;
        Doing What = Doing::Asking;
        Duration Since{0};
        std::optional<Duration> End;
    };

    /// The one that asks or reads for longest; of one address or of all. Nothing when all listen.
    std::optional<Key> Slowest(const std::string* address) const;
    std::size_t Count(const std::string* address) const;

    const Limits m_Limits;
    std::map<Key, Member> m_Members;
};

}  // namespace orvix::station
