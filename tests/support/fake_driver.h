#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/iOrvixDriver.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

/// A driver without a line: writes down how it is configured and what it is sent, and answers when the test says so.
class FakeDriver : public iOrvixDriver {
public:
    explicit FakeDriver(TestHost& host) : Peer(host.Messaging, kName, ""), m_Host(host) {}

    /// Keys of the work items among what has been received since the last call.
    std::vector<std::string> TakeWork() {
        std::vector<std::string> keys;
        for (const std::string& message : Peer.Take()) {
            if (message.starts_with("work:")) keys.push_back(message.substr(5));
        }
        return keys;
    }

    void Send(const std::string& message) { Peer.Endpoint().SendCustomMessage(message); }

    /// The task in a work item.
    std::shared_ptr<iOrvixTaskNB1> Load(const std::string& key) {
        const auto entry = m_Host.Messaging.CreateSharedEntry();
        entry->Open(key);
        auto task = std::make_shared<cOrvixTaskNB1>(m_Host.Services);
        iOrvixTask& loaded = *task;
        loaded.SetSuperState(entry->Data().ArgumentList.at(0));
        EXPECT_NE(loaded.ID(), "") << "the adapter names each task";
        return task;
    }

    /// Puts a task's result into its work item, with these return arguments and what else is changed of the task.
    void Finish(const std::string& key, VariantList rtnArgs, const std::function<void(iOrvixTaskNB1&)>& change = {}) {
        const auto task = Load(key);
        task->RtnArgs() = std::move(rtnArgs);
        task->e(errors::None);
        task->CmdExecuted(true);
        if (change) change(*task);
        const auto entry = m_Host.Messaging.CreateSharedEntry();
        entry->Open(key);
        entry->Data().ResultList.push_back(task->GetSuperState());
    }

    /// Finishes a work item and says so.
    void Answer(const std::string& key, VariantList rtnArgs, const std::function<void(iOrvixTaskNB1&)>& change = {}) {
        Finish(key, std::move(rtnArgs), change);
        Send(JoinFields({"TASKCOMPLETE", "0", ""}));
    }

    RecordingEndpoint Peer;
    std::vector<std::string> Writes;  ///< "NetRetry=3", in order

private:
    void Write(const std::string& name, const Variant& value) { Writes.push_back(name + "=" + value.ToText()); }

    std::int32_t iOrvixDriver_ThreadID() const override { return 1; }
    void iOrvixDriver_Path(std::string rhs) override { Write("Path", rhs); }
    void iOrvixDriver_NetRetry(std::int16_t rhs) override { Write("NetRetry", rhs); }
    void iOrvixDriver_PortType(std::int32_t rhs) override { Write("PortType", rhs); }
    void iOrvixDriver_PortAddress(std::string rhs) override { Write("PortAddress", rhs); }
    void iOrvixDriver_PortSettings(std::string rhs) override { Write("PortSettings", rhs); }
    std::string iOrvixDriver_ServerIPCName() const override { return kName; }
    void iOrvixDriver_ServerIPCName(std::string) override {}
    void iOrvixDriver_SubscriberIPCName(std::string rhs) override { Peer.Endpoint().PeerName(rhs); }
    void iOrvixDriver_DebugMode(bool rhs) override { Write("DebugMode", rhs); }
    void iOrvixDriver_LogMode(std::int16_t rhs) override { Write("LogMode", rhs); }
    void iOrvixDriver_LogPath(std::string rhs) override { Write("LogPath", rhs); }
    void iOrvixDriver_Simulation(bool rhs) override { Write("Simulation", rhs); }
    void iOrvixDriver_Init() override {}

    static constexpr char kName[] = "DRIVER";
    TestHost& m_Host;
};

}  // namespace orvix::tests
