#include "station/run/live_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include "platform/file_descriptor.h"
#include "platform/real_apartment.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using platform::FileDescriptor;
using station::LiveStream;

class LiveStreamTest : public ::testing::Test {
protected:
    LiveStreamTest() {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        m_Reader = FileDescriptor(ends[0]);
        m_Writer = FileDescriptor(ends[1]);
        m_Stream.emplace(m_Writer.Get(), m_Home,
                         LiveStream::Events{.OnDropping = [this] { ++m_Droppings; },
                                            .OnCaughtUp = [this](std::uint64_t lines) { m_Dropped = lines; },
                                            .OnFailed = [this] { ++m_Failures; }});
    }
    bool Await(const std::function<bool()>& done) { return m_Home.PumpUntil(done, 30s); }
    std::string Read(std::size_t most) const {
        std::string bytes(most, '\0');
        bytes.resize(static_cast<std::size_t>(::read(m_Reader.Get(), bytes.data(), most)));
        return bytes;
    }

    platform::RealApartment m_Home;
    FileDescriptor m_Reader;
    FileDescriptor m_Writer;
    int m_Droppings = 0;
    std::uint64_t m_Dropped = 0;
    int m_Failures = 0;
    std::optional<LiveStream> m_Stream;
};

TEST_F(LiveStreamTest, DropsWholePiecesWhileNobodyReadsAndTellsHowManyLinesWhenSomebodyDoes) {
    const std::string line = std::string(99, 'x') + "\n";
    const std::uint64_t offered = 2 * LiveStream::kMostWaiting / line.size();
    for (std::uint64_t i = 0; i < offered; ++i)
        *m_Stream << line << std::flush;
    const auto missing = m_Stream->Missing();

    std::string read;
    while (!m_Stream->IsIdle()) {
        read += Read(line.size() * 100);
        m_Home.PumpUntil([] { return false; }, 0ms);
    }
    ASSERT_TRUE(Await([&] { return m_Dropped > 0; }));
    EXPECT_EQ(m_Droppings, 1);
    EXPECT_GT(missing, m_Dropped) << "what waited in memory was missing too";
    while (read.size() < (offered - m_Dropped) * line.size())
        read += Read(line.size() * 100);
    EXPECT_EQ(read.substr(read.size() - line.size()), line);

    *m_Stream << "again\n" << std::flush;
    EXPECT_TRUE(m_Stream->Finish(0ms));
    EXPECT_EQ(Read(100), "again\n");
}

TEST_F(LiveStreamTest, AReaderThatHasGoneIsToldOnceAndTakesNothing) {
    std::signal(SIGPIPE, SIG_IGN);
    m_Reader = FileDescriptor();
    for (int i = 0; i < 2; ++i)
        *m_Stream << "lost\n" << std::flush;
    ASSERT_TRUE(Await([&] { return m_Failures > 0; }));
    EXPECT_EQ(m_Failures, 1);
    EXPECT_TRUE(m_Stream->Failed());
    EXPECT_TRUE(m_Stream->IsIdle());
    std::signal(SIGPIPE, SIG_DFL);
}

TEST_F(LiveStreamTest, AFileHasAllOfItWhenItIsFinished) {
    const TestFolder folder;
    const auto path = folder.Path + "/out";
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR));
    LiveStream stream(file.Get(), m_Home, {});
    stream << "one\n" << std::flush << "two\n";
    EXPECT_TRUE(stream.Finish(30s));
    EXPECT_EQ(ContentsOf(path), "one\ntwo\n");
}

}  // namespace
}  // namespace orvix::tests
