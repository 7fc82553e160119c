#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace orvix::soak {

/// What one bus of a soak has come to.
struct Counts {
    using ByKind = std::map<std::string, std::uint64_t>;

    std::uint64_t Events = 0;  ///< of the random model
    std::uint64_t Readings = 0;
    std::uint64_t Tasks = 0;  ///< that the host has asked for
    ByKind Faults;            ///< made on the line
    ByKind Errors;            ///< told to the host, or that a task of the host ended with

    // Each of these must be 0.
    std::uint64_t WrongValues = 0;
    std::uint64_t WrongAnswers = 0;  ///< tasks that were answered without a reading of their device
    std::uint64_t LostTasks = 0;     ///< never answered
    std::uint64_t Stalls = 0;        ///< minutes without any reading
    std::uint64_t NotClosed = 0;     ///< adapters that did not agree to be closed
    ByKind Broken;                   ///< rules that the random model has found broken
};

/// What a program holds of the system.
struct Footprint {
    std::int64_t Descriptors = 0;
    std::int64_t ResidentKiB = 0;

    static Footprint Now();
};

/// A part of the soak: its buses, and what the program held when it had warmed up and when it was over.
struct Part {
    std::string Name;
    std::vector<Counts> Buses;
    Footprint WarmedUp;
    Footprint Over;
};

/// Prints the parts side by side. Returns whether everything that must be 0 is.
bool Report(const std::vector<Part>& parts);

}  // namespace orvix::soak
