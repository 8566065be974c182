#pragma once

namespace plat {

// "*" matches any run of characters, none included; nothing else is special. A
// null pattern or text never matches.
bool wildcardMatch(const char* pattern, const char* text, bool caseSensitive);

}  // namespace plat
