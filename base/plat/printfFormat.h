#pragma once

// Lets the compiler check the arguments of a printf-like function. Both positions count
// from 1; that of a member function's first own parameter is 2.
#define PLAT_PRINTF(formatIndex, firstArg) __attribute__((format(printf, formatIndex, firstArg)))
