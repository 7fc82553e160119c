#include <malloc.h>

#include <cstdio>
#include <exception>
#include <limits>

#include "bench/benches.h"
#include "bench/comparison.h"
#include "bench/test_station.h"

int main(int argc, char** argv) {
    // Whoever is measured keeps the memory that it has freed; otherwise fresh pages would cost more than what is done.
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_MMAP_MAX, 0);

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
