#include "base/loc/PluralId.h"

#include "base/loc/Util.h"

namespace loc {

const char* pluralId(const char* locale, int count) {
  const LocaleName name(locale);
  const plat::String& language = name.language;
  if (language == "ja" || language == "vi" || language == "ko" || language == "zh") return "many";
  bool zeroIsSingular =
      language == "fr" || (language == "pt" && (name.region.isEmpty() || name.region == "BR"));
  return count == 1 || (count == 0 && zeroIsSingular) ? "sing" : "many";
}

}  // namespace loc
