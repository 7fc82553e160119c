#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::bench {
namespace {

constexpr int kCalls = 5000;

/// What the state of a task holds, as the peer's own program would keep it.
struct PlainTask {
    std::string ID = "a1b2c3d4e5f6g7h8i9j0k42";
    std::int32_t CmdType = ORVIXCNB1_TA_GET_VAR;
    std::string Cmd = std::string("\x0B\0", 2);
    bool CmdSended = true;
    bool CmdExecuted = true;
    std::int32_t ResponseBytes = 7;
    std::int32_t ArrivalExpectedBytes = 7;
    std::vector<std::int32_t> Params = {ORVIXCNB1_VAR_TEMPERATURE};
    std::vector<std::string> RtnArgs = {std::string("\x03\x40\x00\x00", 4)};
    std::string Name = "Reading Temp Device 5";
    std::int32_t TimeoutInterval = 1900;
    std::int32_t NetTimeoutInterval = 10;
    std::int32_t e = 0;
    std::string eDescr;
    bool ContinueIfFail = false;
    std::string MemMapKey = "a1b2c3d4e5f6g7h8i9j0k41";
    std::string DeviceAddress = "5";
    std::int32_t DeviceModel = 106;
    // Fields that no task of this bus uses; they are part of the state all the same.
    bool ResponseAsParameter = false;
    std::string Response;
    bool DataReturnedAsArray = false;
    std::string Arrival;
    std::int32_t ArrivalBytes = 0;
    bool WaitingMultiPart = false;
    std::string Device;
    friend bool operator==(const PlainTask&, const PlainTask&) = default;
};

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(PlainTask, ID, CmdType, Cmd, CmdSended, CmdExecuted, ResponseBytes,
                                   ArrivalExpectedBytes, Params, RtnArgs, Name, TimeoutInterval, NetTimeoutInterval, e,
                                   eDescr, ContinueIfFail, MemMapKey, DeviceAddress, DeviceModel, ResponseAsParameter,
                                   Response, DataReturnedAsArray, Arrival, ArrivalBytes, WaitingMultiPart, Device)

std::vector<std::uint8_t> Save(const PlainTask& task) {
    return nlohmann::json::to_cbor(nlohmann::json(task));
}

/// The same with the entries of the library's state, where each list item has a key and each list a count.
std::vector<std::uint8_t> SaveByEntries(const PlainTask& task) {
    nlohmann::json entries(task);
    entries.erase("Params");
    entries.erase("RtnArgs");
    entries["Param1"] = task.Params[0];
    entries["ParamsCount"] = 1;
    entries["RtnArg1"] = task.RtnArgs[0];
    entries["RtnArgsCount"] = 1;
    return nlohmann::json::to_cbor(entries);
}

PlainTask Load(const std::vector<std::uint8_t>& bytes) {
    return nlohmann::json::from_cbor(bytes).get<PlainTask>();
}

struct OwnTask {
    tests::World World;
    tests::TestHost Host{World};
    cOrvixTaskNB1 Object{Host.Services};
    iOrvixTaskNB1& Task = Object;
    cOrvixTaskNB1 LoadedObject{Host.Services};
    iOrvixTaskNB1& Loaded = LoadedObject;

    OwnTask() {
        const PlainTask content;
        Task.ID(content.ID);
        Task.CmdType(ORVIXCNB1_TA_GET_VAR);
        Task.Cmd(content.Cmd);
        Task.ResponseBytes(content.ResponseBytes);
        Task.ArrivalExpectedBytes(content.ArrivalExpectedBytes);
        Task.Params() = {content.Params[0]};
        Task.RtnArgs() = {content.RtnArgs[0]};
        Task.Name(content.Name);
        Task.TimeoutInterval(content.TimeoutInterval);
        Task.NetTimeoutInterval(content.NetTimeoutInterval);
        Task.MemoryMapKey(content.MemMapKey);
        Task.DeviceAddress(content.DeviceAddress);
        Task.DeviceModel(content.DeviceModel);
        Task.CmdSended(true);
        Task.CmdExecuted(true);
    }
};

}  // namespace

void AddTaskStateComparisons() {
    const auto own = std::make_shared<OwnTask>();
    const PlainTask plain;
    if (Load(Save(plain)) != plain) throw std::logic_error("the plain task does not come back");

    AddComparison(
        "task state", {"round trip", "ns", AtMost(1.0 / 3)}, 31,
        [own] {
            return TimePerCall(kCalls, [&] {
                own->Loaded.SetSuperState(own->Task.GetSuperState());
                benchmark::DoNotOptimize(own->LoadedObject);
            });
        },
        [plain] {
            return TimePerCall(kCalls, [&] {
                auto loaded = Load(Save(plain));
                benchmark::DoNotOptimize(loaded);
            });
        });
    const auto size = [own] { return static_cast<double>(own->Task.GetSuperState().size()); };
    AddComparison("task state", {"size, same entries", "bytes", AtMost(1.1)}, 1, size,
                  [plain] { return static_cast<double>(SaveByEntries(plain).size()); });
    AddComparison("task state", {"size, lists as arrays", "bytes", AtMost(1.1)}, 1, size,
                  [plain] { return static_cast<double>(Save(plain).size()); });
}

}  // namespace orvix::bench
