#pragma once

#include <climits>

// What the stand-in for the CUPS imaging library shows and does on demand. The library
// exports the object `standIn` of this type.
struct StandIn {
  int opened = 0;
  int closed = 0;
  int headersUntilFailure = INT_MAX;
  int rowsUntilShortRead = INT_MAX;  // the call for that row gives a byte too few
};
