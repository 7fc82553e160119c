#include "station/sink/alarm_program/alarm_command.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

#include "host/error.h"
#include "host/text.h"
#include "station/model/clock.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

std::vector<std::string> EnvironmentOf(const AlarmEvent& event) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.emplace_back(*variable);
    const std::pair<const char*, std::string> own[] = {
        {"EVENT", NameOf(event.What)},
        {"ALARM_ID", event.Alarm},
        {"ALARM", event.KindText()},
        {"PORT", event.Port},
        {"ADDRESS", AddressText(event.Address)},
        {"DEVICE", event.Identifier},
        {"NAME", event.Name},
        {"VALUE", NumberText(event.Value)},
        {"LIMIT", NumberText(event.Limit)},
        {"TIME", IsoText(event.UnixMilliseconds)},
        {"STARTED", IsoText(event.Started)},
        {"TEXT", event.Text()},
        {"ACKNOWLEDGED_BY", event.Acknowledged ? event.Acknowledged->By : ""},
        {"COMMENT", event.Acknowledged ? event.Acknowledged->Comment : ""},
    };
    for (const auto& [name, value] : own)
        variables.push_back(std::string("NIMBO1_") + name + "=" + value);
    return variables;
}

}  // namespace

AlarmCommand::Running::Running(const std::vector<std::string>& command, const AlarmEvent& event)
    : Program(command[0]), Process(command, EnvironmentOf(event)) {}

AlarmCommand::AlarmCommand(std::vector<std::string> command, Duration limit, platform::RealApartment& home,
                           std::function<void(const std::string&)> tell)
    : m_Limit(limit), m_Home(home), m_Tell(std::move(tell)), m_Command(std::move(command)) {}

void AlarmCommand::OnAlarm(const AlarmEvent& event) {
    // What goes on was told by an earlier session.
    if (m_Command.empty() || event.What == AlarmChange::Continued) return;
    auto& queue = m_Queues[event.Id()];
    queue.Dropped += std::erase_if(queue.Waiting, [&](const AlarmEvent& waiting) {
        return waiting.Kind == event.Kind && waiting.Input == event.Input;
    });
    queue.Waiting.push_back(event);
    RunNext();
}

void AlarmCommand::Close() {
    std::size_t waiting = 0;
    for (auto& [device, queue] : std::exchange(m_Queues, {})) {
        waiting += queue.Waiting.size();
    }
    if (waiting > 0)
        TellOf(m_Command.empty() ? "" : m_Command[0], "is not run for the last " + Counted(waiting, "alarm"));
}

std::size_t AlarmCommand::Runs() const {
    return static_cast<std::size_t>(
        std::count_if(m_Queues.begin(), m_Queues.end(), [](const auto& item) { return item.second.Now != nullptr; }));
}

/// Devices take turns.
void AlarmCommand::RunNext() {
    const auto isReady = [](const auto& item) { return !item.second.Now && !item.second.Waiting.empty(); };
    while (Runs() < kMostRunning) {
        auto next = std::find_if(m_Queues.upper_bound(m_Latest), m_Queues.end(), isReady);
        if (next == m_Queues.end()) next = std::find_if(m_Queues.begin(), m_Queues.end(), isReady);
        if (next == m_Queues.end()) return;
        m_Latest = next->first;
        RunFor(next->second);
    }
}

void AlarmCommand::RunFor(Queue& queue) {
    const auto event = std::move(queue.Waiting.front());
    queue.Waiting.pop_front();
    if (m_Command.empty()) return;
    if (const auto dropped = std::exchange(queue.Dropped, 0); dropped > 0) {
        TellOf(m_Command[0], "was not run for " + Counted(dropped, "alarm") + " of " + event.Port + ", " + event.Name +
                                 ": newer ones came while it was running");
    }
    Start(queue, event);
}

void AlarmCommand::Start(Queue& queue, const AlarmEvent& event) {
    try {
        queue.Now = std::make_unique<Running>(m_Command, event);
    } catch (const Error& error) {
        return TellOf(m_Command[0], "cannot be started: " + error.Description);
    }
    auto& running = *queue.Now;
    running.End = m_Home.Watch(running.Process.End(), POLLIN, [this, &queue](short) { TakeEnd(queue); });
    running.Limit = m_Home.CreateTimer([&running] {
        running.IsKilled = true;
        running.Process.Kill();
    });
    running.Limit->Rearm(static_cast<std::int32_t>(std::chrono::ceil<std::chrono::milliseconds>(m_Limit).count()),
                         true);
}

void AlarmCommand::TakeEnd(Queue& queue) {
    const auto ended = std::exchange(queue.Now, nullptr);
    auto problem = ended->Process.TakeProblem();
    if (ended->IsKilled) {
        problem = "was killed after " +
                  std::to_string(std::chrono::duration_cast<std::chrono::seconds>(m_Limit).count()) + " s";
    }
    if (!problem.empty()) TellOf(ended->Program, problem);
    RunNext();
}

void AlarmCommand::TellOf(const std::string& program, const std::string& problem) const {
    m_Tell("alarm command " + program + " " + problem);
}

}  // namespace orvix::station
