#include "station/door/event_ring.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace orvix::station {
namespace {

constexpr std::int32_t kBatchMs = 250;
// A connection on which nothing passes is taken for dead by what is in between.
constexpr std::int32_t kCommentMs = 15'000;
constexpr char kComment[] = ":\n\n";

// Some minutes of a large station.
constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;
constexpr std::size_t kSessionDigits = 8;

}  // namespace

/// What one client still has to read.
class EventRing::Reader : public HttpStream {
public:
    Reader(EventRing& ring, Filter filter, std::uint64_t next, std::string first)
        : m_Ring(ring), m_Filter(std::move(filter)), m_Next(next), m_Text(std::move(first)) {}

    std::optional<std::size_t> Read(std::span<char> into) override {
        std::size_t size = 0;
        while (size < into.size()) {
            if (m_Sent == m_Text.size() && !TakeNext()) break;
            const auto part = std::min(into.size() - size, m_Text.size() - m_Sent);
            std::copy_n(m_Text.data() + m_Sent, part, into.data() + size);
            size += part;
            m_Sent += part;
        }
        if (size == 0 && HasMissed()) return std::nullopt;
        return size;
    }

    void Comment() { m_WantsComment = true; }

private:
    bool HasMissed() const { return m_Next < m_Ring.m_First; }

    bool TakeNext() {
        m_Sent = 0;
        m_Text.clear();
        if (HasMissed()) return false;
        while (m_Text.empty() && m_Next <= m_Ring.m_Told) {
            const auto& event = m_Ring.m_Kept[m_Next - m_Ring.m_First];
            ++m_Next;
            if (m_Filter(event.Bus, event.Device)) m_Text = event.Text;
        }
        if (m_Text.empty() && m_WantsComment) m_Text = kComment;
        m_WantsComment = false;
        return !m_Text.empty();
    }

    EventRing& m_Ring;
    const Filter m_Filter;
    std::uint64_t m_Next;
    std::string m_Text;  ///< what is being sent
    std::size_t m_Sent = 0;
    bool m_WantsComment = false;
};

EventRing::EventRing(Apartment& home, const std::string& session)
    : m_Session(session.substr(0, kSessionDigits) + "-"),
      m_Batch(home.CreateTimer([this] { WakeReaders(); })),
      m_Comment(home.CreateTimer([this] { SendComments(); })) {
    m_Comment->Rearm(kCommentMs, true);
}

EventRing::~EventRing() = default;

std::string EventRing::IdOf(std::uint64_t number) const {
    return m_Session + std::to_string(number);
}

std::optional<std::uint64_t> EventRing::NumberOf(const std::string& id) const {
    std::uint64_t number = 0;
    if (!id.starts_with(m_Session)) return std::nullopt;
    const auto* end = id.data() + id.size();
    const auto result = std::from_chars(id.data() + m_Session.size(), end, number);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

std::shared_ptr<HttpStream> EventRing::Follow(const std::string& last, Filter filter) {
    const auto seen = NumberOf(last);
    const bool isKept = seen && *seen + 1 >= m_First && *seen <= m_Told;
    const auto next = isKept ? *seen + 1 : m_Told + 1;
    // The id lets a client that loses the connection before the first event go on from here.
    auto first = "retry: 1000\nid: " + IdOf(next - 1) + "\n";
    first += last.empty() || isKept ? "\n" : "event: reset\ndata: {}\n\n";
    std::erase_if(m_Readers, [](const auto& reader) { return reader.expired(); });
    const auto reader = std::make_shared<Reader>(*this, std::move(filter), next, first);
    m_Readers.push_back(reader);
    return reader;
}

bool EventRing::HasReaders() const {
    return std::any_of(m_Readers.begin(), m_Readers.end(), [](const auto& reader) { return !reader.expired(); });
}

void EventRing::Add(const char* name, const std::string& bus, const std::string& device, const std::string& data) {
    const auto id = IdOf(m_First + m_Kept.size());
    m_Kept.push_back({bus, device, "id: " + id + "\nevent: " + name + "\ndata: " + data + "\n\n"});
    m_KeptBytes += m_Kept.back().Text.size();
    while (m_KeptBytes > kMostBytes) {
        m_KeptBytes -= m_Kept.front().Text.size();
        m_Kept.pop_front();
        ++m_First;
    }
    if (!std::exchange(m_BatchWaits, true)) m_Batch->Rearm(kBatchMs, true);
}

void EventRing::WakeReaders() {
    m_Batch->Enabled(false);
    m_BatchWaits = false;
    m_Told = m_First + m_Kept.size() - 1;
    for (const auto& reader : m_Readers) {
        if (const auto one = reader.lock()) one->Wake();
    }
}

void EventRing::SendComments() {
    for (const auto& reader : m_Readers) {
        const auto one = reader.lock();
        if (!one) continue;
        one->Comment();
        one->Wake();
    }
}

}  // namespace orvix::station
