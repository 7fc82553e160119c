#pragma once

#include <vector>

#include "station/sink/screen/layout.h"

namespace orvix::station {

/// The table of devices: its header, then the devices from `FirstDevice` on, as many as `devices`. Columns that do not
/// fit into the width are left out, the trend first; port names are shown when there are several.
std::vector<StyledLine> DeviceTable(const ScreenContent& content, int width, std::size_t devices);

}  // namespace orvix::station
