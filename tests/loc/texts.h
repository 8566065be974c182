#pragma once

#include <string>

#include "base/loc/Localize.h"
#include "base/plat/Configuration.h"

namespace test {

// The parameter "Locale" for the time of a test.
struct UsingLocale {
  explicit UsingLocale(const char* locale) { parameter.setParam(locale, 40); }
  ~UsingLocale() { parameter.unsetParam(40); }

  plat::ConfigParameter& parameter = *plat::Configuration::global().getParam("Locale");
};

inline std::string textOf(const char* key) {
  return loc::Localize::instance().localize(key, nullptr, 0, true).get();
}

}  // namespace test
