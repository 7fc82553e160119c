#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// From `Since` up to, but without, `Until`; milliseconds since 1970.
struct Period {
    std::int64_t Since = 0;
    std::int64_t Until = 0;
};

/// What is asked of a history.
struct HistoryQuery {
    std::string Port;    ///< empty: any
    std::string Device;  ///< address or name; empty: any
    Period Time;
};

enum class HistoryFormat { Table, Csv, JsonLines };

}  // namespace orvix::station
