#include "station/run/live_stream.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "host/error.h"

namespace orvix::station {
namespace {

std::uint64_t LinesOf(const std::string& text) {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

int LiveStream::Pieces::sync() {
    m_Stream.Add(str());
    str({});
    return 0;
}

LiveStream::LiveStream(int descriptor, platform::RealApartment& home, Events events)
    : std::ostream(nullptr), m_Home(home), m_Events(std::move(events)), m_Writer(descriptor) {
    rdbuf(&m_Pieces);
}

void LiveStream::Add(const std::string& piece) {
    if (m_HasFailed) return;
    if (m_Waiting.size() + piece.size() > kMostWaiting) {
        if (m_Dropped == 0 && m_Events.OnDropping) m_Home.Post(m_Events.OnDropping);
        m_Dropped += LinesOf(piece);
        return;
    }
    m_Waiting += piece;
    if (!m_Room) WriteWaiting();
}

void LiveStream::WriteWaiting() {
    try {
        std::size_t written = 0;
        for (std::size_t more = 1; more > 0 && written < m_Waiting.size(); written += more)
            more = m_Writer.Write(std::string_view(m_Waiting).substr(written));
        m_Waiting.erase(0, written);
    } catch (const Error&) {
        return Fail();
    }
    if (!m_Waiting.empty()) {
        if (!m_Room) m_Room = m_Home.Watch(m_Writer.Descriptor(), POLLOUT, [this](short) { WriteWaiting(); });
        return;
    }
    m_Room.reset();
    const auto dropped = std::exchange(m_Dropped, 0);
    if (dropped > 0 && m_Events.OnCaughtUp) m_Home.Post([this, dropped] { m_Events.OnCaughtUp(dropped); });
}

void LiveStream::Fail() {
    m_HasFailed = true;
    m_Waiting.clear();
    m_Room.reset();
    if (m_Events.OnFailed) m_Home.Post(m_Events.OnFailed);
}

void LiveStream::WaitUntilIdle(std::chrono::milliseconds limit) {
    flush();
    while (!IsIdle()) {
        pollfd room{m_Writer.Descriptor(), POLLOUT, 0};
        if (::poll(&room, 1, static_cast<int>(limit.count())) == 0) return;
        WriteWaiting();
    }
}

bool LiveStream::Finish(std::chrono::milliseconds limit) {
    WaitUntilIdle(limit);
    m_Room.reset();
    return m_Writer.Finish(static_cast<int>(limit.count())) && Missing() == 0;
}

std::uint64_t LiveStream::Missing() const {
    return m_Dropped + LinesOf(m_Waiting);
}

}  // namespace orvix::station
