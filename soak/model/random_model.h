#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "soak/model/model_devices.h"
#include "soak/model/task_ledger.h"
#include "tests/end_to_end/host_side.h"
#include "tests/support/meddled_messaging.h"

namespace orvix::soak {

/// A host with adapter and driver in virtual time that does at random whatever a host can do, in any order, also within
/// the notifications that it gets, while the driver's messages are lost, doubled, late or foreign and the line fails.
/// Now and then the adapter is closed and another one made. Every task must end exactly once, with its own answer.
///
/// The same seed gives the same run.
class RandomModel {
public:
    RandomModel(tests::Placement placement, std::uint32_t seed);

    /// Goes on until so many events have passed in all, then closes. An event is something that the host does, a
    /// message of the driver, a request on the line, or a value that the host is told.
    void Run(std::uint64_t events);
    const ModelCounts& Counts() const { return m_Counts; }

private:
    /// One adapter with its driver, from its creation until it has been closed.
    struct Life {
        Life(RandomModel& model, std::shared_ptr<iOrvixDriver> driver);

        TaskLedger Ledger;
        tests::HostSide Side;
        std::unique_ptr<Timer> Acting;
        std::unique_ptr<Timer> Closing;  ///< asks the adapter to close, once the host wants it to
        /// Init has been called since: the adapter may take work again that only its release ends.
        bool StartedAgain = false;
    };

    void Live(std::uint64_t end);
    void Close();
    void CheckEntriesAreGone();
    std::unique_ptr<Life> NewLife();

    // What the host does; each is one event.
    void Act();
    void DoSomething();
    void AskByEntry();
    void AskByMessage();
    void AskByObject();
    void AskWithLockedEntry();
    void QueueAgain();
    void ChangeAddress();
    void WaitForATask();
    void SwitchOnline();
    void ChangeSettings();
    void ChangeRetries();
    void ExchangeDevice();
    void InitAgain();
    void SendForeign();
    void AskToClose();
    void DoSomethingSoon();
    void DoAfterHops(std::uint64_t life, std::uint32_t hops);

    // What the host is told.
    void Watch(iOrvixDevice& device);
    void Told(std::size_t device, VariableRecord& record);

    void PassEvent();
    void AddDevices();
    void AddOfflineDevice();
    std::unique_ptr<iOrvixTaskNB1> NewTask(AskedTask& asked);
    ORVIXCNB1_VARS AnyVariable(std::int32_t model);
    void Soil(iOrvixTaskNB1& task);
    std::unique_ptr<SharedEntry> EntryOf(const iOrvixTaskNB1& task);
    std::int32_t AnyPriority() { return static_cast<std::int32_t>(Draw(m_Random, 2)); }
    tests::MeddledMessaging::Fate FateOf(const std::string& message);
    /// In virtual time nobody may wait for a driver that is within an exchange.
    bool DriverCanBeCalled() const { return !m_Apart || !m_DriverHost.Line.Waiting; }

    Random m_Random;
    ModelCounts m_Counts;
    bool m_Apart;
    tests::World m_World;
    tests::TestHost m_Host{m_World, 1};
    tests::TestHost m_Other{m_World, 2};
    tests::TestHost& m_DriverHost = m_Apart ? m_Other : m_Host;
    tests::MeddledMessaging m_Meddled{m_DriverHost.Messaging, m_DriverHost.Apartment};
    Services m_DriverServices{
        m_DriverHost.Apartment, m_Meddled,           m_DriverHost.Line, m_DriverHost.Stores, m_DriverHost.Database,
        m_DriverHost.Reports,   m_DriverHost.Viewer, m_DriverHost.State};
    ModelDevices m_Devices{m_DriverHost.Apartment, m_DriverHost.Line, m_Random};
    std::uint64_t m_Asked = 0;
    int m_Depth = 0;                     ///< waits and notifications that the host is within
    int m_Telling = 0;                   ///< of these, notifications
    std::deque<std::string> m_WorkKeys;  ///< of the last work items
    std::uint64_t m_Lives = 0;
    std::unique_ptr<Life> m_Life;
};

}  // namespace orvix::soak
