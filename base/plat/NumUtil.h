#pragma once

#include <climits>
#include <cstdint>

namespace plat {

using S64 = int64_t;
using U64 = uint64_t;

// The syntax is that of strtol and its kin in the given base: leading white
// space, a sign, and for base 0 the 0x and 0 prefixes. The unsigned forms refuse
// a minus sign. errno is left as it was.

// Parse at the cursor and move it behind the number; false leaves both outputs.
bool strToInt(int* value, const char** cursor, int base);
bool strToUInt(unsigned* value, const char** cursor, int base);
bool strToS64(S64* value, const char** cursor, int base);
bool strToU64(U64* value, const char** cursor, int base);

// The same; throw plat::BadNum on failure.
int parseInt(const char** cursor, int base);
unsigned parseUInt(const char** cursor, int base);
S64 parseS64(const char** cursor, int base);
U64 parseU64(const char** cursor, int base);

// The whole text is one number within [minimum, maximum]; otherwise throw
// plat::BadNum with the message, or the type's own text when it is null.
int parseInt(const char* text, int base, const char* message = nullptr, int minimum = INT_MIN,
             int maximum = INT_MAX);
unsigned parseUInt(const char* text, int base, const char* message = nullptr, unsigned minimum = 0,
                   unsigned maximum = UINT_MAX);
S64 parseS64(const char* text, int base);
U64 parseU64(const char* text, int base);

}  // namespace plat
