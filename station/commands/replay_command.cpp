#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <list>
#include <memory>

#include "host/text.h"
#include "station/commands/commands.h"
#include "station/library/folders.h"
#include "station/run/latest_values.h"
#include "station/source/replay_bus.h"

namespace orvix::station {
namespace {

using std::chrono::milliseconds;

constexpr std::int32_t kRealTimeStepMs = 20;
constexpr milliseconds kFastStep{100};

/// A data folder for a bus alone: it must neither see nor change the devices that this user has registered, nor those
/// of another bus.
class PassingFolder {
public:
    PassingFolder() {
        if (::mkdtemp(m_Path.data()) == nullptr) throw SystemError("folder " + m_Path + " cannot be made", errno);
    }
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;
    ~PassingFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }

    StationFolders Folders() const {
        auto folders = FindFolders(m_Path);
        folders.Configuration = folders.Data + "configuration/";
        return folders;
    }

private:
    std::string m_Path = (std::filesystem::temp_directory_path() / "nimbo1_XXXXXX").string();
};

/// Plays all buses of a recording, and shows what they read.
class Replay {
public:
    Replay(const Recording& recording, Output& output, MainLoop& loop) : m_Output(output), m_Loop(loop) {
        for (const auto& recorded : recording.Buses)
            m_Buses.emplace_back(*this, recording.Header, recorded);
    }

    /// Ends the program's loop when all buses are over, or nobody reads what they say.
    void RunUntil(Duration time) {
        bool over = true;
        for (auto& bus : m_Buses) {
            bus.Bus.RunUntil(time);
            over = over && bus.Bus.Over();
        }
        if (over || !std::cout) m_Loop.Stop();
    }

    std::string Summary() const {
        int unknown = 0;
        int skipped = 0;
        for (const auto& bus : m_Buses) {
            unknown += bus.Bus.Line().Unknown();
            skipped += bus.Bus.Line().Skipped();
        }
        auto text = NumberText(m_Readings) + " readings, " + NumberText(m_Failed) + " of them failed";
        if (unknown > 0) text += "; requests that were not in the recording: " + NumberText(unknown);
        if (skipped > 0) text += "; recorded requests that were not sent again: " + NumberText(skipped);
        return text;
    }

private:
    class PlayedBus : public Listener {
    public:
        PlayedBus(Replay& replay, const RecordingHeader& header, const RecordedBus& recorded)
            : m_Replay(replay), m_Every(recorded.Setups.front().Setup.Every), Bus(m_Station, header, recorded, *this) {}

    private:
        void OnReading(const Reading& told) override {
            auto reading = told;
            m_Values.Take(reading, m_Every);
            m_Replay.Show(reading);
        }
        void OnTrouble(const std::string& port, const Failure& failure) override {
            m_Replay.m_Output.Trouble(port, failure);
        }
        void OnDeviceGone(const DeviceId& device) override { m_Values.Forget(device); }

        Replay& m_Replay;
        const milliseconds m_Every;
        PassingFolder m_Folder;
        Station m_Station{m_Folder.Folders(), FindLibrary()};
        LatestValues m_Values;

    public:
        ReplayBus Bus;
    };

    void Show(const Reading& reading) {
        ++m_Readings;
        if (!reading.Valid()) ++m_Failed;
        m_Output.Show(reading);
    }

    Output& m_Output;
    MainLoop& m_Loop;
    std::int32_t m_Readings = 0;
    std::int32_t m_Failed = 0;
    std::list<PlayedBus> m_Buses;
};

/// One step after the other, so that a signal comes in between.
void RunFast(Replay& replay, MainLoop& loop, Duration time) {
    replay.RunUntil(time);
    loop.Apartment().Post([&replay, &loop, time] { RunFast(replay, loop, time + kFastStep); });
}

}  // namespace

int Execute(const ReplayOptions& options, MainLoop& loop) {
    const auto recording = ReadRecording(options.File);
    const auto output = OutputOf(options.Json);
    if (recording.CutOff) output->Note(options.File + ": the last line is cut off and left out");
    Replay replay(recording, *output, loop);

    const auto started = loop.Apartment().Now();
    const auto step = loop.Apartment().CreateTimer([&] { replay.RunUntil(loop.Apartment().Now() - started); });
    if (options.Fast) {
        loop.Apartment().Post([&] { RunFast(replay, loop, kFastStep); });
    } else {
        step->Rearm(kRealTimeStepMs, true);
    }
    loop.Run();
    output->Note(replay.Summary());
    return kDone;
}

}  // namespace orvix::station
