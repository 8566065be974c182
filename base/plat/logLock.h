#pragma once

#include "base/plat/unix/RecursiveMutex.h"

namespace plat {

// For the units of the logging. Guards the process-wide lists of sources and of
// destinations and what is attached to the sources, and is held while a destination
// writes. Taken before any mutex of a destination's own. Never destroyed.
RecursiveMutex& logLock();

}  // namespace plat
