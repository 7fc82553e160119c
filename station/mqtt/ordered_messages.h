#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace orvix::station {

struct OrderedMessage {
    std::int64_t Number = 0;  ///< in which its answer comes
    std::string Topic;
    std::string Payload;
};

/// Messages that all have to arrive, in their order, beside those that tell what holds now, which go first. Called on
/// the thread of a client; no call waits for anything.
class OrderedMessages {
public:
    virtual ~OrderedMessages() = default;

    /// A connection is up. `wake` has Next called soon, from any thread, until Disconnected.
    virtual void Connected(std::function<void()> wake) = 0;
    /// What has not been answered will never be.
    virtual void Disconnected() = 0;
    /// The next one to send; nothing while there is none.
    virtual std::optional<OrderedMessage> Next() = 0;
    /// What the broker says of one: from 128 on a reason why it does not take it.
    virtual void Answered(std::int64_t number, int reason) = 0;
    /// What others say to these messages. `wasKept`: by the broker, from before. A longer payload is cut.
    static constexpr std::size_t kLongestHeard = 1024;
    virtual void Heard(const std::string& payload, bool wasKept) = 0;
};

}  // namespace orvix::station
