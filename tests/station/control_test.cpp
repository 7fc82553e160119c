#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "host/error.h"
#include "platform/real_apartment.h"
#include "simulator/bus_server.h"
#include "station/door/control_client.h"
#include "station/door/control_server.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace station;

constexpr std::chrono::seconds kLimit{30};
constexpr uid_t kNobody = 65534;

/// A folder with a station's apartment; clients ask on other threads.
class Control : public testing::Test {
protected:
    ControlServer Serve(const std::string& name) {
        return {m_Folder.Path, m_Home, {{"name", [name] { return name + "\n"; }}, {"fail", []() -> std::string {
                                                                                       throw Error(errors::General,
                                                                                                   "it failed");
                                                                                   }}}};
    }

    std::string Elsewhere(const std::function<std::string()>& work) {
        std::string result;
        bool isDone = false;
        std::thread thread([&] {
            result = work();
            m_Home.Post([&] { isDone = true; });
        });
        EXPECT_TRUE(m_Home.PumpUntil([&] { return isDone; }, kLimit));
        thread.join();
        return result;
    }

    /// The answers one behind the other, or what has been raised.
    std::string Ask(const std::string& request) {
        return Elsewhere([&]() -> std::string {
            try {
                std::string texts;
                for (const auto& answer : AskStations(m_Folder.Path, request, kLimit)) {
                    EXPECT_EQ(answer.Process, getpid());
                    texts += answer.Text + answer.Failure;
                }
                return texts;
            } catch (const Error& error) {
                return error.Description;
            }
        });
    }

    platform::FileDescriptor Connect(const std::string& name = "station.sock") {
        return std::move(*ControlFolder(m_Folder.Path).Connect(name));
    }

    TestFolder m_Folder;
    platform::RealApartment m_Home;
};

TEST_F(Control, StationsOfOneFolderAnswerAndStaleSocketsGo) {
    EXPECT_NE(Ask("name").find("no station is running"), std::string::npos);
    // What stations leave that have been killed.
    for (const char* name : {"station.sock", "station-1.sock"})
        ControlFolder(m_Folder.Path).Listen(name);
    EXPECT_NE(Ask("name").find("no station is running"), std::string::npos);

    const auto first = Serve("first");
    EXPECT_EQ(first.OtherStation(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Path + "/station-1.sock"));
    EXPECT_EQ(Ask("name"), "first\n");
    EXPECT_NE(Ask("fail").find("it failed"), std::string::npos);
    EXPECT_NE(Ask("nonsense").find("no such request"), std::string::npos);
    EXPECT_NE(Ask(std::string(10'000, 'x')).find("does not answer"), std::string::npos);
    {
        const auto second = Serve("second");
        EXPECT_EQ(second.OtherStation(), getpid());
        EXPECT_EQ(Ask("name"), "second\nfirst\n");
    }
    EXPECT_EQ(Ask("name"), "first\n");
}

TEST_F(Control, ClientsThatStandStillOrGoHoldUpNobody) {
    const auto server = Serve("station");
    std::vector<platform::FileDescriptor> still;
    for (int client = 0; client < 6; ++client)
        still.push_back(Connect());
    for (int client = 0; client < 20; ++client)
        ASSERT_EQ(::send(Connect().Get(), "name\n", 5, MSG_NOSIGNAL), 5);
    EXPECT_EQ(Ask("name"), "station\n");
}

TEST_F(Control, OnlyTheOwnerIsServed) {
    if (geteuid() != 0) GTEST_SKIP() << "takes another user's rights, which only the superuser can";
    const auto server = Serve("station");
    const auto path = m_Folder.Path + "/station.sock";
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(m_Folder.Path.c_str(), 0755), 0);
    const auto answer = Elsewhere([this]() -> std::string {
        // The system call is for this thread alone, the library's function for all.
        EXPECT_EQ(::syscall(SYS_setresuid, -1, kNobody, -1), 0);
        try {
            return AskStations(m_Folder.Path, "name", kLimit).at(0).Failure;
        } catch (const Error& error) {
            return error.Description;
        }
    });
    EXPECT_NE(answer.find("belongs to another user"), std::string::npos) << answer;
}

TEST(Health, OfARunningStationIsToldWithWhatIsWrong) {
    const TestFolder folder;
    simulator::BusServer bus(simulator::SimulatedBus({simulator::ParseSimulatedDevice("5:sensor")}), 0);
    Program program({"run", "--data", folder.Path, "--port", bus.Terminal().Path(), "--device", "5:sensor", "--device",
                     "9:sensor:Lost", "--every", "700ms", "--retries", "0", "--timeout-factor", "100", "--json"});
    for (int reading = 0; reading < 3; ++reading)
        ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    const auto plain = RunProgram({"health", "--data", folder.Path});
    EXPECT_EQ(plain.Status, 0) << plain.Err;
    EXPECT_NE(plain.Out.find("address 9 never answers: power, wiring or address; asked less often until it answers; "
                             "the others are fine\n"),
              std::string::npos)
        << plain.Out;
    const auto json = RunProgram({"health", "--data", folder.Path, "--json"});
    EXPECT_NE(json.Out.find("\"address\":9,\"name\":\"Lost\",\"quality\":\"offline\",\"last_good\":null"),
              std::string::npos)
        << json.Out;
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
    ExpectOneLine({"health", "--data", folder.Path}, 1, "no station is running");
}

}  // namespace
}  // namespace orvix::tests
