#pragma once

#include "host/object.h"
#include "host/services.h"

namespace orvix {

/// The library's one entry point: creates an object of a registered class in the apartment of the services and on its
/// thread. Returns null for a name that is not registered; raises Error when the object cannot be created. The caller
/// owns the object. The library must stay loaded as long as the services live.
using CreateObjectFunction = Object*(const char* className, const Services* services);

inline constexpr char kCreateObjectSymbol[] = "OrvixNimbo1Lib_CreateObject";

}  // namespace orvix
