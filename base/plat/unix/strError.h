#pragma once

namespace plat {

// Writes the platform's text for the error number into the buffer, always
// NUL-terminated. False, and an empty buffer, when there is none.
// Precondition: length >= 1.
bool strError(int err, char* buffer, int length);

}  // namespace plat
