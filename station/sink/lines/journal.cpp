#include "station/sink/lines/journal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace orvix::station {

bool ErrorsGoToJournal() {
    // "DEVICE:INODE" of the stream, set by the service manager; a child whose output was redirected inherits it too.
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || ::fstat(STDERR_FILENO, &status) != 0) return false;
    return stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace orvix::station
