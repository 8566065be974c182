#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "base/os/SocketUtil.h"
#include "base/plat/unix/OwnedFd.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

// Calls of the C library that fail, "<call> <errno> <call> <errno> ...", each once and in this
// order. This test program stands in front of those that outcomes.cpp lists.
extern std::string injectedFailures;

// Every promise is "<failures> > <outcome>": with these failures the unit "SocketUtil" logs and
// then the action returns the outcome, or it throws a SystemException, "<call> <errno>". No
// descriptor must be left open.
void hold(const std::function<std::string()>& action, const std::vector<std::string>& promises);
#define HOLD(value, ...) \
  hold([&] { return (std::ostringstream() << (value)).str(); }, {__VA_ARGS__})
