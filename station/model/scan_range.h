#pragma once

namespace orvix::station {

/// Addresses to be asked, both ends included; 1 to 255.
struct ScanRange {
    int From = 1;
    int To = 255;
};

}  // namespace orvix::station
