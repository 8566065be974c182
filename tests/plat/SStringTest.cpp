#include "base/plat/SString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/plat/utf8.h"

using namespace plat;

namespace {

// The longest prefix of whole characters in at most `bytes` bytes.
std::string wholeCharacters(const std::string& text, size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && isUtf8Continuation(text[bytes])) bytes--;
  return text.substr(0, bytes);
}

TEST(SString, everyAppendCutsAtACharacterBoundary) {
  const std::string text = "aé€😀zé";
  for (int capacity = 1; capacity <= 16; capacity++) {
    for (const char* before : {"", "x", "xyz"}) {
      if (strlen(before) >= static_cast<size_t>(capacity)) continue;
      SCOPED_TRACE(std::to_string(capacity) + before);
      const std::string expected = wholeCharacters(before + text, capacity - 1);
      char appended[20], formatted[20];
      memset(appended, '#', sizeof(appended));
      strcpy(appended, before);
      memcpy(formatted, appended, sizeof(appended));
      sstrAppend(appended, capacity, text.c_str());
      sstrAppendPrintf(formatted, capacity, "%s", text.c_str());
      EXPECT_EQ(appended, expected);
      EXPECT_EQ(formatted, expected);
      strcpy(appended, before);
      sstrAppendRepeat(appended, capacity, 0x20ac, 4);
      EXPECT_EQ(appended, wholeCharacters(before + std::string("€€€€"), capacity - 1));
      EXPECT_EQ(appended[capacity], '#');
      EXPECT_EQ(formatted[capacity], '#');
    }
  }
}

}  // namespace
