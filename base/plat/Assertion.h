#pragma once

#include "base/plat/Exception.h"

namespace plat {

// Reports the failure on standard error and, with a stack back-trace, to the
// log source "Assertion"; then runs the hook and aborts. A failure on the way, or
// a second failure while the first is handled, aborts at once.
[[noreturn]] void assertionFailed(const AssertionFail& failure) noexcept;

// Pushes out log messages that still wait. Runs on whatever thread failed.
using AssertionHook = void (*)();
void setAssertionHook(AssertionHook hook);  // null: none

// Logs "Warning: %s" and goes on.
void assertionWarning(const AssertionFail& failure);

}  // namespace plat

// Our own bug: ends the process.
#define PLAT_ASSERT(expression)        \
  ((expression) ? static_cast<void>(0) \
                : ::plat::assertionFailed(::plat::AssertionFail(#expression, __FILE__, __LINE__)))

// As above; a printf format and its arguments tell more.
#define PLAT_ASSERT_DETAIL(expression, ...) \
  ((expression)                             \
       ? static_cast<void>(0)               \
       : ::plat::assertionFailed(           \
             ::plat::AssertionFail(#expression, __FILE__, __LINE__).appendDetail(__VA_ARGS__)))

// Our own bug from which the caller must recover: throws plat::AssertionFail.
#define PLAT_ASSERT_THROW(expression)  \
  ((expression) ? static_cast<void>(0) \
                : throw ::plat::AssertionFail(#expression, __FILE__, __LINE__))
