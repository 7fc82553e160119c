#include "tests/support/scripted_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <sstream>
#include <utility>

#include "host/error.h"

namespace orvix::tests {

std::string Bytes(const std::string& hex) {
    std::istringstream in(hex);
    std::string bytes;
    for (std::string byte; in >> byte;)
        bytes += static_cast<char>(std::stoi(byte, nullptr, 16));
    return bytes;
}

std::string Hex(const std::string& bytes) {
    std::string hex;
    char text[4];
    for (const char byte : bytes) {
        std::snprintf(text, sizeof(text), " %02X", static_cast<unsigned char>(byte));
        hex += hex.empty() ? text + 1 : text;
    }
    return hex;
}

class ScriptedControl : public SerialControl {
public:
    explicit ScriptedControl(ScriptedLine& line) : m_Line(line) {}

    void DTREnable(bool rhs) override { Log("DTREnable", rhs); }
    void EOFEnable(bool rhs) override { Log("EOFEnable", rhs); }
    void Handshaking(std::int32_t rhs) override { Log("Handshaking", rhs); }
    void InBufferSize(std::int32_t bytes) override { Log("InBufferSize", bytes); }
    void InputLen(std::int32_t bytes) override { Log("InputLen", bytes); }
    void InputMode(std::int32_t rhs) override { Log("InputMode", rhs); }
    void NullDiscard(bool rhs) override { Log("NullDiscard", rhs); }
    void OutBufferSize(std::int32_t bytes) override { Log("OutBufferSize", bytes); }
    void ParityReplace(const std::string& rhs) override { Log("ParityReplace", rhs); }
    void RThreshold(std::int32_t rhs) override { Log("RThreshold", rhs); }
    void RTSEnable(bool rhs) override { Log("RTSEnable", rhs); }
    void Settings(const std::string& rhs) override { Log("Settings", rhs); }
    void SThreshold(std::int32_t rhs) override { Log("SThreshold", rhs); }
    void CommPort(std::int16_t rhs) override { Log("CommPort", std::int32_t{rhs}); }

    bool PortOpen() const override { return m_Line.Open; }
    void PortOpen(bool rhs) override {
        Log("PortOpen", rhs);
        m_Line.Open = false;
        m_Line.m_Lost = true;
        if (!rhs) return;
        Reopen();
        m_Line.Open = true;
    }

    std::string InBufferCount(std::int32_t rhs) override {
        Log("InBufferCount", rhs);
        auto discarded = TakeArrived();
        Reopen();
        return discarded;
    }
    void Output(const std::string& bytes) override;
    std::string Input() override {
        const std::string bytes = TakeArrived();
        if (bytes.empty()) RequireLine();
        return bytes;
    }
    void WaitForInput(Duration limit) override {
        RequireLine();
        const Duration now = m_Line.m_Apartment.Now();
        const Duration arrival = m_Incoming.empty() ? now + limit : m_Incoming.begin()->first;
        m_Line.Waiting = true;
        m_Line.m_Apartment.Block(std::clamp(arrival - now, Duration::zero(), std::max(limit, Duration::zero())));
        m_Line.Waiting = false;
    }

private:
    void Log(const std::string& property, const std::string& value) { m_Line.Log.push_back(property + "=" + value); }
    void Log(const std::string& property, std::int32_t value) { Log(property, std::to_string(value)); }
    void Log(const std::string& property, bool value) { Log(property, std::string(value ? "True" : "False")); }

    std::string TakeArrived() {
        std::string bytes;
        while (!m_Line.m_Lost && !m_Incoming.empty() && m_Incoming.begin()->first <= m_Line.m_Apartment.Now()) {
            bytes += m_Incoming.begin()->second.Bytes;
            m_Line.m_Lost = m_Incoming.begin()->second.HangsUp;
            m_Incoming.erase(m_Incoming.begin());
        }
        return bytes;
    }
    void RequireLine() const {
        if (m_Line.m_Lost) throw SystemError("The line has vanished", EIO);
    }
    void Reopen() {
        if (!m_Line.m_Lost) return;
        if (m_Line.m_Apartment.Now() < m_Line.MissingUntil) throw SystemError("The port cannot be opened", ENOENT);
        m_Line.m_Lost = false;
        m_Incoming.clear();
    }

    ScriptedLine& m_Line;
    std::multimap<Duration, Chunk> m_Incoming;  ///< by time of arrival
};

void ScriptedControl::Output(const std::string& bytes) {
    Log("Output", Hex(bytes));
    if (!m_Line.Open) throw Error(errors::General, "The port is not open");
    Reopen();
    const Response response = m_Line.Answer(bytes);
    m_Line.m_Lost = response.WriteFails;
    RequireLine();
    Duration arrival = m_Line.m_Apartment.Now();
    for (const auto& chunk : response.Reply) {
        arrival += chunk.After;
        m_Incoming.emplace(arrival, chunk);
    }
}

Response ScriptedLine::Answer(const std::string& request) {
    if (m_Script.empty()) return Respond ? Respond(request) : Response{};
    Exchange exchange = std::move(m_Script.front());
    m_Script.pop_front();
    EXPECT_EQ(Hex(request), Hex(exchange.Request));
    return std::move(exchange.Answer);
}

void ScriptedLine::Expect(const std::string& requestHex, std::vector<Chunk> reply) {
    m_Script.push_back({orvix::tests::Bytes(requestHex), {std::move(reply)}});
}

std::unique_ptr<SerialControl> ScriptedLine::CreateSerialControl() {
    return std::make_unique<ScriptedControl>(*this);
}

}  // namespace orvix::tests
