#include "station/line/line_tap.h"

#include <exception>
#include <utility>

#include "station/line/echo_filter.h"

namespace orvix::station {
namespace {

using Kind = LineEvent::Kind;
using Tell = std::function<void(LineEvent)>;

class TappedControl : public SerialControl {
    /// Runs a step and tells its failure.
    template <class Step>
    auto Watched(Step step) {
        try {
            return step();
        } catch (const std::exception& error) {
            m_Tell({.Time = m_Apartment.Now(), .What = Kind::Failed, .Reason = error.what()});
            throw;
        }
    }

public:
    TappedControl(std::unique_ptr<SerialControl> control, const Apartment& apartment, Tell tell)
        : m_Control(std::move(control)), m_Apartment(apartment), m_Tell(std::move(tell)) {}

    void DTREnable(bool rhs) override {
        Watched([&] { m_Control->DTREnable(rhs); });
    }
    void EOFEnable(bool rhs) override { m_Control->EOFEnable(rhs); }
    void Handshaking(std::int32_t rhs) override { m_Control->Handshaking(rhs); }
    void InBufferSize(std::int32_t bytes) override { m_Control->InBufferSize(bytes); }
    void InputLen(std::int32_t bytes) override { m_Control->InputLen(bytes); }
    void InputMode(std::int32_t rhs) override { m_Control->InputMode(rhs); }
    void NullDiscard(bool rhs) override { m_Control->NullDiscard(rhs); }
    void OutBufferSize(std::int32_t bytes) override { m_Control->OutBufferSize(bytes); }
    void ParityReplace(const std::string& rhs) override { m_Control->ParityReplace(rhs); }
    void RThreshold(std::int32_t rhs) override { m_Control->RThreshold(rhs); }
    void RTSEnable(bool rhs) override {
        Watched([&] { m_Control->RTSEnable(rhs); });
    }
    void Settings(const std::string& rhs) override { m_Control->Settings(rhs); }
    void SThreshold(std::int32_t rhs) override { m_Control->SThreshold(rhs); }
    void CommPort(std::int16_t rhs) override { m_Control->CommPort(rhs); }
    bool PortOpen() const override { return m_Control->PortOpen(); }

    void PortOpen(bool rhs) override {
        Watched([&] { m_Control->PortOpen(rhs); });
        m_Echo.Reset();
        Happened(rhs ? Kind::Opened : Kind::Closed);
    }
    std::string InBufferCount(std::int32_t rhs) override {
        auto discarded = m_Echo.TakeKept();
        discarded += Watched([&] { return m_Control->InBufferCount(rhs); });
        if (!discarded.empty()) Happened(Kind::Discarded, discarded);
        return discarded;
    }
    void Output(const std::string& bytes) override {
        const auto began = m_Apartment.Now();
        m_Echo.Send(bytes);
        const auto tell = [&] {
            m_Tell({.Time = began, .What = Kind::Sent, .Bytes = bytes, .Lasted = m_Apartment.Now() - began});
        };
        try {
            m_Control->Output(bytes);
        } catch (const std::exception& error) {
            tell();
            m_Tell({.Time = m_Apartment.Now(), .What = Kind::Failed, .Reason = error.what()});
            throw;
        }
        tell();
    }
    std::string Input() override {
        auto [echo, bytes] = m_Echo.Take(Watched([&] { return m_Control->Input(); }));
        if (!echo.empty()) Happened(Kind::Echoed, echo);
        Happened(bytes.empty() ? Kind::Waited : Kind::Received, bytes);
        return bytes;
    }
    void WaitForInput(Duration limit) override {
        Watched([&] { m_Control->WaitForInput(limit); });
    }

private:
    void Happened(Kind what, const std::string& bytes = {}) {
        m_Tell({.Time = m_Apartment.Now(), .What = what, .Bytes = bytes});
    }

    std::unique_ptr<SerialControl> m_Control;
    const Apartment& m_Apartment;
    Tell m_Tell;
    EchoFilter m_Echo;
};

}  // namespace

LineTap::LineTap(Line& line, const Apartment& apartment, std::string port, LineListener listener)
    : m_Line(line), m_Apartment(apartment), m_Port(std::move(port)), m_Listener(std::move(listener)) {}

std::unique_ptr<SerialControl> LineTap::CreateSerialControl() {
    return std::make_unique<TappedControl>(m_Line.CreateSerialControl(), m_Apartment, [this](LineEvent event) {
        event.Port = m_Port;
        m_Listener(event);
    });
}

}  // namespace orvix::station
