#include <cstdio>
#include <exception>

#include "bench/benches.h"
#include "bench/comparison.h"
#include "bench/test_station.h"

int main(int argc, char** argv) {
    using namespace orvix::bench;
    try {
        TestStation station;
        AddFrameComparisons();
        AddTaskStateComparisons();
        AddLogComparisons();
        AddExchangeComparisons(station);
        AddQueueComparisons();
        AddStationComparisons(station);
        return RunComparisons(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nb1_bench: %s\n", error.what());
        return 1;
    }
}
