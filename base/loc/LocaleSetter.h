#pragma once

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace loc {

// Sets the locale of the C library, for the whole process, while it lives. The system
// may know a locale under another spelling of its character set, and "de_DE" only with
// one; a locale that it does not know changes nothing.
class LocaleSetter : private plat::NonCopyable {
 public:
  explicit LocaleSetter(const char* locale);
  ~LocaleSetter();

  bool isSet() const { return !saved.isNull(); }

 private:
  plat::String saved;  // null: nothing was set
};

}  // namespace loc
