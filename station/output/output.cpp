#include "station/output/output.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

#include "host/text.h"
#include "station/bus/clock.h"

namespace orvix::station {
namespace {

std::string CodeText(ErrorNumber code) {
    return "0x" + HexText(code);
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

// A text on one line, without the control characters that would steer a terminal.
std::string Printable(std::string text) {
    text = ReplaceAll(ReplaceAll(std::move(text), kLineBreak, " | "), std::string(1, kFieldSeparator), " | ");
    const auto steers = [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), steers, ' ');
    return text;
}

class PlainOutput final : public Output {
public:
    PlainOutput(std::ostream& out, std::ostream& err) : m_Out(out), m_Err(err) {}

    void Show(const Reading& reading) override {
        m_Out << ClockText(reading.UnixMilliseconds) << "  " << Padded(NumberText(std::int32_t{reading.Address}), 3)
              << "  " << Padded(Printable(reading.Name), 26) << "  " << Padded(reading.Variable, 11) << "  "
              << Shown(reading) << std::endl;
    }
    void Show(const TraceLine& line) override {
        m_Out << line.Clock << "  " << line.Program << " " << line.Thread << "  " << Printable(line.Text) << std::endl;
    }
    void Trouble(const std::string& port, const Failure& failure) override {
        m_Err << "nimbo1: " << port << ": " << failure.Text << std::endl;
    }
    void Message(const std::string& port, const std::string& text) override {
        m_Err << "nimbo1: " << port << ": " << text << std::endl;
    }
    void Note(const std::string& text) override { m_Err << "nimbo1: " << text << std::endl; }

private:
    static std::string Shown(const Reading& reading) {
        if (!reading.Valid()) return "-- " + reading.Error.Text + " (" + CodeText(reading.Error.Code) + ")";
        if (const auto* degrees = std::get_if<double>(&reading.Value)) {
            // More decimals than a sensor of this kind is worth only disturb the column.
            return NumberText(std::round(*degrees * 100) / 100) + " °C";
        }
        if (const auto* inputs = std::get_if<std::int32_t>(&reading.Value)) {
            return Padded(ValueText(reading), 4) + std::bitset<8>(static_cast<unsigned>(*inputs)).to_string();
        }
        return ValueText(reading);
    }

    std::ostream& m_Out;
    std::ostream& m_Err;
};

using Json = nlohmann::ordered_json;

class JsonOutput final : public Output {
public:
    JsonOutput(std::ostream& out, std::ostream& err) : m_Out(out), m_Err(err) {}

    void Show(const Reading& reading) override {
        Json object{{"time", IsoText(reading.UnixMilliseconds)},
                    {"event", "reading"},
                    {"port", reading.Port},
                    {"address", reading.Address},
                    {"model", reading.Model},
                    {"name", reading.Name},
                    {"variable", reading.Variable},
                    {"value", std::visit([](const auto& value) { return ToJson(value); }, reading.Value)},
                    {"valid", reading.Valid()}};
        if (!reading.Valid()) object["error"] = ToJson(reading.Error);
        Write(object);
    }
    void Show(const TraceLine& line) override {
        Write({{"time", line.Day + "T" + line.Clock + "Z"},
               {"event", "trace"},
               {"program", line.Program},
               {"thread", line.Thread},
               {"text", line.Text}});
    }
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
    static Json ToJson(std::monostate) { return nullptr; }
    template <class T>
    static Json ToJson(const T& value) {
        return value;
    }
    static Json ToJson(const Failure& failure) {
        return {{"code", CodeText(failure.Code)}, {"text", failure.Text}, {"detail", failure.Detail}};
    }
    void Write(const Json& object) {
        // Texts may hold bytes off the line that are no UTF-8.
        m_Out << object.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
    }

    std::ostream& m_Out;
    std::ostream& m_Err;
};

}  // namespace

std::string ValueText(const Reading& reading) {
    if (const auto* degrees = std::get_if<double>(&reading.Value)) return NumberText(*degrees);
    if (const auto* inputs = std::get_if<std::int32_t>(&reading.Value)) return NumberText(*inputs);
    const auto* text = std::get_if<std::string>(&reading.Value);
    return text == nullptr ? std::string() : *text;
}

std::unique_ptr<Output> MakePlainOutput(std::ostream& out, std::ostream& err) {
    return std::make_unique<PlainOutput>(out, err);
}

std::unique_ptr<Output> MakeJsonOutput(std::ostream& out, std::ostream& err) {
    return std::make_unique<JsonOutput>(out, err);
}

}  // namespace orvix::station
