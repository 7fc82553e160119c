#include <gtest/gtest.h>

#include <csignal>

#include "tests/station/program.h"

namespace orvix::tests {
namespace {

TEST(Signals, AStormOfThemDisturbsNothingAndTheEndComesInOrder) {
    Program program({"run", "--every", "100ms", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    for (int i = 0; i < 200; ++i) {
        for (const int signal : {SIGUSR1, SIGWINCH})
            program.Signal(signal);
    }
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    const auto result = program.Finish();
    EXPECT_EQ(result.Status, 0) << result.Err;
    EXPECT_EQ(result.Out.find("\"valid\":false"), std::string::npos) << result.Out;
}

}  // namespace
}  // namespace orvix::tests
