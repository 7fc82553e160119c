#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "driver/cOrvixDriverNB1.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

/// What a test asks of the driver; by default the temperature of sensor 5.
struct Request {
    std::int32_t CmdType = ORVIXCNB1_TA_GET_VAR;
    VariantList Params = {std::int32_t{ORVIXCNB1_VAR_TEMPERATURE}};
    std::int32_t Model = 106;
    std::string Address = "5";
    std::int32_t TimeFactor = 10;
    std::string Command = std::string("\x0B\0", 2);
};

inline constexpr char kTemperatureRequest[] = "1D 04 05 00 0B 00 0B 01 03";
inline constexpr char kTemperatureReply[] = "1D 08 05 04 0B 00 80 A0 00 00 2F 0D 03";

/// A configured driver on port 3, and the adapter's end of its channel.
class DriverTest : public testing::Test {
protected:
    DriverTest() {
        Driver->SubscriberIPCName("adapter");
        Driver->Path("/data");
        Driver->PortType(2);
        Driver->PortAddress("3");
    }

    void Send(const std::string& message) {
        Adapter.Endpoint().SendCustomMessage(message);
        Host.Run(0);
    }

    std::unique_ptr<SharedEntry> Entry(const Request& request) {
        cOrvixTaskNB1 task(Host.Services);
        task.iOrvixTaskNB1::CmdType(static_cast<ORVIXCNB1_TASK_ACTION>(request.CmdType));
        task.Params() = request.Params;
        task.DeviceModel(request.Model);
        task.DeviceAddress(request.Address);
        task.NetTimeoutInterval(request.TimeFactor);
        task.Cmd(request.Command);
        task.ResponseBytes(7);
        return EntryWith(Host.Messaging, task.GetSuperState());
    }

    /// Has the driver do the work; what it sent stands in Messages, the virtual time it took in Took.
    std::unique_ptr<iOrvixTaskNB1> Execute(const Request& request) {
        const auto entry = Entry(request);
        const Duration start = World.Scheduler.Now();
        Adapter.Take();
        Messages.clear();
        Adapter.Endpoint().SendNewWork(entry->Name());
        World.Scheduler.RunUntil([&] { return Answered(); }, std::chrono::hours(1));
        Took = World.Scheduler.Now() - start;
        EXPECT_TRUE(entry->Data().Processed);
        EXPECT_TRUE(entry->Data().ArgumentList.empty());
        auto result = std::make_unique<cOrvixTaskNB1>(Host.Services);
        result->SetSuperState(entry->Data().ResultList.at(0));
        EXPECT_TRUE(result->CmdExecuted());
        return result;
    }

    bool Answered() {
        for (auto& message : Adapter.Take())
            Messages.push_back(std::move(message));
        return !Messages.empty() && Messages.back().starts_with("TASKCOMPLETE");
    }

    std::string HostText(ErrorNumber number) { return Host.Database.Messages.at("#" + NumberText(number)); }

    tests::World World;
    TestHost Host{World};
    std::unique_ptr<cOrvixDriverNB1> Driver = std::make_unique<cOrvixDriverNB1>(Host.Services);
    RecordingEndpoint Adapter{Host.Messaging, "adapter", Driver->ServerIPCName()};
    std::vector<std::string> Messages;
    Duration Took{};
};

}  // namespace orvix::tests
