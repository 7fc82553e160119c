#pragma once

namespace orvix::bench {

class TestStation;

// Each registers the comparisons of its subject.
void AddFrameComparisons();
void AddTaskStateComparisons();
void AddLogComparisons();
void AddExchangeComparisons(TestStation& station);
void AddQueueComparisons();
void AddStationComparisons(TestStation& station);

}  // namespace orvix::bench
