#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/mqtt_setup.h"
#include "station/model/mqtt_state.h"
#include "station/mqtt/ordered_messages.h"
#include "station/run/sliding_window.h"
#include "station/sink/mqtt/history_payload.h"
#include "station/sink/mqtt/sending_pace.h"
#include "station/store/history_rows.h"
#include "station/store/outbox_reader.h"

namespace orvix::station {

/// Carries what is recorded to a broker, in order, out of the outboxes of the histories: what is new once a second, and
/// what was recorded while the broker was away as fast as it takes it. The files are read on a thread of its own, which
/// may outlive whoever has begun it.
class HistoryFeed : public OrderedMessages {
public:
    struct Links {
        /// Called in the home: the broker has all rows up to a number.
        std::function<void(const BrokerOfHistory& who, std::int64_t n)> Acknowledge;
        /// Called in the home with what people should know, a sentence.
        std::function<void(const std::string&)> Tell;
    };

    /// Begins. `setup` has a broker and a station.
    static std::shared_ptr<HistoryFeed> Start(const MqttSetup& setup, Apartment& home, Links links);
    HistoryFeed(const MqttSetup& setup, Apartment& home, Links links);

    /// The histories that there are now.
    void Read(const std::vector<std::string>& files);
    MqttCarriageState State();
    /// The end is wanted. Nobody is told anything any more.
    void Leave();
    void WaitForEnd(std::chrono::milliseconds limit);

    // On the thread of the client:
    void Connected(std::function<void()> wake) override;
    void Disconnected() override;
    std::optional<OrderedMessage> Next() override;
    void Answered(std::int64_t number, int reason) override;
    void Heard(const std::string& payload, bool wasKept) override;

private:
    using Clock = std::chrono::steady_clock;

    /// A way through the numbers of a history.
    struct Course {
        std::string History;      ///< UUID
        std::int64_t Read = 0;    ///< up to here batches were made
        std::int64_t Taken = 0;   ///< up to here the broker has them
        std::int64_t End = 0;     ///< where it ends
        bool IsRepeated = false;  ///< somebody wanted it again
    };
    struct File {
        explicit File(const std::string& path) : Path(path), Reader(path) {}

        const std::string Path;
        OutboxReader Reader;            ///< the thread's own
        std::shared_ptr<Course> New{};  ///< whose end is the newest row; null: it is not known where the broker is
        std::shared_ptr<Course> Again{};
        Clock::time_point LookAt{};  ///< when to look for what is new
        std::optional<Clock::time_point> FailsSince{};
    };
    struct Batch {
        std::int64_t Number = 0;
        std::shared_ptr<Course> Of;
        std::int64_t To = 0;
        std::int64_t Rows = 0;
        std::int64_t Skipped = 0;
        std::string Payload;
        std::optional<Clock::time_point> Sent{};
        bool IsTaken = false;
    };
    struct Sum {
        std::int64_t Rows = 0;
        void Add(const Sum& other) { Rows += other.Rows; }
    };
    using Lock = std::unique_lock<std::mutex>;

    void Run();
    /// Asks how far the history and the broker are.
    void Look(File& file, Lock& lock);
    void Looked(File& file, const std::string& history, std::int64_t newest, std::optional<std::int64_t> acknowledged);
    /// Makes the next batch, if one may be sent; returns false when there is none.
    bool MakeBatch(Lock& lock);
    void Make(File& file, const std::shared_ptr<Course>& course, std::int64_t most, Lock& lock);
    std::int64_t RowsNow();
    void CannotRead(File& file, const std::string& why);
    /// What was not taken is sent again, in its order.
    void Rewind();
    void Settle(const Batch& batch);
    void Refused(const Batch& batch, int reason);
    void Repeat(const HistoryRequest& request);
    void Ignore(const std::string& why);
    void Tell(const std::string& text);

    const MqttSetup m_Setup;
    const std::string m_Broker;
    const Links m_Links;

    std::mutex m_Mutex;  ///< guards what follows
    std::condition_variable m_Changed;
    Apartment* m_Home;  ///< null: it is left
    bool m_HasEnded = false;
    std::function<void()> m_Wake;  ///< nothing: there is no connection
    std::list<File> m_Files;
    SendingPace m_Pace;
    std::deque<Batch> m_UnderWay;  ///< those that were sent in front
    std::int64_t m_LastNumber = 0;
    int m_Rewinds = 0;
    std::optional<Clock::time_point> m_RestUntil;  ///< after a refusal
    std::chrono::seconds m_Rest{0};
    std::string m_Trouble;
    std::optional<Clock::time_point> m_RepeatedAt;
    std::optional<Clock::time_point> m_IgnoredAt;
    std::optional<Clock::time_point> m_SkippedAt;
    SlidingWindow<Sum, 11, 1> m_Recent;
    std::int64_t m_Taken = 0;
    std::int64_t m_Skipped = 0;
};

}  // namespace orvix::station
