#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <utility>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "tests/end_to_end/host_side.h"

// Every fault of the line at every stage of the connection, with the driver in either place. A cell of the matrix is
// one fault that meets one request to sensor 5 while a request to sensor 6 stands behind it. It tells what the task
// ends with, what it ends with when a second attempt is allowed, what becomes of the task behind it, and after how long
// the sensor reads well again.

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using Chunks = std::vector<Chunk>;

/// The reply with one byte changed.
template <std::size_t Offset, unsigned char Mask>
Chunks Flipped(std::string reply) {
    reply.at(Offset) = static_cast<char>(static_cast<unsigned char>(reply.at(Offset)) ^ Mask);
    return {{reply}};
}

/// What comes in place of the reply of sensor 5 to its first request.
Chunks Reply(std::string reply) {
    return {{std::move(reply)}};
}
Chunks Nothing(std::string) {
    return {};
}
Chunks Echo(std::string reply) {
    return {{BuildFrame(5, kTemperatureCommand, {})}, {std::move(reply)}};
}
Chunks Rubbish(std::string reply) {
    return {{"\xFF" + std::string(1, '\0') + reply}};
}
Chunks SecondStart(std::string reply) {
    return {{"\x1D" + reply}};
}
Chunks OfAnother(std::string reply) {
    return {{BuildFrame(6, kTemperatureCommand, RealToBytes(99))}, {std::move(reply)}};
}
Chunks Refusal(std::string) {
    return {{BuildFrame(5, std::string("\x07\x00", 2), "\xC9")}};
}
Chunks Short(std::string) {
    return {{BuildFrame(5, kTemperatureCommand, "\x83\x2C")}};
}
Chunks NoNumber(std::string) {
    return {{BuildFrame(5, kTemperatureCommand, "\xFF\xFF\xFF\xFF")}};
}
Chunks Dripping(std::string reply) {
    Chunks bytes;
    for (const char byte : reply)
        bytes.push_back({std::string(1, byte), 3ms});
    return bytes;
}
Chunks Cut(std::string reply) {
    return {{reply.substr(0, 7)}};
}
Chunks ByteLost(std::string reply) {
    return {{reply.erase(7, 1)}};
}
Chunks ByteMore(std::string reply) {
    return {{reply.insert(7, "\x55")}};
}
Chunks Doubled(std::string reply) {
    return {{reply}, {reply}};
}
template <int Milliseconds>
Chunks After(std::string reply) {
    return {{std::move(reply), std::chrono::milliseconds(Milliseconds)}};
}
Chunks HangUpFirst(std::string) {
    return {{"", 5ms, true}};
}
Chunks HangUpWithin(std::string reply) {
    return {{reply.substr(0, 7), 5ms, true}};
}
Chunks HangUpBehind(std::string reply) {
    return {{std::move(reply), 1ms, true}};
}

/// What happens to the line besides, when its turn comes.
enum class Line { Holds, HangsUpBefore, RefusesTheWrite };

/// How a task ends: its error number, and what its report begins with.
struct End {
    ErrorNumber Number;
    std::string_view Text;
};
constexpr End Good{errors::None, ""};
constexpr End TimeOut{errors::Validation, "No answer in time"};
constexpr End BadFrame{errors::Validation, "Bad frame"};
constexpr End Refused{errors::Validation, "Refused by the device"};
constexpr End Checksum{errors::Validation, "Wrong checksum"};
constexpr End NoReal{errors::TypeMismatch, "real number: "};
constexpr End Vanished{errors::Validation, "The line has vanished: Input/output error"};
constexpr End NoPort{errors::Validation, "The port cannot be opened: No such file or directory"};
constexpr End Offline{errors::NotConnected, "The device is not connected"};

/// Both without and with a second attempt.
struct Expected {
    End Itself[2];                             ///< of the task that meets the fault
    End Behind[2] = {Good, Good};              ///< of the task behind it
    std::chrono::milliseconds Recovery = 0ms;  ///< from the task's end to the next good reading
};

struct Fault {
    const char* Name;
    Chunks (*Comes)(std::string reply);
    Expected Open;  ///< while the port is open
    Line Happens = Line::Holds;
    std::chrono::milliseconds Gone = 0ms;  ///< the port cannot be opened for so long
    std::optional<Expected> Opening = {};  ///< while the port is being opened, when that differs
};

// clang-format off
constexpr auto kPause = 4000ms;  // after an attempt to connect, which takes 3000 ms, has failed
constexpr auto kTwice = kPause + 3000ms + kPause;
const Fault kFaults[] = {
    // before the reply
    {"silence",                            Nothing,             {{TimeOut,  Good}}},
    {"echo of the request",                Echo,                {{NoReal,   NoReal}}},
    {"rubbish before the reply",           Rubbish,             {{BadFrame, Good}}},
    {"a start byte before the reply",      SecondStart,         {{TimeOut,  Good}}},
    {"another device's reply",             OfAnother,           {{BadFrame, Good}}},
    {"refusal",                            Refusal,             {{Refused,  Good}}},
    {"hang-up before the request",         Reply,               {{Good,     Good}}, Line::HangsUpBefore},
    {"the write fails",                    Reply,               {{Vanished, Good}}, Line::RefusesTheWrite},
    {"hang-up before the reply",           HangUpFirst,         {{Vanished, Good}}},
    // during the reply
    {"one byte each 3 ms",                 Dripping,            {{Good,     Good}}},
    {"cut",                                Cut,                 {{TimeOut,  Good}}},
    {"a byte is lost",                     ByteLost,            {{TimeOut,  Good}}},
    {"a byte too many",                    ByteMore,            {{BadFrame, Good}}},
    {"payload too short",                  Short,               {{NoReal,   NoReal}}},
    {"payload is no number",               NoNumber,            {{NoReal,   NoReal}}},
    {"flip: start",                        Flipped<0, 0x01>,    {{BadFrame, Good}}},
    {"flip: length, more",                 Flipped<1, 0x01>,    {{TimeOut,  Good}}},
    {"flip: length, less",                 Flipped<1, 0x08>,    {{BadFrame, Good}}},
    {"flip: address",                      Flipped<2, 0x80>,    {{BadFrame, Good}}},
    {"flip: address becomes 0",            Flipped<2, 0x05>,    {{Good,     Good}}},
    {"flip: payload count, more",          Flipped<3, 0x01>,    {{BadFrame, Good}}},
    {"flip: payload count, less",          Flipped<3, 0x04>,    {{Checksum, Good}}},
    {"flip: code",                         Flipped<4, 0x10>,    {{Checksum, Good}}},
    {"flip: payload",                      Flipped<7, 0x40>,    {{Checksum, Good}}},
    {"flip: into a refusal",               Flipped<6, 0x83 ^ 0xC9>, {{Refused, Good}}},
    {"flip: inner checksum",               Flipped<10, 0x02>,   {{Checksum, Good}}},
    {"flip: outer checksum",               Flipped<11, 0x02>,   {{Good,     Good}}},
    {"flip: end",                          Flipped<12, 0x01>,   {{BadFrame, Good}}},
    {"hang-up within the reply",           HangUpWithin,        {{Vanished, Good}}},
    // after the reply
    {"in the last moment",                 After<49>,           {{Good,     Good}}},
    {"too late",                           After<50>,           {{TimeOut,  Good}}},
    {"late, between two exchanges",        After<60>,           {{TimeOut,  Good}}},
    {"late, into the next exchange",       After<85>,           {{TimeOut,  Good}, {BadFrame, Good}}},
    {"doubled",                            Doubled,             {{Good,     Good}}},
    {"hang-up behind the reply",           HangUpBehind,        {{Good,     Good}}},
    // the port stays away
    {"gone for a second",                  Reply,               {{NoPort,   NoPort},   {NoPort, NoPort},   1000ms},
        Line::HangsUpBefore, 1000ms,                   Expected{{Offline,  Offline},  {Offline, Offline}, kPause}},
    {"gone during the reply for a second", HangUpWithin,        {{Vanished, NoPort},   {NoPort, NoPort},   1000ms},
        Line::Holds, 1000ms,                           Expected{{Offline,  Offline},  {Offline, Offline}, kPause}},
    {"gone beyond the second attempt",     Reply,               {{NoPort,   NoPort},   {NoPort, NoPort},   8000ms},
        Line::HangsUpBefore, 8000ms,                   Expected{{Offline,  Offline},  {Offline, Offline}, kTwice}},
};
// clang-format on

enum class Stage { Connecting, Working, Idle };

class FaultMatrix : public testing::TestWithParam<std::tuple<Stage, Placement>> {};

/// One cell: a world with a bus of two sensors, on whose line the fault happens once.
class Cell {
public:
    Cell(const Fault& fault, Stage stage, Placement placement, int retries)
        : m_Home(placement == Placement::HostsApartment ? m_Host : m_Other), m_Fault(fault), m_Stage(stage) {
        m_Side.emplace(m_Host.Services, "HOST", DriverIn(m_Home, m_Host));
        m_Side->Adapter.NetRetry(retries);
        m_Line.Respond = [this](const std::string& request) { return Respond(request); };
    }
    ~Cell() {
        m_Side.reset();
        m_World.Scheduler.RunFor(0ms);
    }
    Cell(const Cell&) = delete;
    Cell& operator=(const Cell&) = delete;

    void Check(const End& itself, const End& behind, Duration recovery) {
        BringToStage();
        m_Armed = true;
        if (m_Fault.Happens == Line::HangsUpBefore) m_Line.HangUp();
        m_Line.MissingUntil = m_World.Scheduler.Now() + m_Fault.Gone;
        const auto first = m_Side->Read("5");
        const auto second = m_Side->Read("6");
        m_Side->Adapter.OnLine(true);
        ExpectEnd(*first, itself);
        const Duration ended = m_World.Scheduler.Now();
        const Duration recovered = ReadsAgain();
        ExpectEnd(*second, behind);
        EXPECT_NEAR(Milliseconds(recovered - ended), Milliseconds(recovery), kTicks);
    }

private:
    /// An exchange and the ticks before and behind it.
    static constexpr double kTicks = 150;

    static double Milliseconds(Duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

    /// A sensor measures 20 degrees and its address. Sensor 6 takes its time, so that what is late finds it at work.
    Response Respond(const std::string& request) {
        const int address = static_cast<unsigned char>(request.at(2));
        std::string reply = BuildFrame(address, kTemperatureCommand, RealToBytes(20.0F + static_cast<float>(address)));
        if (address != 5) return {.Reply = {{std::move(reply), 30ms}}};
        if (!std::exchange(m_Armed, false)) return {.Reply = {{std::move(reply)}}};
        return {m_Fault.Comes(std::move(reply)), m_Fault.Happens == Line::RefusesTheWrite};
    }

    void BringToStage() {
        if (m_Stage == Stage::Connecting) return;
        m_Side->Adapter.IdleAllowed(m_Stage == Stage::Idle);
        m_Side->Adapter.IdleMsecs(1000);
        m_Side->Adapter.OnLine(true);
        ReadsAgain();
        m_Host.Run(m_Stage == Stage::Idle ? 5000 : 0);
        EXPECT_EQ(m_Line.Log.back() == "PortOpen=False", m_Stage == Stage::Idle);
    }

    /// Asks until there is a reading; returns when it came. A failure leaves no reading behind.
    Duration ReadsAgain() {
        for (bool good = false; !good;) {
            const auto entry = m_Side->Read("5");
            EXPECT_TRUE(Ended(*entry));
            good = entry->Succeeded();
            EXPECT_TRUE(entry->Data().e == errors::NotConnected || m_Side->Temperature("5")->Valid() == good);
            if (m_World.Scheduler.Now() > 1min) break;
        }
        EXPECT_EQ(m_Side->Temperature("5")->Value().ToSingle(), 25);
        return m_World.Scheduler.Now();
    }

    bool Ended(SharedEntry& entry) {
        return m_World.Scheduler.RunUntil([&] { return entry.WaitForCompletion(0); }, 1min);
    }
    void ExpectEnd(SharedEntry& entry, const End& end) {
        EXPECT_TRUE(Ended(entry));
        const SharedData& data = entry.Data();
        EXPECT_EQ(data.e, end.Number) << data.eDescr;
        EXPECT_THAT(data.eDescr, testing::StartsWith(std::string(end.Text)));
        EXPECT_EQ(entry.Succeeded(), end.Number == errors::None);
        if (end.Number != errors::NotConnected) return;
        EXPECT_THAT(m_Home.Reports.All, testing::Contains(testing::HasSubstr(std::string(NoPort.Text))));
        EXPECT_THAT(m_Side->Subscriber.Take(), testing::Contains("ORVIX_CNN_ACTIVITY | 1"));
    }

    World m_World;
    TestHost m_Host{m_World, 1};
    TestHost m_Other{m_World, 2};
    TestHost& m_Home;
    ScriptedLine& m_Line = m_Home.Line;
    const Fault& m_Fault;
    Stage m_Stage;
    std::optional<HostSide> m_Side;
    bool m_Armed = false;
};

TEST_P(FaultMatrix, EndsAsExpectedAndRecovers) {
    const auto [stage, placement] = GetParam();
    for (const Fault& fault : kFaults) {
        const Expected& expected = stage == Stage::Working ? fault.Open : fault.Opening.value_or(fault.Open);
        for (const int retries : {0, 1}) {
            SCOPED_TRACE(testing::Message() << fault.Name << ", retries " << retries);
            Cell cell(fault, stage, placement, retries);
            cell.Check(expected.Itself[retries], expected.Behind[retries], expected.Recovery);
        }
    }
}

std::string NameOfCell(const testing::TestParamInfo<FaultMatrix::ParamType>& it) {
    constexpr const char* kStages[] = {"Connecting", "Working", "Idle"};
    const auto [stage, placement] = it.param;
    return kStages[static_cast<int>(stage)] + NameOf(placement);
}

INSTANTIATE_TEST_SUITE_P(Stages, FaultMatrix,
                         testing::Combine(testing::Values(Stage::Connecting, Stage::Working, Stage::Idle),
                                          testing::ValuesIn(kEveryPlacement)),
                         NameOfCell);

}  // namespace
}  // namespace orvix::tests
