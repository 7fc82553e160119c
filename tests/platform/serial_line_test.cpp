#include "platform/serial_line.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "tests/support/test_folder.h"

namespace orvix::platform {
namespace {

using tests::TestFolder;

using std::chrono::seconds;
using ::testing::HasSubstr;

/// A pseudo-terminal: the test holds the device's end, the line opens the other.
struct Terminal {
    Terminal() : Device(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(Device.Get()), 0);
        EXPECT_EQ(::unlockpt(Device.Get()), 0);
        Path = ::ptsname(Device.Get());
    }
    /// That many bytes, or fewer when no more come for a second.
    std::string Received(std::size_t count) const {
        std::string bytes(count, '\0');
        std::size_t done = 0;
        for (pollfd entry{Device.Get(), POLLIN, 0}; done<count&& ::poll(&entry, 1, 1000)> 0;) {
            const ssize_t more = ::read(Device.Get(), bytes.data() + done, count - done);
            if (more <= 0) break;
            done += static_cast<std::size_t>(more);
        }
        bytes.resize(done);
        return bytes;
    }
    void Send(const std::string& bytes) const {
        EXPECT_EQ(::write(Device.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    FileDescriptor Device;
    std::string Path;
};

std::string Failure(const std::function<void()>& step) {
    try {
        step();
    } catch (const Error& error) {
        EXPECT_EQ(error.Number, errors::General);
        return error.Description;
    }
    return "no failure";
}

std::unique_ptr<SerialControl> Opened(SerialLine& line, std::int16_t port) {
    auto control = line.CreateSerialControl();
    control->CommPort(port);
    control->PortOpen(true);
    return control;
}

std::string Exchange(SerialControl& control, const Terminal& terminal, const std::string& request,
                     const std::string& reply) {
    control.InBufferCount(0);
    control.RTSEnable(true);
    control.Output(request);
    control.RTSEnable(false);
    EXPECT_EQ(terminal.Received(request.size()), request);
    terminal.Send(reply);
    std::string input;
    for (int reads = 0; input.size() < reply.size() && reads < 100; ++reads) {
        control.WaitForInput(seconds(1));
        input += control.Input();
    }
    return input;
}

TEST(SerialLine, EveryByteValuePassesBothWays) {
    const Terminal terminal;
    SerialLine line({{3, terminal.Path}});
    auto control = Opened(line, 3);
    std::string all;
    for (int value = 0; value < 256; ++value)
        all += static_cast<char>(value);
    EXPECT_EQ(Exchange(*control, terminal, all, all), all);
    EXPECT_EQ(control->Input(), "");
    terminal.Send("late");
    control->WaitForInput(seconds(1));
    control->InBufferCount(0);
    EXPECT_EQ(control->Input(), "");
}

TEST(SerialLine, InputTakesNoMoreThanItsLimit) {
    const Terminal terminal;
    SerialLine line({{3, terminal.Path}});
    auto control = Opened(line, 3);
    control->InputLen(2);
    terminal.Send("abc");
    control->WaitForInput(seconds(1));
    EXPECT_EQ(control->Input(), "ab");
    EXPECT_EQ(control->Input(), "c");
}

TEST(SerialLine, APortIsOpenForOneAlone) {
    const Terminal terminal;
    SerialLine line({{3, terminal.Path}});
    auto first = Opened(line, 3);
    EXPECT_THAT(Failure([&] { Opened(line, 3); }), HasSubstr("port 3 (" + terminal.Path + ") is in use"));
    first->PortOpen(false);
    EXPECT_TRUE(Opened(line, 3)->PortOpen());
}

TEST(SerialLine, ClosingRestoresTheTerminal) {
    const Terminal terminal;
    const FileDescriptor user(::open(terminal.Path.c_str(), O_RDWR | O_NOCTTY));
    termios before{};
    termios after{};
    ASSERT_EQ(::tcgetattr(user.Get(), &before), 0);
    SerialLine line({{3, terminal.Path}});
    Opened(line, 3);
    ASSERT_EQ(::tcgetattr(user.Get(), &after), 0);
    EXPECT_EQ(before.c_lflag, after.c_lflag);
    EXPECT_EQ(before.c_iflag, after.c_iflag);
}

TEST(SerialLine, WhatIsNoSerialDeviceIsRefused) {
    const TestFolder folder;
    SerialLine line({{1, folder.Path}, {2, "/dev/null"}, {4, folder.Path + "/none"}});
    EXPECT_EQ(line.DeviceFile(3), "/dev/ttyS2");
    EXPECT_THAT(Failure([&] { Opened(line, 1); }), HasSubstr("is not a serial device"));
    EXPECT_THAT(Failure([&] { Opened(line, 2); }), HasSubstr("is not a serial device"));
    EXPECT_THAT(Failure([&] { Opened(line, 4); }), HasSubstr("No such file"));
    for (const char* settings : {"", "9600", "9600,n,8", "9600,n,8,1,", "9601,n,8,1", "9600,x,8,1", "9600,n,9,1"}) {
        EXPECT_THAT(Failure([&] { line.CreateSerialControl()->Settings(settings); }), HasSubstr("serial settings"));
    }
    auto closed = line.CreateSerialControl();
    EXPECT_THAT(Failure([&] { closed->Output("x"); }), HasSubstr("not open"));
    EXPECT_THAT(Failure([&] { closed->Input(); }), HasSubstr("not open"));
}

TEST(SerialLine, AVanishedLineFailsTheExchangeAndComesBackByItself) {
    const TestFolder folder;
    const std::string link = folder.Path + "/converter";
    auto terminal = std::make_unique<Terminal>();
    std::filesystem::create_symlink(terminal->Path, link);
    SerialLine line({{3, link}});
    auto control = Opened(line, 3);

    terminal.reset();
    control->WaitForInput(seconds(1));
    EXPECT_THAT(Failure([&] { control->Input(); }), HasSubstr("is gone: Input/output error"));
    EXPECT_THAT(Failure([&] { control->Input(); }), HasSubstr("is gone"));
    std::filesystem::remove(link);
    EXPECT_THAT(Failure([&] { control->InBufferCount(0); }), HasSubstr("cannot be opened: No such file"));
    EXPECT_TRUE(control->PortOpen());

    const Terminal back;
    std::filesystem::create_symlink(back.Path, link);
    EXPECT_EQ(Exchange(*control, back, "request", "reply"), "reply");

    // Another device under the same name, while the old one is still there.
    const Terminal other;
    std::filesystem::remove(link);
    std::filesystem::create_symlink(other.Path, link);
    EXPECT_EQ(Exchange(*control, other, "request", "reply"), "reply");
}

}  // namespace
}  // namespace orvix::platform
