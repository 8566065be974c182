#include "base/plat/utf8.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

using namespace plat;

namespace {

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

TEST(utf8, boundedRangesAreNotReadPastTheirEnd) {
  // On the heap, so that the address sanitizer watches the end.
  const std::vector<char> text{'a', '\xe2', '\x82'};
  const char* begin = text.data();
  const char* end = begin + 3;
  EXPECT_FALSE(isValidUtf8(begin, end));
  EXPECT_STREQ(fixUtf8(begin, end).get(), "a\xef\xbf\xbd");
  EXPECT_EQ(utf8DisplayWidth(begin, end), 1);
  EXPECT_STREQ(utf8ToLatin1(begin, 3).get(), "a?");
  EXPECT_STREQ(latin1ToUtf8(begin, 3).get(), "aâ\xc2\x82");
  // What follows the end would complete the character.
  const char euro[] = "a€";
  EXPECT_FALSE(isValidUtf8(euro, euro + 3));
  EXPECT_STREQ(utf8ToLatin1(euro, 3).get(), "a?");
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

  std::string all;
  for (int byte = 0; byte < 256; byte++) all += static_cast<char>(byte);
  String utf8 = latin1ToUtf8(all.data(), 256, &length);
  String back = utf8ToLatin1(utf8.get(), length, &length);
  EXPECT_EQ(std::string(back.get(), length), all);
}

TEST(utf8, rangesMoveInwardsToCharacters) {
  struct {
    int start, length, expectedStart, expectedLength;
  } rows[] = {{1, 2, 1, 2}, {2, 4, 3, 3},       {4, 1, 6, 0}, {3, -1, 3, 4},
              {0, 2, 0, 1}, {5, INT_MAX, 6, 1}, {9, 1, 7, 0}, {-1, 3, 0, 3}};
  for (auto& row : rows) {
    int start = row.start;
    int length = row.length;
    EXPECT_EQ(utf8ClampRange("aé€z", &start, &length), 7);
    EXPECT_EQ(start, row.expectedStart) << row.start << " " << row.length;
    EXPECT_EQ(length, row.expectedLength) << row.start << " " << row.length;
  }
}

}  // namespace
