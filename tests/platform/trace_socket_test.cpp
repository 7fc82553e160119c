#include "platform/trace_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <gtest/gtest.h>

#include "host/error.h"
#include "tests/support/test_folder.h"

namespace orvix::platform {
namespace {

using tests::TestFolder;

constexpr auto kNoTime = Duration::zero();

// What a viewer leaves that has been killed.
void LeaveStaleSocket(const std::string& path) {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

TEST(TraceSocket, IsLookedForOnceAndReplacedWhenStale) {
    const TestFolder folder;
    SocketTraceViewer early(1, folder.Path);
    EXPECT_FALSE(early.Found());
    LeaveStaleSocket(folder.Path + "/trace");
    EXPECT_FALSE(SocketTraceViewer(1, folder.Path).Found());

    TraceListener listener(folder.Path);
    EXPECT_FALSE(early.Found());
    EXPECT_TRUE(SocketTraceViewer(1, folder.Path).Found());
    EXPECT_THROW(TraceListener{folder.Path}, Error) << "two viewers";
    EXPECT_EQ(listener.Receive(), std::nullopt);
}

TEST(TraceSocket, AFullOrGoneViewerTakesNothingAndLongLinesAreCut) {
    const TestFolder folder;
    auto listener = std::make_optional<TraceListener>(folder.Path);
    SocketTraceViewer sender(1, folder.Path);
    ASSERT_TRUE(sender.Found());
    EXPECT_TRUE(sender.Send(std::string(kLongestTraceLine + 1, 'x'), kNoTime));
    EXPECT_EQ(listener->Receive(), std::string(kLongestTraceLine, 'x'));

    int taken = 0;
    while (sender.Send(std::to_string(taken), kNoTime))
        ++taken;
    EXPECT_FALSE(sender.Send("full", std::chrono::milliseconds(2)));
    EXPECT_EQ(listener->Receive(), "0");
    EXPECT_TRUE(sender.Send("room again", kNoTime));

    listener.reset();
    EXPECT_FALSE(sender.Send("gone", std::chrono::hours(1)));
}

TEST(TraceSocket, OnlyAFolderThatIsPrivateIsUsed) {
    const TestFolder folder;
    const TraceListener listener(folder.Path + "/made");
    ASSERT_EQ(::chmod((folder.Path + "/made").c_str(), 0770), 0);
    EXPECT_FALSE(SocketTraceViewer(1, folder.Path + "/made").Found());
    ASSERT_EQ(::chmod(folder.Path.c_str(), 0755), 0);
    EXPECT_THROW(TraceListener{folder.Path}, Error);
    EXPECT_FALSE(SocketTraceViewer(1, folder.Path + std::string(200, 'x')).Found());

    setenv("XDG_RUNTIME_DIR", folder.Path.c_str(), 1);
    EXPECT_TRUE(TraceFolder().starts_with("/tmp/nimbo1-"));
    unsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
}  // namespace orvix::platform
