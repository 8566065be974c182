#pragma once

namespace plat {

// Debugging aid: writes the bytes to standard error, 16 a line, in hexadecimal
// and as characters. Each line starts with its offset, or, where given, with
// firstPrefix on the first line and laterPrefix on the others.
void hexDump(const void* data, int length, const char* firstPrefix = nullptr,
             const char* laterPrefix = nullptr);

}  // namespace plat
