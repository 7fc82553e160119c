#include "station/model/version.h"

namespace orvix::station {

const char* const kVersion = NB1_VERSION;

}  // namespace orvix::station
