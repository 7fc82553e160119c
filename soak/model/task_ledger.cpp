#include "soak/model/task_ledger.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/text.h"

namespace orvix::soak {

namespace {

constexpr std::size_t kRetained = 64;
/// Far more than tasks are open at a time, far fewer than numbers there are.
constexpr std::size_t kEndedKept = 4096;
constexpr std::size_t kViolationsKept = 5;
constexpr Duration kLongest = std::chrono::minutes(10);

}  // namespace

TaskLedger::TaskLedger(const Services& services, ModelCounts& counts)
    : m_Services(services), m_Counts(counts), m_Reader(services) {}

void TaskLedger::Violation(const std::string& kind, const std::string& detail) {
    ++m_Counts.Violations[kind];
    if (m_Counts.FirstViolations.size() < kViolationsKept) {
        m_Counts.FirstViolations.push_back("event " + std::to_string(m_Counts.Events) + ": " + kind + ": " + detail);
    }
}

void TaskLedger::Accept(AskedTask task) {
    task.AcceptedAt = m_Counts.Events;
    task.When = m_Services.Apartment.Now();
    ++m_Counts.Tasks;
    m_Open.push_back(std::move(task));
}

bool TaskLedger::Ended(const AskedTask& task) const {
    return task.Entry ? !task.Entry->Data().ResultList.empty() : task.Object->Executed();
}

void TaskLedger::Sweep(bool settled) {
    const Duration now = m_Services.Apartment.Now();
    for (auto task = m_Open.begin(); task != m_Open.end();) {
        const auto next = std::next(task);
        if (Ended(*task)) {
            CheckEnd(*task);
            Retain(std::move(*task));
            m_Open.erase(task);
        } else if (now - task->When > kLongest) {
            if (task->CertainlyAccepted) Violation("task lost", std::to_string(task->Token));
            m_Open.erase(task);
        }
        task = next;
    }
    if (!settled) return;
    for (const std::uint32_t poll : std::exchange(m_EndedPolls, {})) {
        m_EndedAt[poll] = m_Counts.Events;
        m_EndedOrder.push_back(poll);
    }
}

void TaskLedger::CheckEnd(const AskedTask& task) {
    iOrvixTaskNB1& reader = m_Reader;
    if (task.Entry) {
        const SharedData& data = task.Entry->Data();
        reader.SetSuperState(data.ResultList.front());
        if (reader.e() != data.e || reader.eDescr() != data.eDescr ||
            task.Entry->Succeeded() != (data.e == errors::None))
            Violation("entry and state differ", data.eDescr + " / " + reader.eDescr());
    }
    iOrvixTaskNB1& result = task.Entry ? reader : *task.Object;
    if (result.e() != errors::None) {
        if (result.eDescr().empty()) Violation("failure without a text", NumberText(result.e()));
        return;
    }
    ++m_Counts.Succeeded;
    CheckAnswer(task, result, result.RtnArgs());
}

void TaskLedger::CheckAnswer(const AskedTask& task, const iOrvixTaskNB1& result, const VariantList& answer) {
    if (!result.eDescr().empty()) Violation("success with a failure's text", result.eDescr());
    if (task.Token == 0) {
        if (!answer.empty()) Violation("return arguments out of nothing", answer.front().ToText());
        return;
    }
    const auto number = answer.size() == 1 ? token::In(answer.front()) : std::nullopt;
    if (!number) {
        Violation("success without an answer", std::to_string(answer.size()) + " return arguments");
    } else if (*number != task.Token) {
        CheckForeignAnswer(task, *number);
    }
}

void TaskLedger::CheckForeignAnswer(const AskedTask& task, std::uint32_t answer) {
    ++m_Counts.Linked;
    const std::string detail = std::to_string(answer) + " for " + std::to_string(task.Token);
    if (token::DeviceOf(answer) != task.Device) Violation("another device's answer", detail);
    const auto ended = m_EndedAt.find(answer);
    if (ended != m_EndedAt.end() && ended->second < task.AcceptedAt) Violation("an old answer", detail);
}

void TaskLedger::Retain(AskedTask task) {
    if (task.Token != 0) {
        m_EndedAt[task.Token] = m_Counts.Events;
        m_EndedOrder.push_back(task.Token);
    }
    while (m_EndedOrder.size() > kEndedKept) {
        m_EndedAt.erase(m_EndedOrder.front());
        m_EndedOrder.pop_front();
    }
    m_Retained.push_back(std::move(task));
    if (m_Retained.size() <= kRetained) return;
    const AskedTask& oldest = m_Retained.front();
    if (oldest.Entry && oldest.Entry->Data().ResultList.size() != 1)
        Violation("task ended more than once", std::to_string(oldest.Token));
    m_Retained.pop_front();
}

void TaskLedger::RequireAllEnded(const std::string& why) {
    RequireEndedBefore(m_Counts.Events + 1, why);
}

void TaskLedger::RequireEndedBefore(std::uint64_t event, const std::string& why) {
    Sweep(false);
    std::erase_if(m_Open, [&](const AskedTask& task) {
        if (task.AcceptedAt >= event) return false;
        if (task.CertainlyAccepted) Violation("task lost by " + why, std::to_string(task.Token));
        return true;
    });
}

AskedTask* TaskLedger::AnyOpen(Random& random) {
    if (m_Open.empty()) return nullptr;
    return &*std::next(m_Open.begin(), Draw(random, static_cast<std::uint32_t>(m_Open.size())));
}

void TaskLedger::ReleaseAll() {
    while (!m_Retained.empty()) {
        const AskedTask& oldest = m_Retained.front();
        if (oldest.Entry && oldest.Entry->Data().ResultList.size() != 1)
            Violation("task ended more than once", std::to_string(oldest.Token));
        m_Retained.pop_front();
    }
    m_Open.clear();
}

}  // namespace orvix::soak
