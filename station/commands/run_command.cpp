#include "station/commands/commands.h"
#include "station/commands/run_session.h"

namespace orvix::station {

int Execute(const RunOptions& options, MainLoop& loop) {
    return RunSession(options, loop).Run();
}

}  // namespace orvix::station
