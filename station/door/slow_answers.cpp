#include "station/door/slow_answers.h"

#include <utility>

#include "host/error.h"
#include "station/door/problem.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostWaiting = 64;

HttpResponse AnswerOrProblem(const std::function<HttpResponse()>& answer) {
    try {
        return answer();
    } catch (const ProblemError& problem) {
        return ProblemResponse(problem.Status(), problem.what());
    } catch (const std::exception& error) {
        return ProblemResponse(500, error.what());
    }
}

}  // namespace

SlowAnswers::SlowAnswers(Apartment& home) : m_Home(home), m_Thread([this] { Run(); }) {}

SlowAnswers::~SlowAnswers() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Ends = true;
    }
    m_Changed.notify_one();
    m_Thread.join();
}

void SlowAnswers::Ask(std::function<HttpResponse()> answer, HttpReply reply) {
    std::unique_lock lock(m_Mutex);
    if (m_Work.size() >= kMostWaiting) {
        lock.unlock();
        return reply(ProblemResponse(503, "too many requests to the history are waiting"));
    }
    lock.unlock();
    Do([this, answer = std::move(answer), reply = std::move(reply)] {
        m_Home.Post([reply, response = AnswerOrProblem(answer)] { reply(response); });
    });
}

void SlowAnswers::Do(std::function<void()> work) {
    {
        const std::lock_guard lock(m_Mutex);
        m_Work.push_back(std::move(work));
    }
    m_Changed.notify_one();
}

void SlowAnswers::Run() {
    std::unique_lock lock(m_Mutex);
    while (!m_Ends) {
        if (m_Work.empty()) {
            m_Changed.wait(lock);
            continue;
        }
        auto work = std::move(m_Work.front());
        m_Work.pop_front();
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
    }
}

}  // namespace orvix::station
