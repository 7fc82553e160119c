#include "station/run/health_book.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "devices/protocol/bus_line.h"
#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

constexpr int kMinute = 60;

struct Count {
    std::uint64_t Value = 0;
    void Add(const Count& other) { Value += other.Value; }
};

double Share(std::uint64_t bytes, Duration time) {
    if (time <= Duration::zero()) return 0;
    return static_cast<double>(bytes) * static_cast<double>(kByteTime.count()) / static_cast<double>(time.count());
}

/// A device that tells no serial number is well all the same.
bool RefusesSerialNumber(const Exchange& exchange) {
    return exchange.Outcome == Outcome::Refused && exchange.Asked == kSerialNumberCode;
}

}  // namespace

/// What is known of one bus.
class HealthBook::BusRecord {
public:
    explicit BusRecord(const BusSetup& setup) : m_Setup(setup) {}

    void Devices(const BusSetup& setup) {
        m_Setup = setup;
        for (const auto& device : setup.Devices)
            m_Addresses.try_emplace(device.Address);
    }
    void Forget(int address) { m_Addresses.erase(address); }

    void Take(const LineEvent& event) {
        using Kind = LineEvent::Kind;
        m_Now = event.Time;
        if (!m_Started) m_Started = event.Time;
        m_Bytes.Value += event.Bytes.size();
        m_RecentBytes.At(m_Now).Value += event.Bytes.size();
        if (event.What == Kind::Failed) {
            // Each attempt to open it again fails too, and is the same failure.
            if (!m_PortDown) {
                ++m_PortFailures;
                ++m_RecentPortFailures.At(m_Now).Value;
                m_PortDown = {event.Reason, {}, m_WasOpen};
                m_PortDownSince = event.Time;
            }
            // The time without a port is no period that a device has been read in.
            for (auto& [address, record] : m_Addresses)
                record.LatestPoll.reset();
        }
        // A closed port and a request that is about to be written prove nothing.
        if (event.What == Kind::Opened || event.What == Kind::Received || event.What == Kind::Echoed ||
            event.What == Kind::Discarded)
            Works();
    }

    void Take(const Reading& reading) {
        if (reading.Valid()) m_Trouble.clear();
        const auto found = m_Addresses.find(reading.Address);
        if (found == m_Addresses.end()) return;
        auto& record = found->second;
        // Without a port a reading fails without an exchange of its own.
        const auto outcome = std::exchange(record.LatestOutcome, std::nullopt);
        record.Count(m_Now, ReadingEnd{.IsGood = reading.IsGood(),
                                       .IsDoubtful = reading.Valid() && !reading.IsGood(),
                                       .HasNoValue = !reading.Valid() && outcome == Outcome::Good});
        if (reading.IsGood()) record.LastGood = m_Now;
    }

    void Take(const Exchange& exchange) {
        for (const auto& surplus : exchange.Extras) {
            const auto source = m_Addresses.find(surplus.Address);
            (source == m_Addresses.end() ? m_Idle : source->second).Count(m_Now, surplus);
        }
        const auto found = m_Addresses.find(exchange.Address);
        if (found == m_Addresses.end()) return;
        auto& record = found->second;
        record.Count(m_Now, exchange);
        record.LatestOutcome = exchange.Outcome;
        // What is read again at once is read for the same period.
        const bool isPoll = !record.LatestPoll || 2 * (exchange.Sent - *record.LatestPoll) >= m_Setup.Every;
        if (exchange.Attempt == 0 && exchange.Outcome != Outcome::LineLost && isPoll) {
            if (record.LatestPoll) record.Count(m_Now, exchange.Sent - *record.LatestPoll);
            record.LatestPoll = exchange.Sent;
        }
        if (exchange.Outcome == Outcome::Silent || exchange.Outcome == Outcome::Late) Works();
        if (exchange.Outcome == Outcome::Silent) {
            ++record.SilentInARow;
        } else if (exchange.Outcome != Outcome::LineLost) {
            record.SilentInARow = 0;
        }
    }

    void Take(const Failure& trouble) { m_Trouble = trouble.Text; }

    BusHealth At(Duration now) {
        BusHealth health;
        health.Port = m_Setup.PortLabel;
        health.Every = m_Setup.Every;
        health.ReplyLimit = m_Setup.ReplyLimit();
        health.Attempts = m_Setup.Retries + 1;
        const Duration lived = m_Started ? now - *m_Started : Duration::zero();
        health.Load = Share(m_Bytes.Value, lived);
        health.LoadLastMinute =
            Share(m_RecentBytes.Total(now).Value, std::min<Duration>(lived, std::chrono::seconds(kMinute)));
        health.PortFailures = m_PortFailures;
        health.RecentPortFailures = m_RecentPortFailures.Total(now).Value;
        health.Idle = m_Idle.At(0, now);
        health.PortDown = m_PortDown;
        if (m_PortDown) health.PortDown->Age = now - m_PortDownSince;
        health.Trouble = m_Trouble;
        for (auto& [address, record] : m_Addresses)
            health.Addresses.push_back(record.At(address, now));
        return health;
    }

private:
    struct AddressRecord {
        Tally Total;
        SlidingWindow<Tally, 5, kMinute> Recent;
        std::optional<Duration> LastGood;
        std::optional<Duration> LatestPoll;
        std::uint64_t SilentInARow = 0;
        std::optional<Outcome> LatestOutcome;  ///< of the exchanges since the latest reading

        template <class Event>
        void Count(Duration now, const Event& event) {
            Total.Add(event);
            Recent.At(now).Add(event);
        }

        AddressHealth At(int address, Duration now) {
            AddressHealth health;
            health.Address = address;
            health.Total = Total;
            health.Recent = Recent.Total(now);
            if (LastGood) health.LastGood = now - *LastGood;
            health.SilentInARow = SilentInARow;
            return health;
        }
    };

    void Works() {
        m_PortDown.reset();
        m_WasOpen = true;
    }

    BusSetup m_Setup;
    std::map<int, AddressRecord> m_Addresses;
    AddressRecord m_Idle;
    Duration m_Now{0};
    std::optional<Duration> m_Started;
    Count m_Bytes;
    SlidingWindow<Count, kMinute, 1> m_RecentBytes;
    std::uint64_t m_PortFailures = 0;
    SlidingWindow<Count, 10, kMinute> m_RecentPortFailures;
    std::optional<PortFailure> m_PortDown;
    Duration m_PortDownSince{0};
    bool m_WasOpen = false;
    std::string m_Trouble;
};

HealthBook::HealthBook() = default;
HealthBook::~HealthBook() = default;

void HealthBook::OnSetup(const BusSetup& setup) {
    auto& record = m_Buses[setup.PortLabel];
    if (!record) record = std::make_unique<BusRecord>(setup);
    record->Devices(setup);
}

void HealthBook::OnDeviceGone(const DeviceId& device) {
    const auto bus = m_Buses.find(device.Port);
    if (bus != m_Buses.end()) bus->second->Forget(device.Address);
}

void HealthBook::OnPortGone(const std::string& port) {
    m_Buses.erase(port);
}

void HealthBook::OnReading(const Reading& reading) {
    const auto bus = m_Buses.find(reading.Port);
    if (bus != m_Buses.end()) bus->second->Take(reading);
}

void HealthBook::OnTrouble(const std::string& port, const Failure& failure) {
    const auto bus = m_Buses.find(port);
    if (bus != m_Buses.end()) bus->second->Take(failure);
}

void HealthBook::OnLine(const LineEvent& event) {
    const auto bus = m_Buses.find(event.Port);
    if (bus != m_Buses.end()) bus->second->Take(event);
}

void HealthBook::OnExchange(const Exchange& exchange) {
    if (RefusesSerialNumber(exchange)) return;
    const auto bus = m_Buses.find(exchange.Port);
    if (bus != m_Buses.end()) bus->second->Take(exchange);
}

StationHealth HealthBook::At(Duration now, std::int64_t unixMilliseconds, const std::vector<Reading>& values) {
    StationHealth health{unixMilliseconds, {}, {}};
    for (auto& [port, record] : m_Buses)
        health.Buses.push_back(record->At(now));
    for (const auto& reading : values) {
        for (auto& bus : health.Buses) {
            if (bus.Port != reading.Port) continue;
            for (auto& address : bus.Addresses) {
                if (address.Address != reading.Address) continue;
                address.Name = reading.Name;
                address.Model = reading.Model;
                address.Identifier = reading.Identifier;
                address.Quality = reading.Quality;
                address.Value = reading.LastGood;
            }
        }
    }
    return health;
}

}  // namespace orvix::station
