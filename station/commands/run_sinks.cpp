#include "station/commands/run_sinks.h"

#include <initializer_list>
#include <utility>

#include "station/model/bus_setup.h"
#include "station/store/device_registry.h"
#include "station/store/history_schema.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

constexpr auto kAlarmCommandLimit = std::chrono::seconds(30);

std::function<void(const std::string&)> NotesTo(Output& output) {
    return [&output](const std::string& text) { output.Note(text); };
}

}  // namespace

RunSinks::RunSinks(const RunOptions& options, const StationSetup& setup, const StationFolders& folders, Output& output,
                   platform::RealApartment& home, std::function<bool()> moves,
                   std::function<bool(const std::string& port)> isSimulated, MqttQuestions questions)
    : Shown(output, home, {.Readings = !options.Quiet, .Messages = options.Bus.Verbose}),
      Service(home, std::move(moves)),
      AlarmProgram(setup.OnAlarm, kAlarmCommandLimit, home, NotesTo(output)),
      Session(NewUuid()),
      Identities(folders.Database, DeviceRegistry(folders.Database).Identities(), home, NotesTo(output)),
      Events(home, Session),
      Lines(home, Session),
      Mqtt(Session, home, std::move(questions), NotesTo(output)) {
    if (setup.History.On) {
        const auto fileOf = [data = folders.Data, isTogether = HoldsSimulated(folders.Data),
                             isSimulated = std::move(isSimulated)](const std::string& port) {
            const bool isApart = isSimulated(port) && !(isTogether && port == kSimulatedPort);
            return data + (isApart ? kSimulatedHistoryFile : kHistoryFile);
        };
        History = std::make_unique<Histories>(fileOf, setup.History, Session, home, NotesTo(output));
    }
    if (!options.Record.empty()) {
        Recording = std::make_unique<Recorder>(options.Record, home, setup.Buses.size() > 1, NotesTo(output));
    }
}

void RunSinks::AddTo(StationRun& run) {
    for (Listener* sink : std::initializer_list<Listener*>{&Shown, &Service, &Health, &AlarmProgram, &Identities,
                                                           &Events, &Lines, &Mqtt, History.get(), Recording.get()}) {
        if (sink != nullptr) run.Add(*sink);
    }
}

}  // namespace orvix::station
