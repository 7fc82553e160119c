#include "station/sink/recording/recorder.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "station/store/recording_reader.h"
#include "tests/support/test_folder.h"

using namespace std::chrono_literals;

namespace orvix::station {
namespace {

/// Files of this process take no more than that.
struct FullDisk {
    explicit FullDisk(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &Before);
        const rlimit limit{bytes, Before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &Before);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    rlimit Before{};
};

constexpr std::size_t kHappened = 500;

std::size_t EventsIn(const std::string& file) {
    RecordingReader recording(file);
    std::size_t events = 0;
    while (const auto line = recording.Next())
        events += std::holds_alternative<LineEvent>(line->What) ? 1 : 0;
    EXPECT_FALSE(recording.IsCutOff());
    return events;
}

TEST(Recorder, OneThatAFullDiskHasEndedGoesOnInWholeLinesWhenItIsOpenedAnew) {
    const struct {
        rlim_t Room;
        bool IsMoved;
        bool IsOne;  ///< there is one event in the end, in the file with the name, else more
    } cases[] = {{2000, false, false}, {2000, true, true}, {10, false, true}, {10, true, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.Room) + (c.IsMoved ? " moved" : ""));
        const tests::TestFolder folder;
        const auto file = folder.Path + "/line.rec";
        platform::RealApartment home;
        std::string told;
        const auto says = [&](const std::string& text) {
            return home.PumpUntil([&] { return told.find(text) != std::string::npos; }, 30s);
        };
        auto disk = std::make_optional<FullDisk>(c.Room);
        Recorder recorder(file, home, false, [&](const std::string& text) { told = text; });
        BusSetup setup;
        setup.PortLabel = "line";
        recorder.OnSetup(setup);
        const auto happens = [&](std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                LineEvent event;
                event.Port = "line";
                event.Time = home.Now();
                recorder.OnLine(event);
            }
        };
        happens(kHappened);
        recorder.Reopen();
        ASSERT_TRUE(says("the recording ends here"));
        happens(1);
        disk.reset();
        if (c.IsMoved) std::filesystem::rename(file, file + ".1");
        recorder.Reopen();
        ASSERT_TRUE(says("what happened since it ended is missing"));
        happens(1);
        EXPECT_EQ(recorder.Finish(), std::nullopt);
        const auto events = EventsIn(file);
        EXPECT_EQ(events == 1, c.IsOne) << events;
        EXPECT_TRUE(events > 0 && events < kHappened) << events;
    }
}

}  // namespace
}  // namespace orvix::station
