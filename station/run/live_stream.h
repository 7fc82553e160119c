#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

#include "platform/ready_writer.h"
#include "platform/real_apartment.h"

namespace orvix::station {

/// An output stream that holds up nobody: what the descriptor does not take at once waits in memory, a bounded amount,
/// until it does. Each flush ends a piece, such as a line; a piece for which there is no room is dropped whole, and its
/// lines are counted. Used on the thread of its apartment.
class LiveStream : public std::ostream {
public:
    static constexpr std::size_t kMostWaiting = std::size_t{1} << 20;  ///< bytes

    /// Each is called in a message of its own.
    struct Events {
        /// The first piece was dropped.
        std::function<void()> OnDropping;
        /// All that waited has been written; `lines` were dropped before.
        std::function<void(std::uint64_t lines)> OnCaughtUp;
        /// The descriptor has refused; nothing more is written.
        std::function<void()> OnFailed;
    };

    /// `home` outlives this, and delivers nothing any more when this goes. Raises SystemError for want of descriptors.
    LiveStream(int descriptor, platform::RealApartment& home, Events events);
    /// Drops what is still waiting.
    ~LiveStream() override = default;
    LiveStream(const LiveStream&) = delete;
    LiveStream& operator=(const LiveStream&) = delete;

    /// Whether all that was flushed has been written or has failed.
    bool IsIdle() const { return m_Waiting.empty(); }
    /// Whether much more can be said before anything is dropped.
    bool HasRoom() const { return m_Waiting.size() < kMostWaiting / 2; }
    /// Whether writing has failed.
    bool Failed() const { return m_HasFailed; }
    /// Waits until it is idle, as long as the descriptor takes something within each `limit`.
    void WaitUntilIdle(std::chrono::milliseconds limit);
    /// The same, and for a file to have taken all; nothing more is written. Returns whether all has been taken.
    bool Finish(std::chrono::milliseconds limit);
    /// The lines dropped since it last caught up, and those still waiting.
    std::uint64_t Missing() const;

private:
    /// Hands over what has come since the last flush.
    class Pieces : public std::stringbuf {
    public:
        explicit Pieces(LiveStream& stream) : std::stringbuf(std::ios_base::out), m_Stream(stream) {}

    private:
        int sync() override;

        LiveStream& m_Stream;
    };

    void Add(const std::string& piece);
    void WriteWaiting();
    void Fail();

    platform::RealApartment& m_Home;
    const Events m_Events;
    platform::ReadyWriter m_Writer;
    Pieces m_Pieces{*this};
    std::string m_Waiting;
    std::unique_ptr<platform::DescriptorWatch> m_Room;  ///< while something waits
    std::uint64_t m_Dropped = 0;
    bool m_HasFailed = false;
};

}  // namespace orvix::station
