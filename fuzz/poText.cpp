#include <cstring>
#include <map>

#include "base/loc/TransMap.h"
#include "base/loc/Translation.h"
#include "base/loc/loadPo.h"
#include "base/plat/utf8.h"
#include "base/rdr/MemInStream.h"
#include "fuzz/fuzz.h"
#include "tests/support/CapturedLog.h"
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

// A text of random lines, each of which is known to be good or bad.
void checkLines(fuzz::Input& input) {
  const struct {
    const char *text, *value, *error, *logged;
  } fields[] = {
      {"\"a\"", "a", "", nullptr},
      {" \t\"\\a\\b\\f\\n\\r\\t\\v\\\\\\?\\'\\\"b\"", "\a\b\f\n\r\t\v\\?'\"b", "", nullptr},
      {"\"\"", "", "", nullptr},
      {"\"\xc3(\"", "\xef\xbf\xbd(", "", "\"~M-C(\""},
      {"\"a\\x41\"", "", "Invalid escape code", nullptr},
      {"\"a\\", "", "Invalid escape at end", nullptr},
      {"\"a\\\"", "", "Missing terminator", nullptr},
      {"x\"a\"", "", "Junk preceding string data", nullptr},
      {"\"a\"\"b\"", "", "Junk following string data", nullptr},
      {"", "", "Junk following string data", nullptr},
  };
  const char* const keywords[] = {"", "msgid", "msgstr", "msgid"};
  std::string po, id, text, opened;  // the keyword before
  std::vector<std::string> log;
  std::map<std::string, std::string> texts;
  const auto endEntry = [&] {
    std::string error = opened == "msgid" ? "Expected msgstr" : "";
    if (error.empty() && !id.empty()) texts[id] = text;
    opened = id = text = "";
    return error;
  };
  const int count = input.number(1, 12);
  for (int number = 1; number <= count + 1; number++) {
    const std::string keyword = keywords[input.number(0, 3)],
                      where = "0 Localize po:" + std::to_string(number) + " ";
    const auto& field = fields[input.number(0, 9)];
    std::string line = keyword + (keyword.empty() ? "" : " ") + field.text, error;
    if (line.find('x') != line.npos && keyword.empty()) line = "# \xc3\xa4 comment";
    const int kind = number > count ? 0 : input.number(0, 9);
    if (kind == 0) {
      line = "";
    } else if (kind == 1) {
      line = std::string("# \0", 3);
    } else if (kind == 2) {
      line = std::string("msgid \"\0\"", 9);
      error = "Bad command or string";
    } else if (kind == 3 && !keyword.empty()) {
      line = keyword;
      error = "Bad command or string";
    }
    po += line + (number > count ? "" : input.flag() ? "\n" : "\r\n");
    const bool isKeyword = line.starts_with("msg");
    if (field.logged && line.ends_with(field.text)) {
      log.push_back(where + "Bad UTF-8 (" + line.substr(0, line.find('"')) + field.logged +
                    ") for 'xx' locale");
    }
    if (line.empty()) {
      error = endEntry();
    } else if (isKeyword && error.empty()) {
      const std::string expected = opened.empty() ? "msgid" : "msgstr";
      error = opened == "msgstr"    ? "Bad command or string"
              : keyword != expected ? "Expected " + expected
                                    : field.error;
      if (error.empty()) (opened = keyword) == "msgid" ? id = field.value : text = field.value;
    } else if (line[0] == '"') {
      error = field.error;
      (opened == "msgid" ? id : text) += field.value;
    } else if (line[0] != '#' && error.empty()) {
      error = line[0] == ' ' ? (opened == "msgstr" ? "Bad command or string"
                                : opened.empty()   ? "Expected msgid"
                                                   : "Expected msgstr")
                             : error;
    }
    if (!error.empty()) log.push_back(where + error);
  }
  CapturedLog captured("Localize:captured:0");
  rdr::MemInStream in(po.data(), static_cast<int>(po.size()));
  loc::TransMap map(loc::TransMap::Scope::process, nullptr);
  map.setLocales({plat::String(locale)});
  loc::loadPo(in, "po", locale, map);
  PLAT_ASSERT(captured.lines == log);
  for (const auto& [key, value] : texts) {
    loc::Translation* found = map.find(key.c_str());
    PLAT_ASSERT(found && found->getText() == value);
  }
  for (const char* key : {"", "a"}) PLAT_ASSERT(!map.find(key) == !texts.contains(key));
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

  fuzz::Input lines(data, size);
  checkLines(lines);

  const std::string half = po.substr(0, po.size() / 2);
  checkRoundTrip(plat::fixUtf8(half.c_str()), plat::fixUtf8(po.c_str() + half.size()));
  return 0;
}
