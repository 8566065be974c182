#include "base/loc/unix/UtilUnix.h"

#include <clocale>

#include "base/loc/Util.h"

namespace loc {

plat::String environmentLocale() {
  const plat::String saved(setlocale(LC_MESSAGES, nullptr));
  plat::String locale(setlocale(LC_MESSAGES, ""));
  setlocale(LC_MESSAGES, saved.get());
  // Also "C.UTF-8": that has no language either.
  const LocaleName name(locale.get());
  bool isNone = name.language == "C" || name.language == "POSIX";
  return isNone ? plat::String() : locale;
}

std::span<const char* const> systemCharSets() {
  static constexpr const char* charSets[] = {
      "UTF-8",       "utf8",       "ISO-8859-1", "ISO8859-1",  "iso88591", "ISO-8859-15",
      "iso885915",   "ISO-8859-2", "ISO-8859-5", "ISO-8859-7", "KOI8-R",   "KOI8-U",
      "ISO-8859-9",  "EUC-JP",     "EUC-KR",     "GB18030",    "GBK",      "TIS-620",
      "ISO-8859-13", "ASCII",      "646"};
  return charSets;
}

}  // namespace loc
