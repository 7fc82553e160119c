#include "station/sink/history/history_recorder.h"

#include <unistd.h>

#include "devices/protocol/device_models.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostPending = 100'000;

// With the time that writing takes, less than a second.
constexpr std::chrono::milliseconds kTurn{700};

// Another program that writes the file may keep it for seconds; a disk that hangs keeps it for longer.
constexpr std::chrono::seconds kStillLimit{15};
constexpr std::int32_t kLookPeriodMs = 5000;

/// Where only changes are recorded, the file is to be written as rarely as they are.
HistorySession NewSession(const HistorySetup& setup) {
    return {NewUuid(), ReadClocks().Unix, ::getpid(), setup.Record.OnlyChanges ? 60'000 : 1000};
}

}  // namespace

HistoryRecorder::HistoryRecorder(std::string file, const HistorySetup& setup, Apartment& home, HistoryWriter::Say say)
    : m_Home(home),
      m_Say(std::move(say)),
      m_Pending(kMostPending, setup.Record),
      m_Writer(m_Pending, std::move(file), setup, NewSession(setup),
               [this](const std::string& text) { m_Home.Post([tell = m_Say, text] { tell(text); }); }),
      m_Thread([this] { WriteInTurns(); }),
      m_Look(home.CreateTimer([this] { Look(); })) {
    m_Look->Rearm(kLookPeriodMs, true);
}

void HistoryRecorder::OnSetup(const BusSetup& setup) {
    for (const auto& device : setup.Devices) {
        const auto variable = MeasuredVariable(device.Model);
        m_Pending.Watch({setup.PortLabel, device.Address, device.Model, device.Name, NameOf(variable)}, ReadClocks());
    }
}

void HistoryRecorder::WriteInTurns() {
    std::unique_lock lock(m_Mutex);
    while (!m_Stop) {
        lock.unlock();
        m_TurnBegan = m_Home.Now();
        m_Writer.Turn(ReadClocks());
        m_TurnBegan = Duration::zero();
        lock.lock();
        m_Wake.wait_for(lock, kTurn, [this] { return m_Stop; });
    }
}

std::optional<Duration> HistoryRecorder::StandsStill() const {
    const auto began = m_TurnBegan.load();
    const auto still = m_Home.Now() - began;
    return began != Duration::zero() && still > kStillLimit ? std::make_optional(still) : std::nullopt;
}

void HistoryRecorder::Look() {
    const bool isStill = StandsStill().has_value();
    if (isStill == m_IsStill) return;
    m_IsStill = isStill;
    m_Say(isStill ? "the history has not taken anything for a while; readings wait in memory until it does"
                  : "history: written again");
}

std::int64_t HistoryRecorder::Close() {
    if (!m_Thread.joinable()) return 0;
    {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
    }
    m_Wake.notify_one();
    m_Thread.join();
    return m_Writer.End(ReadClocks());
}

}  // namespace orvix::station
