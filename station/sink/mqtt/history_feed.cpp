#include "station/sink/mqtt/history_feed.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "host/error.h"
#include "station/mqtt/mqtt_failure.h"
#include "station/mqtt/topics.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLookPeriod{1};
// A history that begins, or is replaced, cannot be read for a moment.
constexpr std::chrono::seconds kUnreadable{15};
constexpr std::chrono::seconds kFirstRest{10};
constexpr std::chrono::seconds kLongestRest{600};
constexpr std::chrono::seconds kRepeatPeriod{5};
constexpr std::chrono::minutes kIgnoreSilence{1};
constexpr std::chrono::hours kSkipSilence{24};
constexpr double kRateSeconds = 10;

}  // namespace

std::shared_ptr<HistoryFeed> HistoryFeed::Start(const MqttSetup& setup, Apartment& home, Links links) {
    auto feed = std::make_shared<HistoryFeed>(setup, home, std::move(links));
    std::thread([feed] { feed->Run(); }).detach();
    return feed;
}

HistoryFeed::HistoryFeed(const MqttSetup& setup, Apartment& home, Links links)
    : m_Setup(setup), m_Broker(setup.Broker.Name()), m_Links(std::move(links)), m_Home(&home) {}

void HistoryFeed::Read(const std::vector<std::string>& files) {
    const std::scoped_lock lock(m_Mutex);
    for (const auto& path : files) {
        const auto isKnown = [&](const File& file) { return file.Path == path; };
        if (std::ranges::none_of(m_Files, isKnown)) m_Files.emplace_back(path);
    }
    m_Changed.notify_all();
}

void HistoryFeed::Run() {
    Lock lock(m_Mutex);
    while (m_Home != nullptr) {
        const auto now = Clock::now();
        const auto file = std::ranges::find_if(m_Files, [&](const File& one) { return one.LookAt <= now; });
        if (file != m_Files.end()) {
            Look(*file, lock);
        } else if (!MakeBatch(lock)) {
            const auto next = std::ranges::min_element(m_Files, {}, &File::LookAt);
            m_Changed.wait_until(lock, next == m_Files.end() ? now + kLookPeriod : next->LookAt);
        }
    }
    m_HasEnded = true;
    m_Changed.notify_all();
}

void HistoryFeed::Look(File& file, Lock& lock) {
    file.LookAt = Clock::now() + kLookPeriod;
    lock.unlock();
    try {
        const auto history = file.Reader.History();
        const auto newest = file.Reader.Newest();
        const auto acknowledged = file.Reader.Acknowledged(m_Broker);
        lock.lock();
        Looked(file, history, newest, acknowledged);
    } catch (const Error& error) {
        if (!lock.owns_lock()) lock.lock();
        CannotRead(file, error.Description);
    }
}

void HistoryFeed::Looked(File& file, const std::string& history, std::int64_t newest,
                         std::optional<std::int64_t> acknowledged) {
    if (std::exchange(file.FailsSince, std::nullopt)) m_Trouble.clear();
    if (!file.New || file.New->History != history || newest < file.New->Read) {
        file.New.reset();
        file.Again.reset();
        if (!acknowledged) return;
        file.New = std::make_shared<Course>(Course{history, *acknowledged, *acknowledged});
    }
    file.New->End = newest;
}

void HistoryFeed::CannotRead(File& file, const std::string& why) {
    const auto now = Clock::now();
    if (!file.FailsSince) file.FailsSince = now;
    if (now - *file.FailsSince < kUnreadable || !m_Trouble.empty()) return;
    m_Trouble = "what was recorded cannot be read: " + why;
    Tell(m_Trouble);
}

std::int64_t HistoryFeed::RowsNow() {
    const auto now = Clock::now();
    if (!m_Wake || (m_RestUntil && now < *m_RestUntil)) return 0;
    std::int64_t rows = 0;
    for (const auto& batch : m_UnderWay)
        rows += batch.Rows;
    return m_Pace.Next(rows, m_UnderWay.size(), now);
}

bool HistoryFeed::MakeBatch(Lock& lock) {
    const auto most = RowsNow();
    if (most == 0) return false;
    for (const auto which : {&File::New, &File::Again}) {
        for (auto& file : m_Files) {
            const auto course = file.*which;
            if (!course || course->Read >= course->End || file.FailsSince) continue;
            Make(file, course, most, lock);
            return true;
        }
    }
    return false;
}

void HistoryFeed::Make(File& file, const std::shared_ptr<Course>& course, std::int64_t most, Lock& lock) {
    const auto after = course->Read;
    const auto rewinds = m_Rewinds;
    lock.unlock();
    try {
        const auto read = file.Reader.After(after, std::min(most, course->End - after));
        Batch batch{.Of = course,
                    .To = read.To,
                    .Rows = static_cast<std::int64_t>(read.Rows.size()),
                    .Skipped = read.Skipped,
                    .Payload = HistoryPayload(read)};
        lock.lock();
        if (rewinds != m_Rewinds) return;
        if (read.History != course->History || read.To < read.From) {
            // It was replaced, or is not what it was: that is looked at first.
            course->End = course->Read;
            file.LookAt = {};
            return;
        }
        course->Read = read.To;
        course->End = std::max(course->End, read.To);
        batch.Number = ++m_LastNumber;
        m_UnderWay.push_back(std::move(batch));
        if (m_Wake) m_Wake();
    } catch (const Error& error) {
        if (!lock.owns_lock()) lock.lock();
        CannotRead(file, error.Description);
    }
}

void HistoryFeed::Connected(std::function<void()> wake) {
    const std::scoped_lock lock(m_Mutex);
    m_Wake = std::move(wake);
    m_Pace.Connected();
    m_RestUntil.reset();
    m_Changed.notify_all();
}

void HistoryFeed::Disconnected() {
    const std::scoped_lock lock(m_Mutex);
    m_Wake = nullptr;
    const auto first = std::ranges::find_if(m_UnderWay, [](const Batch& batch) { return !batch.IsTaken; });
    if (first != m_UnderWay.end() && first->Sent) m_Pace.Lost(first->Rows, *first->Sent, Clock::now());
    Rewind();
}

void HistoryFeed::Rewind() {
    ++m_Rewinds;
    m_UnderWay.clear();
    for (auto& file : m_Files) {
        for (const auto& course : {file.New, file.Again})
            if (course) course->Read = course->Taken;
    }
}

std::optional<OrderedMessage> HistoryFeed::Next() {
    const std::scoped_lock lock(m_Mutex);
    const auto next = std::ranges::find_if(m_UnderWay, [](const Batch& batch) { return !batch.Sent; });
    if (next == m_UnderWay.end()) return std::nullopt;
    next->Sent = Clock::now();
    return OrderedMessage{next->Number, m_Setup.Begin() + kHistoryTopic, std::move(next->Payload)};
}

void HistoryFeed::Answered(std::int64_t number, int reason) {
    const std::scoped_lock lock(m_Mutex);
    const auto batch = std::ranges::find(m_UnderWay, number, &Batch::Number);
    if (batch == m_UnderWay.end()) return;
    m_Changed.notify_all();
    if (reason != 0) return Refused(*batch, reason);
    batch->IsTaken = true;
    m_Pace.Taken(batch->Rows, Clock::now() - *batch->Sent);
    while (!m_UnderWay.empty() && m_UnderWay.front().IsTaken) {
        Settle(m_UnderWay.front());
        m_UnderWay.pop_front();
    }
}

void HistoryFeed::Settle(const Batch& batch) {
    auto& course = *batch.Of;
    course.Taken = std::max(course.Taken, batch.To);
    const auto now = Clock::now();
    m_Taken += batch.Rows;
    m_Recent.At(now.time_since_epoch()).Rows += batch.Rows;
    if (m_Rest.count() != 0) {
        m_Rest = std::chrono::seconds(0);
        m_Trouble.clear();
        Tell("takes what was recorded again");
    }
    if (course.IsRepeated) {
        if (course.Taken < course.End) return;
        for (auto& file : m_Files)
            if (file.Again == batch.Of) file.Again.reset();
        return;
    }
    if (batch.Skipped > 0) {
        m_Skipped += batch.Skipped;
        const bool isTold = m_SkippedAt && now - *m_SkippedAt < kSkipSilence;
        if (!isTold) Tell(Counted(batch.Skipped, "recorded row") + " removed before it was there to take them");
        if (!isTold) m_SkippedAt = now;
    }
    if (m_Home == nullptr) return;
    m_Home->Post([acknowledge = m_Links.Acknowledge, who = BrokerOfHistory{m_Broker, course.History}, to = batch.To] {
        acknowledge(who, to);
    });
}

void HistoryFeed::Refused(const Batch& batch, int reason) {
    const auto now = Clock::now();
    if (IsTooLarge(reason) && batch.Rows > 1) {
        m_Pace.TooLarge(batch.Rows, now);
        return Rewind();
    }
    m_Rest = std::clamp(m_Rest * 2, kFirstRest, kLongestRest);
    m_RestUntil = now + m_Rest;
    m_Pace.Connected();
    const auto why = "does not take " + m_Setup.Begin() + kHistoryTopic + ": " + WhyRefused(reason, m_Setup, "write");
    if (std::exchange(m_Trouble, why) != why) Tell(why + "; what is recorded waits, and is tried again and again");
    Rewind();
}

void HistoryFeed::Heard(const std::string& payload, bool wasKept) {
    const std::scoped_lock lock(m_Mutex);
    if (wasKept) return Ignore("a message that the broker has kept is no request");
    if (payload.size() > kLongestHeard) return Ignore("it is too long");
    const auto request = HistoryRequestOf(payload);
    if (!request) return Ignore("write {\"from\": N}, and \"history\": UUID when only that one is meant");
    const auto now = Clock::now();
    if (m_RepeatedAt && now - *m_RepeatedAt < kRepeatPeriod) return Ignore("one in five seconds is answered");
    Repeat(*request);
    m_Changed.notify_all();
}

/// What has not been sent yet is still to come.
void HistoryFeed::Repeat(const HistoryRequest& request) {
    bool isThere = false;
    for (auto& file : m_Files) {
        const bool isMeant = file.New && (request.History.empty() || request.History == file.New->History);
        if (!isMeant || request.From > file.New->Read) continue;
        isThere = true;
        const auto before = request.From - 1;
        file.Again = std::make_shared<Course>(Course{file.New->History, before, before, file.New->Read, true});
    }
    if (!isThere) return Ignore("no rows from " + std::to_string(request.From) + " on have been sent");
    m_RepeatedAt = Clock::now();
}

void HistoryFeed::Ignore(const std::string& why) {
    const auto now = Clock::now();
    if (m_IgnoredAt && now - *m_IgnoredAt < kIgnoreSilence) return;
    m_IgnoredAt = now;
    Tell("a message at " + m_Setup.Begin() + kHistoryWantedTopic + " is ignored: " + why);
}

MqttCarriageState HistoryFeed::State() {
    const std::scoped_lock lock(m_Mutex);
    MqttCarriageState state;
    for (const auto& file : m_Files)
        if (file.New) state.Histories.push_back({file.New->History, file.New->Taken, file.New->End});
    const auto recent = m_Recent.Total(Clock::now().time_since_epoch());
    state.RowsPerSecond = static_cast<double>(recent.Rows) / kRateSeconds;
    state.Taken = m_Taken;
    state.Skipped = m_Skipped;
    state.Trouble = m_Trouble;
    return state;
}

void HistoryFeed::Tell(const std::string& text) {
    if (m_Home == nullptr) return;
    m_Home->Post([tell = m_Links.Tell, line = "MQTT broker " + m_Broker + ": " + text] { tell(line); });
}

void HistoryFeed::Leave() {
    const std::scoped_lock lock(m_Mutex);
    m_Home = nullptr;
    m_Changed.notify_all();
}

void HistoryFeed::WaitForEnd(std::chrono::milliseconds limit) {
    Lock lock(m_Mutex);
    m_Changed.wait_for(lock, limit, [this] { return m_HasEnded; });
}

}  // namespace orvix::station
