#include "station/sink/lines/output_listener.h"

#include "station/model/clock.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kPassingPeriodMs = 5000;

}  // namespace

OutputListener::OutputListener(Output& output, Apartment& home, Choice choice)
    : m_Output(output),
      m_Home(home),
      m_Choice(choice),
      m_Passing(home.CreateTimer([this] { TellAll(m_Episodes.OnPassing(m_Home.Now())); })) {
    m_Passing->Rearm(kPassingPeriodMs, true);
}

void OutputListener::OnReading(const Reading& reading) {
    m_AnyGood = m_AnyGood || reading.IsGood();
    if (m_Choice.Readings) m_Output.Show(reading);
    TellAll(m_Episodes.OnReading(reading, m_Home.Now()));
}

void OutputListener::OnIdentity(const DeviceIdentity& identity) {
    if (identity.Remark.empty()) return;
    m_Output.Note(identity.Port + ", " + std::to_string(identity.Address) + " " + identity.Name + ": " +
                  identity.Remark);
}

void OutputListener::OnTrouble(const std::string& port, const Failure& failure) {
    TellAll(m_Episodes.OnTrouble(port, failure, m_Home.Now()));
}

void OutputListener::OnMessage(const std::string& port, const std::string& text) {
    m_Output.Message(port, text);
}

void OutputListener::OnLine(const LineEvent& event) {
    TellAll(m_Episodes.OnLine(event, m_Home.Now()));
}

void OutputListener::OnAlarm(const AlarmEvent& event) {
    m_Output.Tell(event);
}

void OutputListener::OnDeviceGone(const DeviceId& device) {
    m_Episodes.Forget(device);
    m_Output.Forget(device);
}

void OutputListener::TellAll(std::vector<EpisodeEvent> events) {
    const auto now = UnixMillisecondsOf(m_Home.DateNow());
    for (auto& event : events) {
        event.UnixMilliseconds = now;
        m_Output.Tell(event);
    }
}

}  // namespace orvix::station
