#pragma once

#include "base/plat/String.h"

namespace loc {

// A text of one locale. It is either always used as it stands or always as a
// format that arguments fill in.
class Translation {
 public:
  explicit Translation(const char* translatedText) : text(translatedText) {}

  const char* getText() const { return text.orEmpty(); }
  // The first use decides; false for a use of the other kind.
  bool use(bool raw);

 private:
  enum class Use { none, raw, formatted };

  plat::String text;
  Use used = Use::none;
};

}  // namespace loc
