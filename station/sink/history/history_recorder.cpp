#include "station/sink/history/history_recorder.h"

#include <unistd.h>

#include <utility>

#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostPending = 100'000;

/// Where only changes are recorded, the file is to be written as rarely as they are.
HistorySession NewSession(const HistorySetup& setup, const std::string& uuid) {
    return {uuid, ReadClocks().Unix, ::getpid(), setup.Record.OnlyChanges ? 60'000 : 1000};
}

}  // namespace

HistoryRecorder::HistoryRecorder(std::string file, const HistorySetup& setup, const std::string& session,
                                 Apartment& home, HistoryWriter::Say say)
    : m_Home(home),
      m_Say(std::move(say)),
      m_Pending(kMostPending, setup.Record),
      m_Writer(m_Pending, std::move(file), setup, NewSession(setup, session),
               [this](const std::string& text) { SayLater(text); }),
      m_Turns(
          home, [this] { Write(); },
          [this](bool isStill) {
              m_Say(isStill ? "the history has accepted nothing for a while; readings wait in memory until it does"
                            : "history: written again");
          }) {}

void HistoryRecorder::OnIdentity(const DeviceIdentity& identity) {
    const auto& [port, address, model, name, serialNumber, identifier, remark, hasAnswered] = identity;
    const auto variable = NameOf(MeasuredVariable(model));
    m_Pending.Watch({port, address, model, name, variable}, identifier, serialNumber, ReadClocks());
}

void HistoryRecorder::Write() {
    m_Writer.Turn(ReadClocks());
    if (m_Writer.Works()) {
        m_FailsSince = Duration::zero();
    } else if (m_FailsSince.load() == Duration::zero()) {
        m_FailsSince = m_Home.Now();
    }
}

std::optional<Duration> HistoryRecorder::StandsStill() const {
    const auto since = m_FailsSince.load();
    return since == Duration::zero() ? m_Turns.StandStill() : m_Home.Now() - since;
}

std::int64_t HistoryRecorder::Close() {
    if (std::exchange(m_IsClosed, true)) return 0;
    m_Turns.End();
    const auto lost = m_Writer.End(ReadClocks());
    Tell(*m_Said, m_Say);
    return lost;
}

/// What waits in `home` may be there longer than this.
void HistoryRecorder::SayLater(const std::string& text) {
    {
        const std::lock_guard lock(m_Said->Mutex);
        m_Said->Texts.push_back(text);
    }
    m_Home.Post([said = m_Said, say = m_Say] { Tell(*said, say); });
}

void HistoryRecorder::Tell(Said& said, const HistoryWriter::Say& say) {
    std::unique_lock lock(said.Mutex);
    const auto texts = std::exchange(said.Texts, {});
    lock.unlock();
    for (const auto& text : texts)
        say(text);
}

}  // namespace orvix::station
