#include "base/loc/loadPo.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "base/loc/TransMap.h"
#include "base/rdr/MemInStream.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

namespace {

std::string stringOf(const char* field) {
  plat::DString out("kept");
  std::string thrown = fakes::thrownBy([&] { loc::appendPoString(out, field); });
  return thrown + out.get();
}

struct Loaded {
  explicit Loaded(const std::string& text) {
    rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
    loc::loadPo(in, "po", "xx", map);
    map.setLocales({plat::String("xx")});
    log = captured.take();
  }
  // "-": there is none.
  std::string text(const char* key) {
    loc::Translation* found = map.find(key);
    return found ? found->getText() : "-";
  }

  loc::TransMap map{loc::TransMap::Scope::process, nullptr};
  std::vector<std::string> log;

 private:
  CapturedLog captured{"Localize:captured:0"};
};

using Lines = std::vector<std::string>;

}  // namespace

TEST(loadPo, stringFieldsResolveEscapes) {
  EXPECT_EQ(stringOf(R"("\a\b\f\n\r\t\v\\\?\'\"ä")"), "kept\a\b\f\n\r\t\v\\?'\"ä");
  const std::pair<const char*, const char*> bad[] = {
      {R"("a\x41")", "Invalid escape code"},       {R"("a\)", "Invalid escape at end"},
      {R"("a\")", "Missing terminator"},           {R"(x"a")", "Junk preceding string data"},
      {R"("a""b")", "Junk following string data"}, {"", "Junk following string data"}};
  for (auto [field, error] : bad) {
    EXPECT_EQ(stringOf(field), std::string(": ") + error + "kept") << field;
  }
}

TEST(loadPo, entriesAreReadWithTheirContinuations) {
  Loaded po(
      "# a comment\nmsgid \"\"\nmsgstr \"Content-Type: text/plain\\n\"\n\n"
      "msgid \"long_\"\r\n\"key\"\n# within\nmsgstr \"\"\n\"one \"\n\"two\"\n\n\n"
      "msgid \"last\"\nmsgstr\t\"unended\"");
  EXPECT_EQ(po.log, Lines());
  EXPECT_EQ(po.text("long_key") + po.text("last"), "one twounended");
  EXPECT_EQ(po.text(""), "-");
}

TEST(loadPo, badLinesAreReportedAndPassedOver) {
  const struct {
    const char* text;
    Lines log;
    const char* found;  // for the keys "a" and "b"
  } cases[] = {
      {"msgid \"a\"\nmsgstr \"1\"\nmsgid \"b\"\nmsgstr \"2\"\n",
       {"3 Bad command or string", "4 Bad command or string"},
       "1-"},
      {"msgid \"a\"\nmsgid \"b\"\nmsgstr \"1\"\n", {"2 Expected msgstr"}, "1-"},
      {"msgstr \"1\"\nmsgid \"a\"\nmsgstr \"1\"\n", {"1 Expected msgid"}, "1-"},
      {" \nmsgid \"a\\x\"\nmsgstr \"1\"\n\nmsgid \"b\"\nmsgstr \"2\"\n",
       {"1 Expected msgid", "2 Invalid escape code", "3 Expected msgid"},
       "-2"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.text);
    Loaded po(test.text);
    Lines expected;
    for (const std::string& line : test.log) expected.push_back("0 Localize po:" + line);
    EXPECT_EQ(po.log, expected);
    EXPECT_EQ(po.text("a") + po.text("b"), test.found);
  }
}

TEST(loadPo, invalidBytesAreReplaced) {
  Loaded po(std::string("msgid \"a\"\nmsgstr \"\xc3(\"\n\nmsgid \"b\0\"\nmsgstr \"2\"\n", 43));
  EXPECT_EQ(po.text("a"), "\xef\xbf\xbd(");
  EXPECT_EQ(po.text("b"), "-");
  EXPECT_EQ(po.log,
            (Lines{"0 Localize po:2 Bad UTF-8 (msgstr \"~M-C(\") for 'xx' locale",
                   "0 Localize po:4 Bad command or string", "0 Localize po:5 Expected msgid"}));
  EXPECT_EQ(Loaded(std::string("# \0\nmsgid \"a\"\nmsgstr \"1\"\n", 25)).log, Lines());
}

TEST(loadPo, failingFileKeepsWhatWasReadAndNoNameLeadsOutOfTheDirectory) {
  test::ScratchFolder folder;
  test::writeFile(folder / "strings.long.po",
                  "msgid \"a\"\nmsgstr \"1\"\n\n" + std::string(300000, 'x') + "\n");
  test::writeFile(folder / "strings.empty.po", "");
  ASSERT_EQ(mkdir((folder / "strings.folder.po").c_str(), 0700), 0);
  ASSERT_EQ(mkdir((folder / "strings.").c_str(), 0700), 0);  // ".." behind it exists
  // How the log begins; null: nothing is logged.
  const std::pair<const char*, const char*> cases[] = {
      {"long", "0 Localize Error loading strings from "},
      {"folder", "0 Localize Error loading strings from "},
      {"empty", "30 Localize Loaded strings from "},
      {"none", nullptr},
      {"/../strings.empty", nullptr}};
  CapturedLog captured("Localize:captured:30");
  loc::TransMap map(loc::TransMap::Scope::process, nullptr);
  for (auto [locale, log] : cases) {
    loc::loadStringsFile(folder.path().c_str(), locale, map);
    const Lines lines = captured.take();
    EXPECT_EQ(lines.size(), log ? 1u : 0u) << locale;
    for (auto& line : lines) EXPECT_TRUE(line.starts_with(log ? log : "nothing")) << line;
  }
  map.setLocales({plat::String("long")});
  EXPECT_NE(map.find("a"), nullptr);
}
