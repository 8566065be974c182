#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "base/os/SocketUtil.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/childProcess.h"

// Calls of the C library that fail, "<call> <errno> <call> <errno> ...", each once and in this
// order; with 0 it does nothing and succeeds. This test program stands in front of those that
// outcomes.cpp lists.
extern std::string injectedFailures;

// Every promise is "<failures> > <outcome>": with these failures the unit "SocketUtil" logs and
// then the value is the outcome, or it throws a SystemException, "<call> <errno>". Every
// descriptor that it leaves open is closed and adds "c", or "i" if a program would inherit it.
void hold(const std::function<std::string()>& value, const std::vector<std::string>& promises);
#define HOLD(value, ...) \
  hold([&] { return (std::ostringstream() << (value)).str(); }, {__VA_ARGS__})
