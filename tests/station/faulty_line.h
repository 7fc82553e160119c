#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "station/line/echo_filter.h"
#include "station/line/exchange_tracker.h"
#include "station/run/diagnosis.h"
#include "station/run/health_book.h"

namespace orvix::tests {

/// A bus of sensors that a driver polls every second, told to a book of health. What is heard after a request is a
/// fault's matter. Times are virtual.
class FaultyLine {
public:
    static constexpr int kFirst = 5;
    static constexpr int kIll = 7;  ///< the address that has a fault
    static constexpr int kAll = 0;  ///< all have it
    static constexpr int kRetries = 3;
    static constexpr std::chrono::milliseconds kTimeOut{50};
    /// The command that reads a temperature.
    static inline const std::string kCommand{"\x0B\x00", 2};

    /// What is heard after a request, and how long after it.
    struct Answer {
        Duration After = std::chrono::milliseconds(2);
        std::string Bytes;
    };
    /// `reply`: the whole answer of a device that is well. `request`: of this address, counted from 0.
    using Fault = std::function<std::vector<Answer>(const std::string& reply, int request)>;

    explicit FaultyLine(int devices = 5, std::chrono::milliseconds asked = std::chrono::seconds(1)) {
        m_Setup.PortLabel = "A";
        m_Setup.Every = asked;
        m_Setup.Retries = kRetries;
        for (int address = kFirst; address < kFirst + devices; ++address)
            m_Setup.Devices.push_back({address, kTemperatureSensorModel, {}, {}});
        m_Book.OnSetup(m_Setup);
        Tell(station::LineEvent::Kind::Opened);
    }

    void Tell(station::LineEvent::Kind what, const std::string& bytes = {}, const std::string& reason = {}) {
        const station::LineEvent event{.Time = m_Now, .Port = "A", .What = what, .Bytes = bytes, .Reason = reason};
        m_Book.OnLine(event);
        m_Tracker.Take(event);
    }

    void Poll(int rounds, const Fault& fault, int ill = kIll) {
        for (int round = 0; round < rounds; ++round) {
            const auto next = m_Now + (HasPauses ? std::chrono::seconds(1) : std::chrono::seconds(0));
            GoodReadings = 0;
            for (const auto& device : m_Setup.Devices)
                Read(device.Address, device.Address == ill || ill == kAll ? fault : Well);
            m_Now = std::max(m_Now, next);
        }
    }

    std::vector<station::Finding> Findings() { return Diagnose(Health()); }
    station::BusHealth Health() { return m_Book.At(m_Now, 0, {}).Buses[0]; }
    void Pass(Duration time) { m_Now += time; }
    /// The port has gone, so that readings fail without an exchange.
    void Unplug(int rounds) {
        Tell(station::LineEvent::Kind::Failed, {}, "no such device");
        for (int round = 0; round < rounds; ++round) {
            for (const auto& device : m_Setup.Devices) {
                station::Reading reading;
                reading.Port = "A";
                reading.Address = device.Address;
                reading.Error.Code = errors::General;
                m_Book.OnReading(reading);
            }
            Pass(m_Setup.Every);
        }
    }
    /// Bytes that come so long after now, whoever has sent them.
    void Comes(Duration after, const std::string& bytes) { m_Coming.emplace(m_Now + after, bytes); }
    /// Another device at the address, told as when a configuration is read again.
    void Replace(int address) {
        m_Book.OnDeviceGone(station::IdOf("A", address));
        m_Book.OnSetup(m_Setup);
    }

    /// A round a second; else each request follows the one before at once.
    bool HasPauses = true;
    /// The converter echoes what it sends.
    bool Echoes = false;
    /// Of the latest round.
    int GoodReadings = 0;

    static std::vector<Answer> Well(const std::string& reply, int) { return {{std::chrono::milliseconds(20), reply}}; }

private:
    void Read(int address, const Fault& fault) {
        const auto reply = BuildFrame(address, kCommand, RealToBytes(21.5F));
        station::Reading reading;
        reading.Port = "A";
        reading.Address = address;
        reading.Error.Code = errors::TimeOut;
        for (int attempt = 0; attempt <= kRetries; ++attempt) {
            Discard();
            const auto request = BuildFrame(address, kCommand, {});
            m_Echo.Send(request);
            Tell(station::LineEvent::Kind::Sent, request);
            if (Echoes) Comes(std::chrono::milliseconds(1), request);
            Send(fault(reply, m_Requests[address]++));
            const auto received = Receive(address);
            if (received.error != errors::None) continue;
            if (received.payload == RealToBytes(21.5F)) {
                reading.Value = 21.5;
                ++GoodReadings;
            }
            reading.Error.Code = errors::BadFrame;
            break;
        }
        m_Tracker.Settle();
        m_Book.OnReading(reading);
    }

    /// A device that finds the line in use waits until it is free.
    void Send(const std::vector<Answer>& answers) {
        constexpr std::chrono::milliseconds kByte{1};
        if (answers.empty()) return;
        auto first = m_Now + answers.front().After;
        const auto lasts = answers.back().After - answers.front().After;
        for (const auto& [at, bytes] : m_Coming)
            if (at > first - kByte && at < first + lasts + kByte) first = at + kByte;
        for (const auto& answer : answers)
            m_Coming.emplace(first + (answer.After - answers.front().After), answer.Bytes);
    }

    void Discard() {
        auto bytes = m_Echo.TakeKept();
        while (!m_Coming.empty() && m_Coming.begin()->first <= m_Now)
            bytes += TakeNext();
        if (!bytes.empty()) Tell(station::LineEvent::Kind::Discarded, bytes);
    }

    /// As the driver does: until the frame is whole or the time is over.
    Reply Receive(int address) {
        const auto end = m_Now + kTimeOut;
        std::string received;
        while (!m_Coming.empty() && m_Coming.begin()->first <= end) {
            m_Now = std::max(m_Now, m_Coming.begin()->first);
            const auto [echo, bytes] = m_Echo.Take(TakeNext());
            received += bytes;
            if (!echo.empty()) Tell(station::LineEvent::Kind::Echoed, echo);
            if (!bytes.empty()) Tell(station::LineEvent::Kind::Received, bytes);
            const auto length = FrameLength(received);
            if (length && received.size() >= *length) return CheckReply(received, address);
        }
        m_Now = end;
        return {.error = errors::TimeOut, .payload = {}, .code = {}};
    }

    std::string TakeNext() { return m_Coming.extract(m_Coming.begin()).mapped(); }

    station::BusSetup m_Setup;
    station::HealthBook m_Book;
    station::EchoFilter m_Echo;
    station::ExchangeTracker m_Tracker{kRetries, kTimeOut,
                                       [this](const station::Exchange& exchange) { m_Book.OnExchange(exchange); }};
    Duration m_Now = std::chrono::seconds(1000);
    std::map<int, int> m_Requests;
    std::multimap<Duration, std::string> m_Coming;
};

using Answers = std::vector<FaultyLine::Answer>;

/// One bit of one byte is wrong.
inline std::string Damaged(std::string reply, std::size_t offset) {
    reply[offset] = static_cast<char>(reply[offset] ^ 0x10);
    return reply;
}

/// Bytes as they come off a line of 9600 baud.
inline Answers Paced(Duration after, const std::string& bytes) {
    Answers answers;
    for (const char byte : bytes)
        answers.push_back({after += std::chrono::milliseconds(1), {byte}});
    return answers;
}

/// What a receiver at another rate makes of bytes that come off a line at 9600 baud, one right behind the other: one
/// start bit, eight data bits, no parity, one stop bit.
inline std::string SampledAt(double baud, const std::string& bytes) {
    std::vector<bool> line;
    for (const char byte : bytes) {
        line.push_back(false);
        for (int bit = 0; bit < 8; ++bit)
            line.push_back((static_cast<unsigned char>(byte) >> bit & 1) != 0);
        line.push_back(true);
    }
    const double width = 9600 / baud;
    const auto levelAt = [&](double at) {
        return at >= static_cast<double>(line.size()) || line[static_cast<std::size_t>(at)];
    };
    std::string sampled;
    for (double at = 0; at < static_cast<double>(line.size());) {
        if (levelAt(at)) {
            at += std::min(width, 1.0) / 8;
            continue;
        }
        unsigned value = 0;
        for (int bit = 0; bit < 8; ++bit)
            value |= static_cast<unsigned>(levelAt(at + width * (1.5 + bit))) << bit;
        sampled += static_cast<char>(static_cast<unsigned char>(value));
        at += width * 9.5;
    }
    return sampled;
}

}  // namespace orvix::tests
