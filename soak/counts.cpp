#include "soak/counts.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

namespace orvix::soak {

namespace {

/// Growth that an allocator shows without a leak.
constexpr std::int64_t kAllocatorSlackKiB = 2048;

using Cell = std::function<std::int64_t(const Part&)>;

void PrintRow(const std::vector<Part>& parts, const std::string& name, const Cell& cell) {
    std::printf("%-58s", name.c_str());
    for (const Part& part : parts)
        std::printf(" %18lld", static_cast<long long>(cell(part)));
    std::printf("\n");
}

std::int64_t Sum(const Part& part, const std::function<std::uint64_t(const Counts&)>& value) {
    std::uint64_t sum = 0;
    for (const Counts& bus : part.Buses)
        sum += value(bus);
    return static_cast<std::int64_t>(sum);
}

Cell SumOf(std::uint64_t Counts::*field) {
    return [field](const Part& part) { return Sum(part, [field](const Counts& bus) { return bus.*field; }); };
}

void PrintKinds(const std::vector<Part>& parts, const std::string& title, Counts::ByKind Counts::*kinds) {
    std::set<std::string> names;
    for (const Part& part : parts)
        for (const Counts& bus : part.Buses)
            for (const auto& [name, count] : bus.*kinds)
                names.insert(name);
    for (const auto& name : names) {
        PrintRow(parts, std::string(title).append(name), [&](const Part& part) {
            return Sum(part, [&](const Counts& bus) {
                const auto found = (bus.*kinds).find(name);
                return found == (bus.*kinds).end() ? 0 : found->second;
            });
        });
    }
}

}  // namespace

Footprint Footprint::Now() {
    Footprint now;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    // The iterator's own descriptor is one of them each time.
    now.Descriptors = std::distance(begin(descriptors), end(descriptors));
    std::int64_t total = 0;
    std::int64_t pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    now.ResidentKiB = pages * (sysconf(_SC_PAGESIZE) / 1024);
    return now;
}

bool Report(const std::vector<Part>& parts) {
    std::printf("%-58s", "");
    for (const Part& part : parts)
        std::printf(" %18s", part.Name.c_str());
    std::printf("\n");
    PrintRow(parts, "events of the random model", SumOf(&Counts::Events));
    PrintRow(parts, "readings", SumOf(&Counts::Readings));
    PrintRow(parts, "tasks of the host", SumOf(&Counts::Tasks));
    PrintKinds(parts, "fault: ", &Counts::Faults);
    PrintKinds(parts, "error: ", &Counts::Errors);
    PrintRow(parts, "resident memory at the end, KiB", [](const Part& part) { return part.Over.ResidentKiB; });
    const auto growth = [](const Part& part) { return part.Over.ResidentKiB - part.WarmedUp.ResidentKiB; };
    PrintRow(parts, "its growth since the warm-up, KiB", growth);

    const std::pair<const char*, Cell> mustBeZero[] = {
        {"wrong values", SumOf(&Counts::WrongValues)},
        {"answers without a reading", SumOf(&Counts::WrongAnswers)},
        {"lost tasks", SumOf(&Counts::LostTasks)},
        {"minutes without a reading", SumOf(&Counts::Stalls)},
        {"adapters that did not close", SumOf(&Counts::NotClosed)},
        {"rules of the random model broken",
         [](const Part& part) {
             return Sum(part, [](const Counts& bus) {
                 std::uint64_t all = 0;
                 for (const auto& [kind, count] : bus.Broken)
                     all += count;
                 return all;
             });
         }},
        {"leaked descriptors", [](const Part& part) { return part.Over.Descriptors - part.WarmedUp.Descriptors; }},
        {"growth beyond an allocator's 2048 KiB, KiB",
         [&](const Part& part) { return std::max<std::int64_t>(growth(part) - kAllocatorSlackKiB, 0); }},
    };
    bool good = true;
    std::printf("must be 0:\n");
    PrintKinds(parts, "model: ", &Counts::Broken);
    for (const auto& [name, cell] : mustBeZero) {
        PrintRow(parts, name, cell);
        for (const Part& part : parts)
            good = good && cell(part) == 0;
    }
    return good;
}

}  // namespace orvix::soak
