#include "base/loc/loadPo.h"

#include <cstring>
#include <string>
#include <utility>

#include "base/loc/TransMap.h"
#include "base/loc/report.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/builtInResource.h"
#include "base/plat/file.h"
#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/MemInStream.h"

namespace loc {

namespace {

constexpr char blanks[] = " \t";

// The entry that is being read.
class PoEntry {
 public:
  PoEntry(const char* entryLocale, TransMap& entryMap) : locale(entryLocale), map(entryMap) {}

  void takeLine(const char* line) {
    if (*line == '#') return;
    if (!*line) {
      end();
    } else if (*line == '"') {
      appendPoString(state == State::afterMsgid ? msgid : msgstr, line);
    } else {
      takeKeyword(line);
    }
  }

  void end() {
    State ended = std::exchange(state, State::none);
    plat::String id = msgid.release(), text = msgstr.release();
    if (ended == State::afterMsgid) throw plat::Exception("Expected msgstr");
    if (!id.isEmpty()) map.add(locale, id.get(), text.orEmpty());
  }

 private:
  enum class State { none, afterMsgid, afterMsgstr };

  void takeKeyword(const char* line) {
    size_t length = strcspn(line, blanks);
    if (!line[length] || state == State::afterMsgstr) {
      throw plat::Exception("Bad command or string");
    }
    bool isFirst = state == State::none;
    const char* expected = isFirst ? "msgid" : "msgstr";
    if (length != strlen(expected) || strncmp(line, expected, length) != 0) {
      throw plat::ExceptionFmt("Expected %s", expected);
    }
    plat::DString text;
    appendPoString(text, line + length);
    (isFirst ? msgid : msgstr) = std::move(text);
    state = isFirst ? State::afterMsgid : State::afterMsgstr;
  }

  const char* locale;
  TransMap& map;
  State state = State::none;
  plat::DString msgid, msgstr;
};

char unescaped(char c) {
  static constexpr char letters[] = "abfnrtv\\?'\"";
  static constexpr char meanings[] = "\a\b\f\n\r\t\v\\?'\"";
  const char* found = strchr(letters, c);
  if (!found) throw plat::Exception("Invalid escape code");
  return meanings[found - letters];
}

// False at the end of the stream.
bool readPoLine(rdr::InStream& in, std::string& line, bool* hadNul) {
  try {
    in.readLine(line, 0, hadNul, false);
    return true;
  } catch (const rdr::EndOfStream&) {
  } catch (const rdr::EndOfMsg&) {
  }
  return false;
}

// load() returns false when the source does not exist.
template <class Load>
void loadSource(const char* name, Load load) {
  try {
    if (load()) log.info("Loaded strings from %s", name);
  } catch (const plat::Exception& e) {
    log.error("Error loading strings from %s: %s", name, e.message);
  }
}

}  // namespace

void appendPoString(plat::DString& out, const char* field) {
  field += strspn(field, blanks);
  if (!*field) throw plat::Exception("Junk following string data");
  if (*field != '"') throw plat::Exception("Junk preceding string data");
  plat::DString text("");
  const char* p = field + 1;
  while (*p != '"') {
    if (!*p) throw plat::Exception("Missing terminator");
    if (*p != '\\') {
      size_t length = strcspn(p, "\\\"");
      text.append(p, static_cast<int>(length));
      p += length;
      continue;
    }
    if (!p[1]) throw plat::Exception("Invalid escape at end");
    const char meaning = unescaped(p[1]);
    text.append(&meaning, 1);
    p += 2;
  }
  if (p[1]) throw plat::Exception("Junk following string data");
  out.append(text.get());
}

void loadPo(rdr::InStream& in, const char* name, const char* locale, TransMap& map) {
  PoEntry entry(locale, map);
  std::string line;
  bool more = true;
  for (int lineNumber = 1; more; lineNumber++) {
    bool hadNul = false;
    more = readPoLine(in, line, &hadNul);
    if (more) in.checkpoint();
    if (!plat::isValidUtf8(line.data(), line.data() + line.size())) {
      // The log escapes the bytes.
      log.error("%s:%d Bad UTF-8 (%s) for '%s' locale", name, lineNumber, line.c_str(), locale);
      line = plat::fixUtf8(line.data(), line.data() + line.size()).orEmpty();
    }
    try {
      if (hadNul && line[0] != '#') throw plat::Exception("Bad command or string");
      more ? entry.takeLine(line.c_str()) : entry.end();
    } catch (const plat::Exception& e) {
      log.error("%s:%d %s", name, lineNumber, e.message);
    }
  }
}

void loadBuiltInStrings(const char* locale, TransMap& map) {
  const plat::String resource = plat::strFormat("strings.%s.po", locale);
  plat::Resource text = plat::getResource(resource.get());
  if (!text.data || text.size <= 0) return;
  const plat::String name = plat::strFormat("built-in resource %s", resource.get());
  loadSource(name.get(), [&] {
    rdr::MemInStream in(text.data, text.size);
    loadPo(in, name.get(), locale, map);
    return true;
  });
}

void loadStringsFile(const char* directory, const char* locale, TransMap& map) {
  // The name may come from the environment and must not lead out of the directory.
  if (strchr(locale, '/')) return;
  const plat::String path = plat::strFormat("%s/strings.%s.po", directory, locale);
  loadSource(path.get(), [&] {
    if (!plat::fileExists(path.get())) return false;
    rdr::FileInStream in(path.get(), 0);
    loadPo(in, path.get(), locale, map);
    return true;
  });
}

}  // namespace loc
