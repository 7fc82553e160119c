#include "station/run/episodes.h"

#include <utility>

#include "host/characters.h"
#include "station/model/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

using namespace std::chrono_literals;
using Kind = EpisodeEvent::Kind;

constexpr std::size_t kMostEpisodes = 3;
constexpr Duration kWindow = 2h;
constexpr Duration kFirstReport = 10min;
constexpr Duration kReportPeriod = 1h;
constexpr Duration kSteady = 1h;

constexpr std::size_t kMostInSummary = 5;

std::string SubjectText(const EpisodeEvent& event) {
    if (event.Address == 0) return Printable(event.Port);
    return Printable(event.Port + ", " + std::to_string(event.Address) + " " + event.Name);
}

// "37 failed readings in 2 min 5 s"; a port that was never open has none.
std::string ExtentText(const EpisodeEvent& event) {
    const auto time = DurationText(event.Lasted);
    return event.FailedReadings == 0 ? time : Counted(event.FailedReadings, "failed reading") + " in " + time;
}

std::string UnsteadyText(const EpisodeEvent& event) {
    const auto failed = "failed " + Counted(event.Count, "time") + ", ";
    if (event.What == Kind::Steady) return "is steady again; it " + failed + ExtentText(event);
    return "is unsteady: " + failed + ExtentText(event) + (event.FailsNow ? ", and fails now" : "") +
           ", latest: " + FailureText(event.Error) + "; single failures are no longer reported";
}

}  // namespace

std::string TextOf(const EpisodeEvent& event) {
    const auto subject = SubjectText(event) + ": ";
    switch (event.What) {
        case Kind::Began:
            return subject + FailureText(event.Error);
        case Kind::Ended:
            return subject + (event.Address == 0 ? "works" : "answers") + " again after " + ExtentText(event);
        default:
            return subject + UnsteadyText(event);
    }
}

std::vector<EpisodeEvent> Episodes::OnReading(const Reading& reading, Duration now) {
    Events events;
    const auto portId = IdOf(reading.Port, 0);
    const auto deviceId = reading.Id();
    auto& port = m_Subjects[portId];
    m_Subjects[deviceId].Name = reading.Name;
    if (reading.Valid()) {
        End(portId, now, events);
        End(deviceId, now, events);
    } else if (port.LineFailed) {
        ++port.FailedReadings;
    } else {
        if (port.EndsBeyondTheLine) End(portId, now, events);
        ++Fail(deviceId, reading.Error, now, events).FailedReadings;
    }
    port.LineFailed = false;
    return events;
}

std::vector<EpisodeEvent> Episodes::OnTrouble(const std::string& port, const Failure& failure, Duration now) {
    Events events;
    Fail(IdOf(port, 0), failure, now, events);
    return events;
}

std::vector<EpisodeEvent> Episodes::OnLine(const LineEvent& event, Duration now) {
    Events events;
    if (event.What != LineEvent::Kind::Failed) return events;
    auto& port = Fail(IdOf(event.Port, 0), {errors::General, event.Reason, event.Reason}, now, events);
    port.LineFailed = true;
    port.EndsBeyondTheLine = true;
    return events;
}

std::vector<EpisodeEvent> Episodes::OnPassing(Duration now) {
    Events events;
    for (auto& [id, subject] : m_Subjects) {
        if (!subject.Unsteady) continue;
        if (!subject.Failing && now - subject.LatestFailure >= kSteady) {
            events.push_back(EventOf(Kind::Steady, id, subject, now));
            subject.Unsteady = false;
            subject.Recent.clear();
        } else if (now >= subject.NextReport) {
            events.push_back(EventOf(Kind::Unsteady, id, subject, now));
            subject.NextReport = now + kReportPeriod;
        }
    }
    return events;
}

Episodes::Subject& Episodes::Fail(const DeviceId& id, const Failure& failure, Duration now, Events& events) {
    auto& subject = m_Subjects[id];
    subject.Error = failure;
    subject.LatestFailure = now;
    if (std::exchange(subject.Failing, true)) return subject;
    ++subject.Count;
    if (!subject.Unsteady) {
        const auto what = Begin(subject, now);
        events.push_back(EventOf(what, id, subject, now));
    }
    return subject;
}

Kind Episodes::Begin(Subject& subject, Duration now) {
    auto& recent = subject.Recent;
    recent.emplace_back(now, 0);
    while (now - recent.front().first > kWindow)
        recent.pop_front();
    subject.Since = now;
    subject.FailedReadings = 0;
    if (recent.size() <= kMostEpisodes) return Kind::Began;

    subject.Unsteady = true;
    subject.Since = recent.front().first;
    subject.Count = static_cast<int>(recent.size());
    for (const auto& [began, failedReadings] : recent)
        subject.FailedReadings += failedReadings;
    subject.NextReport = now + kFirstReport;
    return Kind::Unsteady;
}

void Episodes::End(const DeviceId& id, Duration now, Events& events) {
    auto& subject = m_Subjects[id];
    subject.EndsBeyondTheLine = false;
    if (!std::exchange(subject.Failing, false) || subject.Unsteady) return;
    subject.Recent.back().second = subject.FailedReadings;
    events.push_back(EventOf(Kind::Ended, id, subject, now));
}

EpisodeEvent Episodes::EventOf(Kind what, const DeviceId& id, const Subject& subject, Duration now) {
    return {.What = what,
            .UnixMilliseconds = 0,
            .Port = id.Port,
            .Address = id.Address,
            .Name = subject.Name,
            .Error = subject.Error,
            .Count = subject.Unsteady ? subject.Count : 1,
            .FailedReadings = subject.FailedReadings,
            .Lasted = now - subject.Since,
            .FailsNow = subject.Failing};
}

std::string Episodes::Summary(Duration now) const {
    std::string text;
    std::size_t count = 0;
    for (const auto& [id, subject] : m_Subjects) {
        if (!subject.Failing && !subject.Unsteady) continue;
        if (++count > kMostInSummary) continue;
        const auto event = EventOf(Kind::Began, id, subject, now);
        text += (count == 1 ? "" : "; ") + SubjectText(event) + (subject.Unsteady ? ", unsteady" : "") + " (" +
                ExtentText(event) + "): " + FailureText(subject.Error);
    }
    if (count == 0) return {};
    if (count > kMostInSummary) text += "; and " + std::to_string(count - kMostInSummary) + " more";
    return "not well at the end: " + text;
}

}  // namespace orvix::station
