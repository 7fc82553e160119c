#include "station/store/stored_device.h"

namespace orvix::station {

double NumberOf(const ReadingValue& value) {
    const auto* inputs = std::get_if<std::int32_t>(&value);
    return inputs == nullptr ? std::get<double>(value) : *inputs;
}

void AddTo(RollUp& rollUp, const HistoryRow& row) {
    if (row.IsGap()) {
        rollUp.AddFailed(row.Time);
    } else if (row.Why != Doubt::None) {
        rollUp.AddDoubtful(row.Time);
    } else {
        rollUp.AddGood(row.Time, NumberOf(row.Value));
    }
}

}  // namespace orvix::station
