#include <cstring>

#include "base/loc/TransMap.h"
#include "base/loc/Translation.h"
#include "base/loc/loadPo.h"
#include "base/plat/utf8.h"
#include "base/rdr/MemInStream.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

namespace {

constexpr char locale[] = "xx";

struct Catalogue {
  explicit Catalogue(rdr::InStream& in) {
    map.setLocales({plat::String(locale)});
    loc::loadPo(in, "input", locale, map);
  }
  const char* find(const std::string& key) {
    loc::Translation* found = map.find(key.c_str());
    return found ? found->getText() : nullptr;
  }

  loc::TransMap map{loc::TransMap::Scope::process, nullptr};
};

std::string field(const char* text) {
  std::string quoted = "\"";
  for (const char* p = text; *p; p++) {
    constexpr char meanings[] = "\a\b\f\n\r\t\v\\?'\"";
    const char* meaning = strchr(meanings, *p);
    if (meaning) {
      quoted += '\\';
      quoted += "abfnrtv\\?'\""[meaning - meanings];
    } else {
      quoted += *p;
    }
  }
  return quoted + "\"";
}

// What is written as the format says is read as it was.
void checkRoundTrip(const plat::String& key, const plat::String& text) {
  const std::string po = "# " + field(key.get()) + "\nmsgid " + field(key.get()) +
                         "\nmsgstr \"\"\n" + field(text.get()) + "\n";
  rdr::MemInStream in(po.data(), static_cast<int>(po.size()));
  Catalogue catalogue(in);
  PLAT_ASSERT(key.isEmpty() || !plat::strCompare(catalogue.find(key.get()), text.get()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int window = input.number(1, 50);
  const std::string po = input.rest();

  rdr::MemInStream whole(po.data(), static_cast<int>(po.size()));
  fakes::ChunkedIn pieces(po, window);
  Catalogue first(whole), second(pieces);
  for (const char* key : {"a", "b", "key"}) {
    PLAT_ASSERT(!plat::strCompare(first.find(key), second.find(key)));
  }

  plat::DString out("before");
  const bool refused = fuzz::isRefused([&] { loc::appendPoString(out, po.c_str()); });
  PLAT_ASSERT(plat::startsWith(out.get(), "before"));
  PLAT_ASSERT(!refused || out.length() == 6);

  const std::string half = po.substr(0, po.size() / 2);
  checkRoundTrip(plat::fixUtf8(half.c_str()), plat::fixUtf8(po.c_str() + half.size()));
  return 0;
}
