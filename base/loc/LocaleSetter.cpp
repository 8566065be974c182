#include "base/loc/LocaleSetter.h"

#include <clocale>
#include <vector>

#include "base/loc/Util.h"
#include "base/loc/report.h"
#include "base/loc/unix/UtilUnix.h"
#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"
#include "base/plat/Splitter.h"

namespace loc {

namespace {

std::vector<plat::String> candidates(const char* locale) {
  plat::String copy(locale);
  plat::Splitter splitter(copy.data());
  char separator;
  const char* name = splitter.nextAny(".@", &separator);
  const char* charSet = separator == '.' ? splitter.next('@') : nullptr;
  const char* modifier = splitter.rest();

  std::vector<plat::String> spellings;
  if (charSet) spellings.emplace_back(charSet);
  const plat::String wanted = charSetFromName(charSet);
  for (const char* offered : systemCharSets()) {
    if (!charSet || charSetFromName(offered) == wanted) plat::addUnique(spellings, offered);
  }
  std::vector<plat::String> names;
  for (const plat::String& spelling : spellings) {
    plat::DString full;
    full.appendFormat("%s.%s", name, spelling.get());
    if (modifier) full.appendFormat("@%s", modifier);
    names.push_back(full.release());
  }
  return names;
}

}  // namespace

LocaleSetter::LocaleSetter(const char* locale) {
  if (!locale) locale = "";
  plat::String before(setlocale(LC_ALL, nullptr));
  for (const plat::String& name : candidates(locale)) {
    if (setlocale(LC_ALL, name.get())) {
      log.info("setting locale %s", name.get());
      saved = before;
      return;
    }
  }
  log.info("No OS support for locale \"%s\"", locale);
}

LocaleSetter::~LocaleSetter() {
  if (!isSet()) return;
  log.info("restoring locale");
  setlocale(LC_ALL, saved.get());
}

}  // namespace loc
