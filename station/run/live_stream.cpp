#include "station/run/live_stream.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace orvix::station {
namespace {

// So that the wait at the end sees a slow reader read.
constexpr std::size_t kMostAtOnce = 4096;

std::uint64_t LinesOf(const std::string& text) {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Writes a beginning of what is not empty. Returns its size; 0 when it is refused.
std::size_t WriteSome(int descriptor, const std::string& bytes) {
    for (;;) {
        const ssize_t written = ::write(descriptor, bytes.data(), std::min(bytes.size(), kMostAtOnce));
        if (written > 0) return static_cast<std::size_t>(written);
        if (errno == EAGAIN) {
            // Somebody who shares the descriptor wants no waiting.
            pollfd writable{descriptor, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return 0;
        }
    }
}

}  // namespace

/// Shared with the thread, which may stand still in the system when the stream has gone.
struct LiveStream::State {
    State(int descriptor, Apartment& home, Events events)
        : Descriptor(descriptor), Home(home), Told(std::move(events)) {}

    const int Descriptor;
    Apartment& Home;
    const Events Told;

    std::mutex Mutex;
    std::condition_variable Changed;
    std::string Waiting;  ///< with what is being written now
    std::uint64_t Dropped = 0;
    bool HasFailed = false;
    bool IsOver = false;  ///< the stream goes

    /// Under the lock.
    template <class... Arguments>
    void Tell(const std::function<void(Arguments...)>& event, std::type_identity_t<Arguments>... arguments) {
        if (!IsOver && event) Home.Post([event, arguments...] { event(arguments...); });
    }
    void Add(std::string piece) {
        const std::lock_guard lock(Mutex);
        if (HasFailed || piece.empty()) return;
        if (Waiting.size() + piece.size() > kMostWaiting) {
            if (Dropped == 0) Tell(Told.OnDropping);
            Dropped += LinesOf(piece);
            return;
        }
        Waiting += piece;
        Changed.notify_all();
    }
    /// Takes away what has been written; 0: nothing more can be.
    void Advance(std::size_t written) {
        const std::lock_guard lock(Mutex);
        Waiting.erase(0, written);
        if (written == 0) {
            HasFailed = true;
            Waiting.clear();
            Tell(Told.OnFailed);
        } else if (Waiting.empty() && Dropped > 0) {
            Tell(Told.OnCaughtUp, std::exchange(Dropped, 0));
        }
        Changed.notify_all();
    }
};

/// Hands over what has come since the last flush.
class LiveStream::Pieces : public std::stringbuf {
public:
    explicit Pieces(State& state) : std::stringbuf(std::ios_base::out), m_State(state) {}

private:
    int sync() override {
        m_State.Add(std::move(*this).str());
        str({});
        return 0;
    }

    State& m_State;
};

LiveStream::LiveStream(int descriptor, Apartment& home, Events events)
    : std::ostream(nullptr),
      m_State(std::make_shared<State>(descriptor, home, std::move(events))),
      m_Pieces(std::make_unique<Pieces>(*m_State)) {
    rdbuf(m_Pieces.get());
    std::thread([state = m_State] { Write(state); }).detach();
}

LiveStream::~LiveStream() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->IsOver = true;
    m_State->Changed.notify_all();
}

bool LiveStream::IsIdle() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Waiting.empty();
}

bool LiveStream::Failed() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->HasFailed;
}

std::uint64_t LiveStream::Finish(std::chrono::milliseconds limit) {
    flush();
    std::unique_lock lock(m_State->Mutex);
    for (auto rest = m_State->Waiting.size(); rest > 0; rest = m_State->Waiting.size()) {
        if (!m_State->Changed.wait_for(lock, limit, [&] { return m_State->Waiting.size() < rest; })) break;
    }
    return m_State->Dropped + LinesOf(m_State->Waiting);
}

void LiveStream::Write(const std::shared_ptr<State>& state) {
    for (;;) {
        std::string bytes;
        {
            std::unique_lock lock(state->Mutex);
            state->Changed.wait(lock, [&] { return state->IsOver || !state->Waiting.empty(); });
            if (state->IsOver) return;
            bytes = state->Waiting.substr(0, kMostAtOnce);
        }
        const auto written = WriteSome(state->Descriptor, bytes);
        state->Advance(written);
        if (written == 0) return;
    }
}

}  // namespace orvix::station
