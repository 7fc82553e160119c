#include "platform/serial_line.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "host/error.h"
#include "host/text.h"
#include "platform/serial_device.h"

namespace orvix::platform {

namespace {

void Require(bool condition, std::string_view complaint) {
    if (!condition) throw Error(errors::General, "serial control: " + std::string(complaint));
}

class DeviceControl : public SerialControl {
public:
    explicit DeviceControl(const SerialLine& line) : m_Line(line) {}

    void DTREnable(bool rhs) override { SwitchLine(m_DTR, TIOCM_DTR, rhs); }
    void RTSEnable(bool rhs) override { SwitchLine(m_RTS, TIOCM_RTS, rhs); }

    void EOFEnable(bool rhs) override { Require(!rhs, "there is no end-of-file character"); }
    void Handshaking(std::int32_t rhs) override { Require(rhs == 0, "there is no handshaking"); }
    void InputMode(std::int32_t rhs) override { Require(rhs == 0, "input is text only"); }
    void NullDiscard(bool rhs) override { Require(!rhs, "zero bytes cannot be dropped"); }
    void RThreshold(std::int32_t rhs) override { Require(rhs == 0, "there are no receive events"); }
    void SThreshold(std::int32_t rhs) override { Require(rhs == 0, "there are no send events"); }
    /// A character of wrong parity is received as it came: the frame's checksum finds it.
    void ParityReplace(const std::string&) override {}
    /// The system's own buffer takes the output.
    void OutBufferSize(std::int32_t bytes) override { Require(bytes > 0, "an output buffer holds at least one byte"); }
    void InBufferSize(std::int32_t bytes) override;
    void InputLen(std::int32_t bytes) override;
    void Settings(const std::string& rhs) override;

    void CommPort(std::int16_t rhs) override;
    bool PortOpen() const override { return m_PortOpen; }
    void PortOpen(bool rhs) override;

    std::string InBufferCount(std::int32_t rhs) override;
    void Output(const std::string& bytes) override;
    std::string Input() override;
    void WaitForInput(Duration limit) override;

private:
    void OpenDevice();
    bool IsReplaced();
    /// Opens a lost device again.
    void EnsureDevice();
    /// Runs a step on the device. One that fails gives up the device: whatever has happened to it, the next exchange
    /// starts with a device opened anew.
    template <class Step>
    auto WithDevice(Step step) {
        Require(m_PortOpen || m_Device, "the port is not open");
        if (!m_Device) throw SystemError(PortName() + " is gone", ENODEV);
        try {
            return step(*m_Device);
        } catch (...) {
            m_Device.reset();
            throw;
        }
    }
    void SwitchLine(bool& stored, int line, bool on);
    std::string PortName() const;

    const SerialLine& m_Line;
    std::int16_t m_CommPort = 1;
    SerialFormat m_Format = ParseSerialFormat("9600,n,8,1");
    std::size_t m_InBufferSize = 1024;
    std::size_t m_InputLen = 0;
    bool m_DTR = true;
    bool m_RTS = false;
    bool m_PortOpen = false;
    bool m_HasReceived = false;                          ///< since received bytes were discarded last
    std::chrono::steady_clock::time_point m_PathSeen{};  ///< when it was known last what the path names
    std::optional<SerialDevice> m_Device;  ///< none while the port is closed, and while an open port's device is lost
};

constexpr std::int32_t kLargestBuffer = 32767;

void DeviceControl::InBufferSize(std::int32_t bytes) {
    Require(bytes > 0 && bytes <= kLargestBuffer, "an input buffer holds 1 to 32767 bytes");
    m_InBufferSize = static_cast<std::size_t>(bytes);
}

void DeviceControl::InputLen(std::int32_t bytes) {
    Require(bytes >= 0 && bytes <= kLargestBuffer, "input takes 1 to 32767 bytes, or 0 for all");
    m_InputLen = static_cast<std::size_t>(bytes);
}

void DeviceControl::Settings(const std::string& rhs) {
    m_Format = ParseSerialFormat(rhs);
    if (m_Device) WithDevice([&](SerialDevice& device) { device.Format(m_Format); });
}

void DeviceControl::SwitchLine(bool& stored, int line, bool on) {
    stored = on;
    if (m_Device) WithDevice([&](SerialDevice& device) { device.ModemLine(line, on); });
}

void DeviceControl::CommPort(std::int16_t rhs) {
    Require(rhs > 0, "there is no port " + NumberText(std::int32_t{rhs}));
    Require(!m_PortOpen, "the port number cannot change while the port is open");
    m_CommPort = rhs;
}

std::string DeviceControl::PortName() const {
    return "port " + NumberText(std::int32_t{m_CommPort}) + " (" + m_Line.DeviceFile(m_CommPort) + ")";
}

void DeviceControl::PortOpen(bool rhs) {
    Require(!rhs || !m_PortOpen, "the port is open already");
    m_Device.reset();
    m_PortOpen = false;
    if (!rhs) return;
    OpenDevice();
    m_PortOpen = true;
}

void DeviceControl::OpenDevice() {
    m_Device.emplace(PortName(), m_Line.DeviceFile(m_CommPort), m_Format);
    SwitchLine(m_DTR, TIOCM_DTR, m_DTR);
    SwitchLine(m_RTS, TIOCM_RTS, m_RTS);
}

void DeviceControl::EnsureDevice() {
    Require(m_PortOpen, "the port is not open");
    if (!m_Device) OpenDevice();
}

std::string DeviceControl::InBufferCount(std::int32_t rhs) {
    Require(rhs == 0, "received bytes can only be discarded all at once");
    // A device that went and came back, or was replaced by another under the same name, is noticed here, before an
    // exchange is lost on it.
    std::string discarded;
    if (m_Device && (IsReplaced() || !m_Device->DiscardInput(discarded))) m_Device.reset();
    EnsureDevice();
    return discarded;
}

bool DeviceControl::IsReplaced() {
    // While the line brings something, one look at the path holds for a while: it costs more than the rest of the calls
    // before an exchange.
    constexpr Duration kHolds = std::chrono::milliseconds(100);
    const auto now = std::chrono::steady_clock::now();
    const bool holds = m_HasReceived && now - m_PathSeen < kHolds;
    m_HasReceived = false;
    if (holds) return false;
    m_PathSeen = now;
    return m_Device->IsReplaced(m_Line.DeviceFile(m_CommPort));
}

void DeviceControl::Output(const std::string& bytes) {
    EnsureDevice();
    WithDevice([&](SerialDevice& device) { device.Write(bytes); });
}

std::string DeviceControl::Input() {
    const std::size_t limit = m_InputLen == 0 ? m_InBufferSize : std::min(m_InputLen, m_InBufferSize);
    std::string bytes = WithDevice([&](SerialDevice& device) { return device.Read(limit); });
    if (!bytes.empty()) m_HasReceived = true;
    return bytes;
}

void DeviceControl::WaitForInput(Duration limit) {
    WithDevice([&](SerialDevice& device) { device.WaitForInput(limit); });
}

}  // namespace

std::unique_ptr<SerialControl> SerialLine::CreateSerialControl() {
    return std::make_unique<DeviceControl>(*this);
}

std::string SerialLine::DeviceFile(std::int16_t port) const {
    const auto entry = m_Ports.find(port);
    return entry != m_Ports.end() ? entry->second : "/dev/ttyS" + std::to_string(port - 1);
}

}  // namespace orvix::platform
