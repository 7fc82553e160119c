#pragma once

#include <csignal>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tests/station/mqtt_broker.h"

namespace orvix::tests {

/// A station with a simulated device, too cold, that reports to a broker.
struct Reporting {
    /// `mqtt`: lines of its configuration; `devices`: more devices.
    explicit Reporting(const std::string& mqtt, const std::string& devices = {}) {
        Configure(mqtt, devices);
        Start();
    }
    void Start() {
        Station.emplace(
            std::vector<std::string>{"run", "--plain", "--no-history", "--config", File, "--data", Folder.Path + "/d"});
    }
    void Configure(const std::string& mqtt, const std::string& devices = {}) const {
        std::ofstream(File) << "[[bus]]\nport = \"simulated\"\nname = \"hall 1/a\"\nevery = \"100ms\"\n"
                            << "[[bus.device]]\naddress = 5\nmodel = \"sensor\"\n"
                            << Limits << devices << "[mqtt]\nstation = \"s1\"\n"
                            << mqtt;
    }
    void Reload(const std::string& mqtt) const {
        Configure(mqtt);
        Station->Signal(SIGHUP);
    }
    /// Waits for readings that are shown from now on.
    void AwaitReadings() {
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(Station->AwaitOutput("\n"));
    }

    std::string Limits = "low = 84.0\nhigh = 90.0\n";
    TestFolder Folder;
    const std::string File = Folder.Path + "/nimbo1.toml";
    std::optional<Program> Station;
};

inline std::string At(const Broker& broker, const std::string& scheme = "mqtt") {
    return "broker = \"" + scheme + "://127.0.0.1:" + std::to_string(broker.Port) + "\"\n";
}

inline bool IsSomething(const std::string& payload) {
    return !payload.empty();
}

}  // namespace orvix::tests
