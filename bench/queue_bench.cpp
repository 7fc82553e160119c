#include <benchmark/benchmark.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <stdexcept>
#include <vector>

#include "adapter/cOrvixAdapterNB1.h"
#include "adapter/task_queue.h"
#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/fake_driver.h"
#include "tests/support/test_host.h"

namespace orvix::bench {
namespace {

const std::string kReply("\x83\x40\x00\x00", 4);
constexpr int kDevices = 255;

/// Tasks that all ask for something else.
std::vector<TaskRef> MakeTasks(const Services& services, int count) {
    std::vector<TaskRef> tasks;
    for (int i = 0; i < count; ++i) {
        TaskRef task = std::make_shared<cOrvixTaskNB1>(services);
        task->ID("task" + std::to_string(i));
        task->DeviceAddress(std::to_string(i));
        task->DeviceModel(106);
        task->GetVar(ORVIXCNB1_VAR_TEMPERATURE);
        tasks.push_back(std::move(task));
    }
    return tasks;
}

/// A queue without indexes: who did the same work is found by going through all that is queued.
class PlainQueue {
public:
    void Append(const TaskRef& task) { m_Entries.push_back({task->Tag(), task}); }
    bool Empty() const { return m_Entries.empty(); }
    const TaskRef& Head() const { return m_Entries.front().Task; }
    TaskRef FindLinked(const iOrvixTaskNB1& task, const std::string& tag) const {
        for (const auto& entry : m_Entries) {
            if (entry.Tag == tag && entry.Task.get() != &task && !entry.Task->Executed()) return entry.Task;
        }
        return nullptr;
    }
    void Remove(const iOrvixTaskNB1& task) {
        const auto found =
            std::find_if(m_Entries.begin(), m_Entries.end(), [&](const auto& e) { return e.Task.get() == &task; });
        if (found != m_Entries.end()) m_Entries.erase(found);
    }

private:
    struct Entry {
        std::string Tag;
        TaskRef Task;
    };
    std::deque<Entry> m_Entries;
};

/// Nanoseconds a task: all are queued, then each is removed and its linked tasks are looked for.
template <class Queue>
double TimePerTask(const std::vector<TaskRef>& tasks) {
    std::vector<std::string> tags;
    for (const TaskRef& task : tasks)
        tags.push_back(task->Tag());
    const auto drain = [&] {
        Queue queue;
        for (const TaskRef& task : tasks)
            queue.Append(task);
        for (std::size_t i = 0; !queue.Empty(); ++i) {
            const TaskRef head = queue.Head();
            queue.Remove(*head);
            auto linked = queue.FindLinked(*head, tags[i]);
            benchmark::DoNotOptimize(linked);
        }
    };
    const auto count = static_cast<int>(tasks.size());
    return TimePerCall(std::max(1, 10000 / count), drain) / count;
}

/// An adapter with a full bus, online in virtual time, whose driver answers at once.
class FullBus {
public:
    FullBus() {
        m_Adapter.SubscriberIPCName("HOST");
        m_Adapter.Driver(m_Driver);
        m_Adapter.PortType(2);
        m_Adapter.PortAddress("3");
        m_Adapter.Init();
        for (int address = 1; address <= kDevices; ++address)
            m_Adapter.DeviceAdd(NumberText(address), 106);
        m_Adapter.OnLine(true);
        Tick();
        m_Driver->Send("CONNECTED");
        Tick();
        Tick();
    }

    /// Queues a host's tasks: readings of so many devices and both variables in turn; of one device, its temperature.
    void Flood(int count, int devices) {
        for (int i = 0; i < count; ++i) {
            cOrvixTaskNB1 object(m_Host.Services);
            iOrvixTaskNB1& task = object;
            task.DeviceAddress(NumberText(i % devices + 1));
            task.DeviceModel(106);
            task.GetVar(devices == 1 || i / devices % 2 == 0 ? ORVIXCNB1_VAR_TEMPERATURE : ORVIXCNB1_VAR_SERIAL_NUMBER);
            task.TimeoutInterval(60000);
            auto entry = m_Host.Messaging.CreateSharedEntry();
            entry->Create("");
            entry->Data().ArgumentList.push_back(task.GetSuperState());
            m_Adapter.NewWork(entry->Name(), 0);
            m_Entries.push_back(std::move(entry));
        }
    }

    /// Has every device's serial number and temperature read by polling.
    void Poll() {
        m_Adapter.PollingMSecs(3600000);
        for (int address = 1; address <= kDevices; ++address) {
            const auto device = m_Adapter.Devices()->Item(NumberText(address));
            for (const ORVIXCNB1_VARS variable : {ORVIXCNB1_VAR_SERIAL_NUMBER, ORVIXCNB1_VAR_TEMPERATURE}) {
                device->MonitorVar(variable, 1, 3600000);
                device->VarsEx().Item(NumberText(std::int32_t{variable}))->Monitored(true);
            }
            device->Monitor(true);
        }
        m_Adapter.MonitorVars(true);
    }

    /// Runs until the queue is empty. Returns the processor time of each tick of the loop, in nanoseconds.
    std::vector<double> Drain() {
        std::vector<double> ticks;
        do {
            ticks.push_back(Tick());
            for (const std::string& key : m_Driver->TakeWork())
                m_Driver->Answer(key, {kReply});
            m_Host.Run(0);
        } while (m_Object.iOrvixNB1Adapter::Busy());
        for (const auto& entry : m_Entries) {
            if (!entry->Succeeded()) throw std::runtime_error("a task has not been answered");
        }
        m_Entries.clear();
        return ticks;
    }

private:
    double Tick() {
        const double start = ThreadTime();
        m_Host.Run(10);
        const double time = ThreadTime() - start;
        m_Subscriber.Take();
        return time;
    }

    tests::World m_World;
    tests::TestHost m_Host{m_World};
    tests::RecordingEndpoint m_Subscriber{m_Host.Messaging, "HOST", ""};
    std::shared_ptr<tests::FakeDriver> m_Driver = std::make_shared<tests::FakeDriver>(m_Host);
    cOrvixAdapterNB1 m_Object{m_Host.Services};
    iOrvixAdapter& m_Adapter = m_Object;
    std::vector<std::unique_ptr<SharedEntry>> m_Entries;
};

double Sum(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values)
        sum += value;
    return sum;
}

void AddFloods() {
    constexpr double kMicrosecond = 1e3;
    constexpr double kMillisecondInMicroseconds = 1e3;
    // Equal tasks are answered together, by one exchange and in one tick.
    const struct {
        const char* Subject;
        int Count, Devices;
    } floods[] = {{"flood of 16", 16, kDevices},
                  {"flood of 1000", 1000, kDevices},
                  {"flood of 10000", 10000, kDevices},
                  {"flood of 10000 equal", 10000, 1}};
    for (const auto& [subject, count, devices] : floods) {
        const std::vector<Metric> metrics = {{"taking in a task", "us"},
                                             {"completing a task", "us"},
                                             {"middle tick", "us"},
                                             {"longest tick : 1 ms", "us", AtMost(1)}};
        AddComparison(subject, metrics, 7, [count = count, devices = devices](int) {
            FullBus bus;
            const double takingIn = TimePerCall(1, [&] { bus.Flood(count, devices); }) / count / kMicrosecond;
            const auto ticks = bus.Drain();
            return std::vector<Pair>{
                {takingIn},
                {Sum(ticks) / count / kMicrosecond},
                {Median(ticks) / kMicrosecond},
                {*std::max_element(ticks.begin(), ticks.end()) / kMicrosecond, kMillisecondInMicroseconds}};
        });
    }
}

void AddFullBus() {
    AddComparison("full bus", {{"planning a task", "us"}, {"completing a task", "us"}}, 7, [](int) {
        FullBus bus;
        bus.Poll();
        const auto ticks = bus.Drain();
        // The tick that plans is the longest by far.
        const double planning = *std::max_element(ticks.begin(), ticks.end());
        constexpr double kTasks = 2.0 * kDevices;
        return std::vector<Pair>{{planning / kTasks / 1e3}, {(Sum(ticks) - planning) / kTasks / 1e3}};
    });
}

}  // namespace

void AddQueueComparisons() {
    static tests::World world;
    static tests::TestHost host(world);
    for (const int count : {16, 1000, 10000}) {
        const auto tasks = std::make_shared<std::vector<TaskRef>>(MakeTasks(host.Services, count));
        AddComparison(
            "queue of " + std::to_string(count) + " : plain scan", {"a task", "ns"}, 7,
            [tasks] { return TimePerTask<TaskQueue>(*tasks); }, [tasks] { return TimePerTask<PlainQueue>(*tasks); });
    }
    AddFullBus();
    AddFloods();
}

}  // namespace orvix::bench
