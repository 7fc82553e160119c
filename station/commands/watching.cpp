#include "station/commands/watching.h"

#include <iostream>

#include "host/error.h"

namespace orvix::station {

void Watch(MainLoop& loop, std::chrono::milliseconds period, const std::function<void()>& look) {
    look();
    bool hasFailed = false;
    const auto again = loop.Apartment().CreateTimer([&] {
        try {
            look();
            hasFailed = false;
        } catch (const Error& error) {
            if (!hasFailed) std::cerr << "nimbo1: " << error.what() << "; waiting for it" << std::endl;
            hasFailed = true;
        }
        // Nobody reads any more.
        if (!std::cout) loop.Stop();
    });
    again->Rearm(static_cast<std::int32_t>(period.count()), true);
    loop.Run();
}

}  // namespace orvix::station
