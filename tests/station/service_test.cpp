#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/file_descriptor.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

/// Where a service manager listens for the programs that it has started.
class ServiceManager {
public:
    ServiceManager() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const auto path = m_Folder.Path + "/notify";
        std::copy(path.begin(), path.end(), address.sun_path);
        EXPECT_EQ(::bind(m_Socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
        ::setenv("WATCHDOG_USEC", "200000", 1);
    }
    ~ServiceManager() {
        ::unsetenv("NOTIFY_SOCKET");
        ::unsetenv("WATCHDOG_USEC");
    }
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    /// What is told next, but signs of life.
    std::string Next() const {
        for (;;) {
            char bytes[4096];
            const auto size = ::recv(m_Socket.Get(), bytes, sizeof(bytes), 0);
            const std::string told(bytes, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
            if (told != kAlive) return told;
        }
    }
    void AwaitSignOfLife() const {
        char bytes[sizeof(kAlive)]{};
        while (bytes != std::string(kAlive))
            ASSERT_GT(::recv(m_Socket.Get(), bytes, sizeof(bytes) - 1, 0), 0);
    }

private:
    static constexpr char kAlive[] = "WATCHDOG=1";

    TestFolder m_Folder;
    platform::FileDescriptor m_Socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST(Service, ItsManagerHearsThatItIsReadyLivesReadsItsConfigurationAgainAndStops) {
    const ServiceManager manager;
    const TestFolder folder;
    const auto file = folder.Path + "/n.toml";
    std::ofstream(file) << "[[bus]]\nport = \"simulated\"\n";
    Program program({"run", "--config", file, "--json"});
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=simulated is online");
    manager.AwaitSignOfLife();
    EXPECT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGHUP);
    EXPECT_EQ(manager.Next().substr(0, 11), "RELOADING=1");
    EXPECT_EQ(manager.Next(), "READY=1");
    program.Signal(SIGTERM);
    EXPECT_EQ(manager.Next(), "STOPPING=1");
    EXPECT_EQ(program.Finish().Status, 0);
}

}  // namespace
}  // namespace orvix::tests
