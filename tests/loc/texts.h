#pragma once

#include <string>

#include "base/loc/Localize.h"
#include "base/plat/Configuration.h"

namespace test {

// The parameter "Locale" for the time of a test.
class UsingLocale {
 public:
  explicit UsingLocale(const char* locale) { parameter().setParam(locale, 40); }
  ~UsingLocale() { parameter().unsetParam(40); }

 private:
  static plat::ConfigParameter& parameter() {
    return *plat::Configuration::global().getParam("Locale");
  }
};

inline std::string textOf(const char* key) {
  return loc::Localize::instance().localize(key, nullptr, 0, true).get();
}

}  // namespace test
