#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "host/apartment.h"
#include "station/http/message.h"

namespace orvix::station {

/// Works on what takes its time, such as questions to the history, on a thread of its own, one after the other.
class SlowAnswers {
public:
    /// Answers arrive in `home`.
    explicit SlowAnswers(Apartment& home);
    /// Waits for what is in work; the rest is dropped.
    ~SlowAnswers();
    SlowAnswers(const SlowAnswers&) = delete;
    SlowAnswers& operator=(const SlowAnswers&) = delete;

    /// Has a question answered. What `answer` raises becomes a problem; so does being one of too many who wait.
    void Ask(std::function<HttpResponse()> answer, HttpReply reply);
    /// Does something there. Only as much as was asked for may wait here.
    void Do(std::function<void()> work);
    Apartment& Home() { return m_Home; }

private:
    void Run();

    Apartment& m_Home;
    std::mutex m_Mutex;  ///< guards what follows, up to the thread
    std::condition_variable m_Changed;
    std::deque<std::function<void()>> m_Work;
    bool m_Ends = false;
    std::thread m_Thread;
};

}  // namespace orvix::station
