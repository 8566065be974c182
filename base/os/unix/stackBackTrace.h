#pragma once

#include <vector>

namespace os {

// Appends one malloc-allocated line "%2d %s" per stack frame above this
// function, 61 at most; the caller frees them.
void stackBackTrace(std::vector<char*>& lines);

}  // namespace os
