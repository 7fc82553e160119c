#include "station/commands/commands.h"
#include "station/commands/replay_session.h"

namespace orvix::station {

int Execute(const ReplayOptions& options, MainLoop& loop) {
    return ReplaySession(options, loop).Run();
}

}  // namespace orvix::station
