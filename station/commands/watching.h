#pragma once

#include <functional>

#include "station/commands/main_loop.h"

namespace orvix::station {

/// Does something now, and then once a period until the main loop is stopped. What it raises the first time ends that;
/// later it is said when it begins, and the rest goes on.
void Watch(MainLoop& loop, std::chrono::milliseconds period, const std::function<void()>& look);

}  // namespace orvix::station
