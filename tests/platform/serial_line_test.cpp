#include "platform/serial_line.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file_descriptor.h"
#include "simulator/pseudo_terminal.h"
#include "tests/support/error_of.h"
#include "tests/support/test_folder.h"

namespace orvix::platform {
namespace {

using simulator::PseudoTerminal;
using tests::TestFolder;

using std::chrono::seconds;
using ::testing::HasSubstr;

template <class Step>
std::string Failure(Step step) {
    const Error error = tests::ErrorOf(step);
    EXPECT_EQ(error.Number, errors::General);
    return error.Description;
}

std::unique_ptr<SerialControl> Opened(SerialLine& line, std::int16_t port) {
    auto control = line.CreateSerialControl();
    control->CommPort(port);
    control->PortOpen(true);
    return control;
}

std::string Exchange(SerialControl& control, PseudoTerminal& terminal, const std::string& request,
                     const std::string& reply) {
    control.InBufferCount(0);
    control.RTSEnable(true);
    control.Output(request);
    control.RTSEnable(false);
    std::string received;
    for (pollfd entry{terminal.Descriptor(), POLLIN, 0}; received.size() < request.size();) {
        if (::poll(&entry, 1, 1000) != 1) break;
        received += terminal.Read();
    }
    EXPECT_EQ(received, request);
    terminal.Write(reply);
    std::string input;
    for (int reads = 0; input.size() < reply.size() && reads < 100; ++reads) {
        control.WaitForInput(seconds(1));
        input += control.Input();
    }
    return input;
}

TEST(SerialLine, EveryByteValuePassesBothWays) {
    PseudoTerminal terminal;
    SerialLine line({{3, terminal.Path()}});
    auto control = Opened(line, 3);
    std::string all;
    for (int value = 0; value < 256; ++value)
        all += static_cast<char>(value);
    EXPECT_EQ(Exchange(*control, terminal, all, all), all);
    control->InputLen(2);
    terminal.Write("abc");
    control->WaitForInput(seconds(1));
    EXPECT_EQ(control->Input(), "ab");
    EXPECT_EQ(control->InBufferCount(0), "c");
    EXPECT_EQ(control->Input(), "");
}

TEST(SerialLine, APortIsOpenForOneAloneAndRestoredAtTheEnd) {
    PseudoTerminal terminal;
    const FileDescriptor user(::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY));
    termios before{};
    termios after{};
    ASSERT_EQ(::tcgetattr(user.Get(), &before), 0);
    SerialLine line({{3, terminal.Path()}});
    auto first = Opened(line, 3);
    EXPECT_THAT(Failure([&] { Opened(line, 3); }), HasSubstr("port 3 (" + terminal.Path() + ") is in use"));
    int isExclusive = -1;
    ASSERT_EQ(::ioctl(user.Get(), TIOCGEXCL, &isExclusive), 0);
    EXPECT_EQ(isExclusive, 0) << "nobody but root would have the port when its user was killed";
    first->PortOpen(false);
    ASSERT_EQ(::tcgetattr(user.Get(), &after), 0);
    EXPECT_EQ(before.c_lflag, after.c_lflag);
    EXPECT_EQ(before.c_iflag, after.c_iflag);
    EXPECT_TRUE(Opened(line, 3)->PortOpen());
}

TEST(SerialLine, WhatIsNoSerialDeviceIsRefused) {
    const TestFolder folder;
    SerialLine line({{1, folder.Path}, {2, "/dev/null"}, {4, folder.Path + "/none"}});
    for (const std::int16_t port : {std::int16_t{1}, std::int16_t{2}})
        EXPECT_THAT(Failure([&] { Opened(line, port); }), HasSubstr("is not a serial device"));
    EXPECT_THAT(Failure([&] { Opened(line, 4); }), HasSubstr("No such file"));
}

TEST(SerialLine, AVanishedLineFailsTheExchangeAndComesBackByItself) {
    const TestFolder folder;
    const std::string link = folder.Path + "/converter";
    auto terminal = std::make_unique<PseudoTerminal>();
    terminal->Link(link);
    SerialLine line({{3, link}});
    auto control = Opened(line, 3);

    terminal.reset();
    control->WaitForInput(seconds(1));
    EXPECT_THAT(Failure([&] { control->Input(); }), HasSubstr("is gone: Input/output error"));
    EXPECT_THAT(Failure([&] { control->InBufferCount(0); }), HasSubstr("cannot be opened: No such file"));
    EXPECT_TRUE(control->PortOpen());

    PseudoTerminal back;
    back.Link(link);
    EXPECT_EQ(Exchange(*control, back, "request", "reply"), "reply");

    // Another device under the same name, while the old one is still there.
    PseudoTerminal other;
    other.Link(link);
    EXPECT_EQ(Exchange(*control, other, "request", "reply"), "reply");
}

}  // namespace
}  // namespace orvix::platform
