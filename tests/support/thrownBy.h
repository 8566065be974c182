#pragma once

#include <string>

#include "base/plat/Exception.h"

namespace fakes {

// Runs the action; returns "<name>: <message>" of what it throws, "" when nothing.
template <class Action>
std::string thrownBy(Action action) {
  try {
    action();
  } catch (const plat::Exception& e) {
    return std::string(e.name) + ": " + e.message;
  }
  return "";
}

}  // namespace fakes
