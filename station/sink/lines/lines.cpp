#include "station/sink/lines/lines.h"

#include <chrono>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <utility>

#include "host/characters.h"
#include "host/text.h"
#include "station/json/json.h"
#include "station/model/clock.h"
#include "station/model/known_failures.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

class PlainOutput final : public Output {
public:
    PlainOutput(std::ostream& out, std::ostream& err, LineStyle style) : m_Out(out), m_Err(err), m_Style(style) {}

    void Show(const Reading& reading) override {
        auto& shown = m_Shown[reading.Id()];
        if (!reading.Valid() && shown == reading.Quality) return;
        shown = reading.Quality;
        m_Out << Begin(reading.UnixMilliseconds, reading.Port, reading.Address, reading.Name)
              << Padded(reading.Variable, 11) << "  " << Padded(Shown(reading.Shown()), 12) << "  "
              << FreshnessText(reading) << std::endl;
    }
    void Forget(const DeviceId& device) override { m_Shown.erase(device); }
    void Show(const TraceLine& line) override {
        m_Out << line.Clock << "  " << line.Program << " " << line.Thread << "  " << Printable(line.Text) << std::endl;
    }
    void Tell(const EpisodeEvent& event) override {
        Say(event.FailsNow ? Severity::Warning : Severity::Notice, TextOf(event));
    }
    void Tell(const AlarmEvent& event) override {
        m_Out << Begin(event.UnixMilliseconds, event.Port, event.Address, event.Name) << Printable(TextOf(event))
              << std::endl;
    }
    void Trouble(const std::string& port, const Failure& failure) override {
        const auto cure = CureOf(failure);
        const char* const end = failure.Text.ends_with('.') ? " " : ". ";
        Say(Severity::Error, port + ": " + failure.Text + (cure.empty() ? "" : end + ("What helps: " + cure)));
    }
    void Message(const std::string& port, const std::string& text) override {
        Say(Severity::Information, port + ": " + text);
    }
    void Note(const std::string& text) override { Say(Severity::Notice, text); }

private:
    /// As the journal numbers them.
    enum class Severity { Error = 3, Warning = 4, Notice = 5, Information = 6 };

    void Say(Severity severity, const std::string& text) {
        const auto begin = m_Style.ForJournal ? "<" + std::to_string(static_cast<int>(severity)) + ">" : "nimbo1: ";
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            m_Err << begin << line << "\n";
        m_Err << std::flush;
    }
    std::string Begin(std::int64_t unixMilliseconds, const std::string& port, int address,
                      const std::string& name) const {
        return ClockText(unixMilliseconds) + "  " + (m_Style.NamesPorts ? Padded(Printable(port), 12) + "  " : "") +
               Padded(AddressText(address), 3) + "  " + Padded(Printable(name), 26) + "  ";
    }
    static std::string Shown(const ReadingValue& value) {
        const auto* inputs = std::get_if<std::int32_t>(&value);
        return inputs == nullptr ? ValueWithUnit(value) : Padded(NumberText(*inputs), 4) + BitsText(*inputs);
    }

    std::map<DeviceId, std::optional<Quality>> m_Shown;
    std::ostream& m_Out;
    std::ostream& m_Err;
    const LineStyle m_Style;
};

class JsonOutput final : public Output {
public:
    JsonOutput(std::ostream& out, std::ostream& err) : m_Out(out), m_Err(err) {}

    void Show(const Reading& reading) override { Write(ToJson(reading)); }
    void Show(const TraceLine& line) override {
        Write({{"time", line.Day + "T" + line.Clock + "Z"},
               {"event", "trace"},
               {"program", line.Program},
               {"thread", line.Thread},
               {"text", line.Text}});
    }
    void Tell(const EpisodeEvent& event) override {
        Json object{{"time", IsoText(event.UnixMilliseconds)}, {"event", EventName(event.What)}, {"port", event.Port}};
        if (event.Address != 0) {
            object["address"] = event.Address;
            object["name"] = event.Name;
        }
        object["text"] = TextOf(event);
        object["fails_now"] = event.FailsNow;
        object["episodes"] = event.Count;
        object["failed_readings"] = event.FailedReadings;
        object["lasted_ms"] = std::chrono::duration_cast<std::chrono::milliseconds>(event.Lasted).count();
        object["error"] = ToJson(event.Error);
        Write(object);
    }
    void Tell(const AlarmEvent& event) override { Write(ToJson(event)); }
    void Trouble(const std::string& port, const Failure& failure) override {
        Write({{"time", IsoText(UnixMilliseconds())},
               {"event", "message"},
               {"port", port},
               {"text", failure.Text},
               {"error", ToJson(failure)}});
    }
    void Message(const std::string& port, const std::string& text) override {
        Write({{"time", IsoText(UnixMilliseconds())}, {"event", "message"}, {"port", port}, {"text", text}});
    }
    void Note(const std::string& text) override { m_Err << "nimbo1: " << text << std::endl; }

private:
    static const char* EventName(EpisodeEvent::Kind kind) {
        switch (kind) {
            case EpisodeEvent::Kind::Began:
                return "trouble";
            case EpisodeEvent::Kind::Ended:
                return "recovery";
            case EpisodeEvent::Kind::Unsteady:
                return "unsteady";
            default:
                return "steady";
        }
    }
    void Write(const Json& object) { m_Out << Dump(object) << std::endl; }

    std::ostream& m_Out;
    std::ostream& m_Err;
};

}  // namespace

std::unique_ptr<Output> MakePlainOutput(std::ostream& out, std::ostream& err, LineStyle style) {
    return std::make_unique<PlainOutput>(out, err, style);
}

std::unique_ptr<Output> MakeJsonOutput(std::ostream& out, std::ostream& err) {
    return std::make_unique<JsonOutput>(out, err);
}

}  // namespace orvix::station
