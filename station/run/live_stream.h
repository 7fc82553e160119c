#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>

#include "host/apartment.h"

namespace orvix::station {

/// An output stream that holds up nobody: what is written to it waits in memory, a bounded amount, for a thread that
/// hands it to a descriptor. Each flush ends a piece, such as a line; a piece for which there is no room is dropped
/// whole, and its lines are counted.
class LiveStream : public std::ostream {
public:
    static constexpr std::size_t kMostWaiting = std::size_t{1} << 20;  ///< bytes

    struct Events {
        /// The first piece was dropped.
        std::function<void()> OnDropping;
        /// All that waited has been written; `lines` were dropped before.
        std::function<void(std::uint64_t lines)> OnCaughtUp;
        /// The descriptor has refused; nothing more is written.
        std::function<void()> OnFailed;
    };

    /// The events come in `home`, as long as this lives. `descriptor` stays open.
    LiveStream(int descriptor, Apartment& home, Events events);
    /// Drops what is still waiting.
    ~LiveStream() override;
    LiveStream(const LiveStream&) = delete;
    LiveStream& operator=(const LiveStream&) = delete;

    /// Whether all that was flushed has been written or has failed.
    bool IsIdle() const;
    /// Waits until it is idle, as long as the descriptor takes something within each `limit`. Returns how many lines
    /// are lost: dropped since it last caught up, or still waiting.
    std::uint64_t Finish(std::chrono::milliseconds limit);
    /// Whether writing has failed.
    bool Failed() const;

private:
    class Pieces;
    struct State;
    static void Write(const std::shared_ptr<State>& state);

    std::shared_ptr<State> m_State;
    std::unique_ptr<Pieces> m_Pieces;
};

}  // namespace orvix::station
