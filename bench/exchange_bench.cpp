#include <fcntl.h>
#include <modbus.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "bench/one_processor.h"
#include "bench/responder.h"
#include "bench/test_station.h"
#include "devices/protocol/frame.h"
#include "driver/cOrvixDriverNB1.h"
#include "driver/exchange.h"
#include "host/messaging.h"
#include "host/text.h"
#include "platform/real_apartment.h"
#include "platform/serial_line.h"
#include "station/line/line_tap.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix::bench {
namespace {

constexpr int kExchanges = 1000;
constexpr int kRounds = 21;
constexpr std::int16_t kPort = 1;
constexpr std::int16_t kAddress = 5;
const std::string kCommand("\x0B\x00", 2);
const std::string kPayload("\x03\x40\x00\x00", 4);

void Require(bool condition, const char* complaint) {
    if (!condition) throw std::runtime_error(complaint);
}

std::string OwnRequest() {
    return BuildFrame(kAddress, kCommand, {});
}
std::string OwnReply() {
    return BuildFrame(kAddress, kCommand, kPayload);
}

/// The library's exchange on a line of this machine, as the driver's engine runs it.
class ExchangeOnly {
public:
    explicit ExchangeOnly(TestStation& station)
        : m_Responder(OwnRequest().size(), OwnReply()),
          m_Line({{kPort, m_Responder.Path()}}),
          m_Host(station.ServicesFor(kPort, m_Responder.Path()), m_Apartment, m_Line),
          m_Errors(m_Host.Get()),
          m_Control(m_Line.CreateSerialControl()) {
        m_Control->CommPort(kPort);
        m_Control->PortOpen(true);
    }

    void Run() {
        const auto result = Exchange(m_Host.Get().Apartment, *m_Control, m_Errors, m_Request);
        Require(result.Reply == kPayload, result.Text.c_str());
    }

private:
    Responder m_Responder;
    platform::RealApartment m_Apartment;
    platform::SerialLine m_Line;
    station::BusServices m_Host;
    cPlexaERR m_Errors;
    std::unique_ptr<SerialControl> m_Control;
    ExchangeRequest m_Request{kAddress, kCommand, 100, {}};
};

/// A whole work item on a line that the program listens to: the driver is sent a task, loads it, exchanges, and sends
/// the task back with its result.
class WorkItem {
public:
    explicit WorkItem(TestStation& station)
        : m_Responder(OwnRequest().size(), OwnReply()),
          m_SerialLine({{kPort, m_Responder.Path()}}),
          m_Line(m_SerialLine, m_Apartment, m_Responder.Path(), [](const station::LineEvent&) {}),
          m_Host(station.ServicesFor(kPort, m_Responder.Path()), m_Apartment, m_Line),
          m_Driver(m_Host.Get()),
          m_Adapter(m_Host.Get().Messaging.CreateChannel()) {
        iOrvixDriver& driver = m_Driver;
        ChannelEvents events;
        events.CustomMessage = [this](const std::string& message, bool&) { m_Received = message; };
        m_Adapter->Events(std::move(events));
        m_Adapter->DeliverEvents(true);
        m_Adapter->Name("adapter");
        m_Adapter->PeerName(driver.ServerIPCName());
        m_Adapter->Activate(true);
        driver.SubscriberIPCName("adapter");
        driver.PortType(2);
        driver.PortAddress(NumberText(std::int32_t{kPort}));
        m_Adapter->SendCustomMessage("CONNECT");
        Require(Await("CONNECTED"), "the driver does not connect");
        iOrvixTaskNB1& task = m_Task;
        task.GetVar(ORVIXCNB1_VAR_TEMPERATURE);
        task.DeviceModel(106);
        task.DeviceAddress(NumberText(std::int32_t{kAddress}));
        task.NetTimeoutInterval(100);
        task.Cmd(kCommand);
    }

    void Run() {
        iOrvixTaskNB1& task = m_Task;
        const auto entry = m_Host.Get().Messaging.CreateSharedEntry();
        entry->Create("");
        entry->Data().ArgumentList.push_back(task.GetSuperState());
        m_Adapter->SendNewWork(entry->Name());
        Require(Await(m_Done), "the driver does not answer");
        iOrvixTaskNB1& answer = m_Answer;
        answer.SetSuperState(entry->Data().ResultList.at(0));
        Require(answer.RtnArgs() == VariantList{kPayload}, "the driver answers something else");
    }

private:
    bool Await(const std::string& message) {
        m_Received.clear();
        return m_Host.Apartment().PumpUntil([&] { return m_Received == message; }, std::chrono::seconds(2));
    }

    Responder m_Responder;
    platform::RealApartment m_Apartment;
    platform::SerialLine m_SerialLine;
    station::LineTap m_Line;
    station::BusServices m_Host;
    cOrvixDriverNB1 m_Driver;
    std::unique_ptr<Channel> m_Adapter;
    std::string m_Received;
    const std::string m_Done = JoinFields({"TASKCOMPLETE", "0", ""});
    cOrvixTaskNB1 m_Task{m_Host.Get()};
    cOrvixTaskNB1 m_Answer{m_Host.Get()};
};

std::string WithCrc(std::string bytes) {
    std::uint16_t crc = 0xFFFF;
    for (const char byte : bytes) {
        crc = static_cast<std::uint16_t>(crc ^ static_cast<std::uint8_t>(byte));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>(crc & 1 ? crc >> 1 ^ 0xA001 : crc >> 1);
    }
    bytes += static_cast<char>(crc & 0xFF);
    bytes += static_cast<char>(crc >> 8);
    return bytes;
}

/// Two registers of a Modbus RTU device, four bytes of payload as in the library's own reply.
class Modbus {
public:
    Modbus()
        : m_Responder(8, WithCrc(std::string("\x05\x03\x04", 3) + kPayload)),
          m_Context(modbus_new_rtu(m_Responder.Path().c_str(), 9600, 'N', 8, 1)) {
        Require(m_Context != nullptr, "libmodbus: no context");
        modbus_set_slave(m_Context, kAddress);
        Require(modbus_connect(m_Context) == 0, "libmodbus: no connection");
    }
    ~Modbus() {
        modbus_close(m_Context);
        modbus_free(m_Context);
    }
    Modbus(const Modbus&) = delete;
    Modbus& operator=(const Modbus&) = delete;

    void Run() {
        std::array<std::uint16_t, 2> registers{};
        Require(modbus_read_registers(m_Context, 0, 2, registers.data()) == 2, "libmodbus: no answer");
        Require(registers[0] == 0x0340, "libmodbus: wrong registers");
    }

private:
    Responder m_Responder;
    modbus_t* m_Context;
};

/// The same bytes as the library's exchange with nothing around them: what the system itself costs.
class PingPong {
public:
    PingPong()
        : m_Responder(OwnRequest().size(), OwnReply()),
          m_Descriptor(open(m_Responder.Path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        termios settings{};
        Require(m_Descriptor >= 0 && tcgetattr(m_Descriptor, &settings) == 0, "ping-pong: no terminal");
        cfmakeraw(&settings);
        tcsetattr(m_Descriptor, TCSANOW, &settings);
    }
    ~PingPong() { close(m_Descriptor); }
    PingPong(const PingPong&) = delete;
    PingPong& operator=(const PingPong&) = delete;

    void Run() {
        const auto length = static_cast<ssize_t>(m_Request.size());
        Require(write(m_Descriptor, m_Request.data(), m_Request.size()) == length, "ping-pong: write");
        std::array<char, 64> buffer{};
        for (std::size_t got = 0; got < m_ReplyLength;) {
            pollfd input{m_Descriptor, POLLIN, 0};
            Require(poll(&input, 1, 2000) == 1, "ping-pong: no answer");
            const auto count = read(m_Descriptor, buffer.data() + got, buffer.size() - got);
            Require(count > 0, "ping-pong: read");
            got += static_cast<std::size_t>(count);
        }
    }

private:
    Responder m_Responder;
    int m_Descriptor;
    std::string m_Request = OwnRequest();
    std::size_t m_ReplyLength = OwnReply().size();
};

/// Rate per second, median and 99th percentile of the time in microseconds, processor time of the caller in
/// microseconds; in the order of kMetrics.
using Figures = std::array<double, 4>;

const std::vector<Metric> kMetrics = {
    {"rate", "1/s", kNoAim}, {"p50", "us", kNoAim}, {"p99", "us", kNoAim}, {"processor time", "us", kNoAim}};

std::vector<Metric> WithAims(Aim rate, Aim processorTime) {
    auto metrics = kMetrics;
    metrics[0].Wanted = rate;
    metrics[3].Wanted = processorTime;
    return metrics;
}

template <class Exchanger>
Figures Measure(Exchanger& exchanger) {
    std::vector<double> times;
    times.reserve(kExchanges);
    const double startWall = WallTime();
    const double startThread = ThreadTime();
    double last = startWall;
    for (int i = 0; i < kExchanges; ++i) {
        exchanger.Run();
        const double now = WallTime();
        times.push_back((now - last) / 1e3);
        last = now;
    }
    const double processorTime = ThreadTime() - startThread;
    return {kExchanges / (last - startWall) * 1e9, Quantile(times, 0.5), Quantile(times, 0.99),
            processorTime / kExchanges / 1e3};
}

template <class Own, class Peer>
void Compare(const std::string& subject, std::vector<Metric> metrics, Own& own, Peer& peer) {
    AddComparison(subject, std::move(metrics), kRounds, [&own, &peer](int number) {
        const OneProcessor here;
        Figures ownFigures{}, peerFigures{};
        if (number % 2 != 0) peerFigures = Measure(peer);
        ownFigures = Measure(own);
        if (number % 2 == 0) peerFigures = Measure(peer);
        std::vector<Pair> pairs;
        for (std::size_t i = 0; i < ownFigures.size(); ++i)
            pairs.push_back({ownFigures[i], peerFigures[i]});
        return pairs;
    });
}

}  // namespace

void AddExchangeComparisons(TestStation& station) {
    // Askers and responders share a processor. Waking another one costs more than an exchange, and whether it is needed
    // is up to where the system puts the threads.
    const OneProcessor here;
    // All of them stay open to the end; only the one that is measured has anything to do.
    static ExchangeOnly exchange(station);
    static WorkItem workItem(station);
    static Modbus modbus;
    static PingPong pingPong;
    const auto aims = WithAims(AtLeast(1.05), AtMost(0.8));
    Compare("exchange : libmodbus", aims, exchange, modbus);
    Compare("work item : libmodbus", aims, workItem, modbus);
    Compare("exchange : ping-pong", kMetrics, exchange, pingPong);
    Compare("work item : ping-pong", kMetrics, workItem, pingPong);
    Compare("libmodbus : ping-pong", kMetrics, modbus, pingPong);
}

}  // namespace orvix::bench
