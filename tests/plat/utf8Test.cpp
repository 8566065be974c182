#include "base/plat/utf8.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <locale>
#include <string>
#include <vector>

#include "base/plat/Exception.h"

using namespace plat;

namespace {

constexpr char euroCut[] = {'a', '\xe2', '\x82'};

int decode(const char* bytes, int available = 4) {
  const char* cursor = bytes + 1;
  return decodeUtf8Char(static_cast<unsigned char>(*bytes), &cursor, available);
}

// Every scalar value round-trips; together with the counts of what is accepted,
// nothing else can be.
TEST(utf8, everyCharacterRoundTrips) {
  for (unsigned value = 0x80; value < 0x110000; value++) {
    char bytes[5] = {};
    int length = encodeUtf8Char(value, bytes);
    bool excluded = (value >= 0xd800 && value < 0xe000) || (value >= 0xfdd0 && value < 0xfdf0) ||
                    value % 0x10000 >= 0xfffe;
    ASSERT_EQ(decode(bytes), excluded ? -1 : static_cast<int>(value));
    ASSERT_EQ(bytes[length], 0);
    ASSERT_EQ(decode(bytes, length - 1), -1);
  }
}

TEST(utf8, acceptsAsManySequencesAsThereAreCharacters) {
  int accepted[5] = {};
  for (int lead = 0; lead < 256; lead++) {
    for (int second = 0; second < 256; second++) {
      const int rests = lead < 0xe0 ? 1 : lead < 0xf0 ? 64 : 64 * 64;
      for (int rest = 0; rest < rests; rest++) {
        const char bytes[] = {static_cast<char>(lead), static_cast<char>(second),
                              static_cast<char>(0x80 | (rest & 63)),
                              static_cast<char>(0x80 | rest >> 6), 0};
        const char* cursor = bytes + 1;
        if (decodeUtf8Char(static_cast<unsigned char>(lead), &cursor, 4) >= 0) {
          accepted[cursor - bytes]++;
        }
      }
    }
  }
  EXPECT_EQ(accepted[1], 0);
  EXPECT_EQ(accepted[2], 0x780);
  EXPECT_EQ(accepted[3], 0x10000 - 0x800 - 0x800 - 32 - 2);
  EXPECT_EQ(accepted[4], 0x100000 - 32);
}

TEST(utf8, badFollowerIsNotConsumed) {
  struct {
    const char* bytes;
    int available, consumed;
  } rows[] = {{"\xf0\x9f\x98z", 4, 3}, {"\xe2\xe2\x82\xac", 4, 1}, {"\xe2\x82", 4, 2},
              {"\xe2\x82\xac", 2, 2},  {"\xe2\x82\xac", 1, 1},     {"\xf8\x88\x80\x80\x80", 4, 1}};
  for (auto& row : rows) {
    const char* cursor = row.bytes + 1;
    EXPECT_EQ(decodeUtf8Char(static_cast<unsigned char>(*row.bytes), &cursor, row.available), -1);
    EXPECT_EQ(cursor - row.bytes, row.consumed);
  }
}

TEST(utf8, encodingRefusesWhatIsNoCodePoint) {
  char bytes[4];
  for (unsigned value : {0x110000u, 0x80000000u, UINT_MAX}) {
    try {
      encodeUtf8Char(value, bytes);
      FAIL() << value;
    } catch (const Exception& e) {
      EXPECT_STREQ(e.message, "Unicode out of range");
    }
  }
}

TEST(utf8, boundedRangesAreNotReadPastTheirEnd) {
  // On the heap, so that the address sanitizer watches the end.
  std::vector<char> text(euroCut, euroCut + 3);
  const char* begin = text.data();
  const char* end = begin + 3;
  EXPECT_FALSE(isValidUtf8(begin, end));
  EXPECT_TRUE(isValidUtf8(begin, begin + 1));
  EXPECT_STREQ(fixUtf8(begin, end).get(), "a\xef\xbf\xbd");
  EXPECT_EQ(utf8DisplayWidth(begin, end), 1);
  EXPECT_STREQ(utf8ToLatin1(begin, 3).get(), "a?");
  EXPECT_STREQ(latin1ToUtf8(begin, 3).get(), "aâ\xc2\x82");
  // What follows the end would complete the character.
  const char euro[] = "a€";
  EXPECT_FALSE(isValidUtf8(euro, euro + 3));
  EXPECT_STREQ(utf8ToLatin1(euro, 3).get(), "a?");
}

TEST(utf8, validityEndsAtANul) {
  const char text[] = "a\0\xff";
  EXPECT_TRUE(isValidUtf8(text, text + 3));
  EXPECT_TRUE(isValidUtf8(text));
  EXPECT_TRUE(isValidUtf8(nullptr));
  for (const char* bad :
       {"\xc0\x80", "\xed\xa0\x80", "\xef\xbf\xbe", "\xf4\x90\x80\x80", "\x80", "a\xe2\x82"}) {
    EXPECT_FALSE(isValidUtf8(bad));
  }
}

TEST(utf8, repairReplacesEachSequenceAndKeepsToTheMaximum) {
  const char text[] = "aé\xff€\xed\xa0\x80z";
  const std::string whole = "aé\xef\xbf\xbd€\xef\xbf\xbdz";
  EXPECT_EQ(fixUtf8(text).get(), whole);
  for (int maximum = 0; maximum <= 14; maximum++) {
    size_t cut = maximum < static_cast<int>(whole.size()) ? maximum : whole.size();
    while (cut < whole.size() && isUtf8Continuation(whole[cut])) cut--;
    EXPECT_EQ(fixUtf8(text, nullptr, maximum).get(), whole.substr(0, cut)) << maximum;
  }
}

TEST(utf8, latin1) {
  const char text[] = "a\0\xc3\xbf€Ā\xff\xe2\x82z";
  int length = 0;
  String latin1 = utf8ToLatin1(text, sizeof(text) - 1, &length);
  ASSERT_EQ(length, 8);
  EXPECT_EQ(std::string(latin1.get(), length), std::string("a\0\xff\x80???z", 8));
  // A C1 control is no Latin-1 euro sign, but a byte below 256 it is.
  EXPECT_STREQ(utf8ToLatin1("\xc2\x80").get(), "\x80");

  std::string all;
  for (int byte = 0; byte < 256; byte++) all += static_cast<char>(byte);
  String utf8 = latin1ToUtf8(all.data(), 256, &length);
  EXPECT_EQ(length, 128 + 127 * 2 + 3);
  String back = utf8ToLatin1(utf8.get(), length, &length);
  EXPECT_EQ(std::string(back.get(), length), all);
  EXPECT_EQ(latin1ToUtf8(nullptr, -1, &length).get(), nullptr);
  EXPECT_EQ(length, 0);
}

TEST(utf8, displayWidthFollowsTheLocale) {
  locale_t utf8Locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  ASSERT_NE(utf8Locale, nullptr);
  locale_t previous = uselocale(utf8Locale);
  int combining = utf8DisplayWidth("e\xcc\x81");
  int wide = utf8DisplayWidth("a日本");
  int control = utf8DisplayWidth("\tb");
  int untilInvalid = utf8DisplayWidth(
      "ab\xff"
      "c");
  uselocale(previous);
  freelocale(utf8Locale);
  EXPECT_EQ(combining, 1);
  EXPECT_EQ(wide, 5);
  EXPECT_EQ(control, 2);
  EXPECT_EQ(untilInvalid, 2);
}

TEST(utf8, rangesMoveInwardsToCharacters) {
  struct {
    int start, length, expectedStart, expectedLength;
  } rows[] = {{0, 7, 0, 7},       {1, 2, 1, 2}, {2, 2, 3, 0}, {2, 4, 3, 3},
              {0, 2, 0, 1},       {3, 2, 3, 0}, {4, 1, 6, 0}, {3, -1, 3, 4},
              {5, INT_MAX, 6, 1}, {9, 1, 7, 0}, {-1, 3, 0, 3}};
  for (auto& row : rows) {
    int start = row.start;
    int length = row.length;
    EXPECT_EQ(utf8ClampRange("aé€z", &start, &length), 7);
    EXPECT_EQ(start, row.expectedStart) << row.start << " " << row.length;
    EXPECT_EQ(length, row.expectedLength) << row.start << " " << row.length;
  }
}

TEST(utf8, escapedRendering) {
  struct {
    const char* text;
    char escape;
    const char* expected;
  } rows[] = {{"a\tb\\", '\\', "a\\^Ib\\\\"},  {"~\x7f", '~', "~~~^?"},
              {"é€ ~", '\\', "é€ ~"},          {"\x81\xe2\xa0\xff", '~', "~M^A~M-b~M^`~M^?"},
              {"\xe2\x82z", '~', "~M-b~M^Bz"}, {"\x1f", '\x1f', "\x1f\x1f"}};
  for (auto& row : rows) EXPECT_STREQ(escapeUtf8(row.text, row.escape).get(), row.expected);
}

}  // namespace
