#include "base/plat/time.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using namespace plat;

constexpr int64_t epochSeconds = unixEpochTicks / ticksPerSecond;

TEST(time, calendarAgreesWithThePlatformOverTheWholeRange) {
  const Ticks step = 37 * ticksPerDay + 49999 * ticksPerSecond + 1;
  auto fields = [](const tm& t) {
    return std::array{t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour,
                      t.tm_min,  t.tm_sec, t.tm_wday, t.tm_yday};
  };
  Ticks ticks = INT64_MIN;
  do {
    tm got = toUtc(ticks), want{};
    time_t seconds = toTimespec(ticks).tv_sec;
    ASSERT_TRUE(gmtime_r(&seconds, &want));
    ASSERT_EQ(fields(want), fields(got)) << ticks;
    Ticks back = 0;
    bool inRange = seconds + epochSeconds >= INT64_MIN / ticksPerSecond;
    ASSERT_EQ(inRange, fromDate(got.tm_year + 1900, got.tm_mon + 1, got.tm_mday, got.tm_hour,
                                got.tm_min, got.tm_sec, &back));
    ASSERT_EQ(inRange ? (seconds + epochSeconds) * ticksPerSecond : 0, back);
  } while (!__builtin_add_overflow(ticks, step, &ticks));
}

TEST(time, dateOutsideTheCalendarOrTheTicksIsRefused) {
  const int bad[][6] = {
      {2024, 0, 1, 0, 0, 0},    {2024, 13, 1, 0, 0, 0},   {2024, 1, 0, 0, 0, 0},
      {2024, 4, 31, 0, 0, 0},   {2023, 2, 29, 0, 0, 0},   {1900, 2, 29, 0, 0, 0},
      {2024, 1, 1, 24, 0, 0},   {2024, 1, 1, 0, 60, 0},   {2024, 1, 1, 0, 0, 61},
      {30828, 9, 14, 2, 48, 6}, {INT_MAX, 1, 1, 0, 0, 0}, {-27627, 4, 19, 21, 11, 54}};
  for (auto& d : bad) {
    Ticks ticks = 77;
    EXPECT_FALSE(fromDate(d[0], d[1], d[2], d[3], d[4], d[5], &ticks)) << d[0] << "-" << d[1];
    EXPECT_EQ(77, ticks);
  }
  EXPECT_EQ(fromDate(2000, 2, 29, 23, 59, 60), fromDate(2000, 3, 1, 0, 0, 0));
}

TEST(time, parseIsoAcceptsItsForms) {
  const struct {
    const char* text;
    int64_t seconds;  // since 1970
    Ticks fraction;
  } good[] = {{"1970-01-01T00:00:00", 0, 0},
              {"2024-02-29T12:00:00Z", 1709208000, 0},
              {"2024-01-01T01:00:00+01", 1704067200, 0},
              {"2023-12-31T20:30:00-03:30", 1704067200, 0},
              {"1970-01-01T00:00:00.123456789999Z", 0, 1234567},
              {"0001-01-01T00:00:00Z", -62135596800, 0},
              {"9999-12-31T23:59:60-23:59", 253402300800 + 86340, 0}};
  for (auto& c : good) {
    Ticks ticks = 0;
    EXPECT_TRUE(parseIso(c.text, &ticks)) << c.text;
    EXPECT_EQ((c.seconds + epochSeconds) * ticksPerSecond + c.fraction, ticks) << c.text;
  }
}

TEST(time, parseIsoRefusesEveryOtherForm) {
  const std::string start = "2024-01-01T00:00:00";
  for (const char* suffix : {"z", "Z+01", ".", ".Z", ".1234567890123", ".1x", "+", "+1", "+010",
                             "+01:", "+01:000", "+ 1:00", "-00", "-00:00", " "}) {
    Ticks ticks = 77;
    EXPECT_FALSE(parseIso((start + suffix).c_str(), &ticks)) << suffix;
  }
  for (const char* text :
       {"", "2024-01-01", "2024-01-01T00:00", "2024-01-01T0:00:00", "2024-01-01T00:00:000",
        "2024-01-01T00:00:+1", "2024-01-01T24:00:00", "2023-02-29T00:00:00", "0000-01-01T00:00:00",
        "02024-01-01T00:00:00", "+024-01-01T00:00:00", " 024-01-01T00:00:00", "2024-1-01T00:00:00",
        "2024-001-01T00:00:00", "2024-01- 1T00:00:00", "2024-01-+1T00:00:00", "2024-01-01T+1:00:00",
        "-2024-01-01T00:00:00", "2024-01-01 00:00:00"}) {
    Ticks ticks = 77;
    EXPECT_FALSE(parseIso(text, &ticks)) << text;
    EXPECT_EQ(77, ticks) << text;
  }
}

TEST(time, formatIsoCoversTheWholeRange) {
  EXPECT_STREQ("1970-01-01T00:00:00", formatIso(unixEpochTicks, false, false).get());
  EXPECT_STREQ("1600-12-31T23:59:59.999", formatIso(-1, false, true).get());
  EXPECT_STREQ("30828-09-14T02:48:05.477", formatIso(INT64_MAX, false, true).get());
  EXPECT_STREQ("-27627-04-19T21:11:54.522", formatIso(INT64_MIN, false, true).get());
}

TEST(time, formatTimeWritesTheFullYearAndKnowsItsLimit) {
  tm early = toUtc(fromDate(7, 2, 1, 0, 0, 0));
  EXPECT_STREQ("0007 %Y 02%", formatTime("%Y %%Y %m%%", early).get());
  EXPECT_STREQ("12007", formatTime("%Y", toUtc(fromDate(12007, 1, 1, 0, 0, 0))).get());
  EXPECT_EQ(1023, formatTime(std::string(1023, 'x').c_str(), early).length());
  EXPECT_TRUE(formatTime(std::string(1024, 'x').c_str(), early).isNull());
}

TEST(time, isoWithOffsetReadsBackAsTheSameTime) {
  String oldZone(getenv("TZ"));
  const char* cases[][2] = {{"UTC0", "1970-01-01T00:00:00+00:00"},  // POSIX: west is positive
                            {"AAA-5:30", "1970-01-01T05:30:00+05:30"},
                            {"BBB3:30", "1969-12-31T20:30:00-03:30"},
                            {"CCC-1DDD,0/0,J365/25", "1970-01-01T02:00:00+02:00"}};
  for (auto [zone, text] : cases) {
    setenv("TZ", zone, 1);
    EXPECT_STREQ(text, formatIsoWithOffset(unixEpochTicks).get());
    EXPECT_EQ(unixEpochTicks, parseIso(text));
  }
  oldZone.isNull() ? unsetenv("TZ") : setenv("TZ", oldZone.get(), 1);
}
