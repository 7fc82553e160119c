#pragma once

#include <string>
#include <vector>

#include "station/model/bus_setup.h"

namespace orvix::station {

/// What turns a running bus into the one that is wanted.
struct BusChange {
    enum class Kind {
        Start,    ///< there is no bus on that port
        Stop,     ///< none is wanted there
        Restart,  ///< how the line is used has changed
        Devices,  ///< only its devices, their names or their limits have changed
    };

    Kind What = Kind::Start;
    std::string Port;
    std::string Text;  ///< what is done, as a sentence without the port: "added device 7, renamed device 5 to Oven"
};

/// What turns the buses that run into those that are wanted, by port; nothing for one that stays as it is.
std::vector<BusChange> ChangesBetween(const std::vector<BusSetup>& running, const std::vector<BusSetup>& wanted);

}  // namespace orvix::station
