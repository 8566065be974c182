#include "base/plat/time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <csignal>
#include <string>

#include "base/plat/Exception.h"

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
      {-1000001, 1, 1, 0, 0, 0}, {1000001, 1, 1, 0, 0, 0},    {2024, 0, 1, 0, 0, 0},
      {2024, 13, 1, 0, 0, 0},    {2024, 1, 0, 0, 0, 0},       {2024, 4, 31, 0, 0, 0},
      {2023, 2, 29, 0, 0, 0},    {1900, 2, 29, 0, 0, 0},      {2024, 1, 1, 24, 0, 0},
      {2024, 1, 1, -1, 0, 0},    {2024, 1, 1, 0, 60, 0},      {2024, 1, 1, 0, 0, 61},
      {1000000, 1, 1, 0, 0, 0},  {-1000000, 12, 31, 0, 0, 0}, {30828, 9, 14, 2, 48, 6},
      {INT_MAX, 1, 1, 0, 0, 0},  {-27627, 4, 19, 21, 11, 54}};
  for (auto& d : bad) {
    Ticks ticks = 77;
    EXPECT_FALSE(fromDate(d[0], d[1], d[2], d[3], d[4], d[5], &ticks)) << d[0] << "-" << d[1];
    EXPECT_EQ(77, ticks);
  }
  EXPECT_EQ(fromDate(2000, 2, 29, 23, 59, 60), fromDate(2000, 3, 1, 0, 0, 0));
  try {
    fromDate(2023, 2, 29, 1, 2, 3);
    FAIL();
  } catch (Exception& e) {
    EXPECT_STREQ("invalid date (2023-02-29T01:02:03)", e.message);
  }
}

TEST(time, parseIsoAcceptsItsForms) {
  const struct {
    const char* text;
    int64_t seconds;  // since 1970
    Ticks fraction;
  } good[] = {{"1970-01-01T00:00:00", 0, 0},
              {"2024-02-29T12:00:00Z", 1709208000, 0},
              {"2024-01-01T00:00:60Z", 1704067260, 0},
              {"2024-01-01T01:00:00+01:00", 1704067200, 0},
              {"2024-01-01T01:00:00+0100", 1704067200, 0},
              {"2024-01-01T01:00:00+01", 1704067200, 0},
              {"2023-12-31T20:30:00-03:30", 1704067200, 0},
              {"1970-01-01T00:00:00+00:00", 0, 0},
              {"1970-01-01T00:00:00.5", 0, 5000000},
              {"1970-01-01T00:00:00.123456789999Z", 0, 1234567},
              {"1970-01-01T01:00:00.999999999999+01:00", 0, 9999999},
              {"0001-01-01T00:00:00Z", -62135596800, 0},
              {"9999-12-31T23:59:60-23:59", 253402300800 + 86340, 0}};
  for (auto& c : good) {
    Ticks ticks = 0;
    EXPECT_TRUE(parseIso(c.text, &ticks)) << c.text;
    EXPECT_EQ((c.seconds + epochSeconds) * ticksPerSecond + c.fraction, ticks) << c.text;
  }
}

TEST(time, parseIsoRefusesEveryOtherForm) {
  auto refuse = [](const std::string& text) {
    Ticks ticks = 77;
    EXPECT_FALSE(parseIso(text.c_str(), &ticks)) << text;
    EXPECT_EQ(77, ticks) << text;
  };
  for (const char* suffix :
       {"z",   "ZZ",    "Z+01",   ".",    ".Z",    ".1234567890123", ".1x",    ".1.2",
        "+",   "+1",    "+010",   "+01:", "+01:0", "+01:000",        "+01000", "+ 1:00",
        "-00", "-0000", "-00:00", " "}) {
    refuse(std::string("2024-01-01T00:00:00") + suffix);
  }
  for (const char* time :
       {"", "00", "00:00", "0:00:00", "000:00:00", "00:0:00", "00:000:00", "00:00:0", "00:00:000",
        "00:00:+1", "24:00:00", "00:60:00", "00:00:61"}) {
    refuse(std::string("2024-01-01T") + time);
  }
  for (const char* date : {"", "2024", "2024-01-01", "2023-02-29T", "0000-01-01T", "10000-01-01T",
                           "99999999999-01-01T", "-2024-01-01T", "2024-xx-01T", "2024-01-01 "}) {
    refuse(std::string(date) + "00:00:00Z");
  }
  EXPECT_THROW(parseIso(nullptr), Exception);
}

TEST(time, formatIsoCoversTheWholeRange) {
  EXPECT_STREQ("1970-01-01T00:00:00", formatIso(unixEpochTicks, false, false).get());
  EXPECT_STREQ("1970-01-01T00:00:00.000", formatIso(unixEpochTicks, false, true).get());
  EXPECT_STREQ("1600-12-31T23:59:59.999", formatIso(-1, false, true).get());
  EXPECT_STREQ("30828-09-14T02:48:05.477", formatIso(INT64_MAX, false, true).get());
  EXPECT_STREQ("-27627-04-19T21:11:54.522", formatIso(INT64_MIN, false, true).get());
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

TEST(time, formatTimeWritesTheFullYearAndGrows) {
  tm time = toUtc(fromDate(5, 7, 8, 0, 0, 0));
  EXPECT_STREQ("0005 %Y 07", formatTime("%Y %%Y %m", time).get());
  time.tm_year = INT_MAX;
  EXPECT_STREQ("2147485547%", formatTime("%Y%", time).get());
  for (int length : {1, 15, 16, 1023, 1024, 5000}) {
    std::string format(length, 'x');
    EXPECT_TRUE(formatTime(format.c_str(), time) == (length < 1024 ? format.c_str() : nullptr));
  }
}

TEST(time, timespecConversionKeepsOrSaturates) {
  for (Ticks ticks : {INT64_MIN, INT64_MIN + 1, Ticks{-1}, unixEpochTicks - 1, INT64_MAX}) {
    EXPECT_EQ(ticks, fromTimespec(toTimespec(ticks)));
  }
  EXPECT_EQ(INT64_MAX, fromTimespec({INT64_MAX, 0}));
  EXPECT_EQ(INT64_MIN, fromTimespec({INT64_MIN, 0}));
}

TEST(time, readingAtTheLimitIsAJump) {
  MonotonicReading reading = monotonicRead(noLimit);
  EXPECT_FALSE(reading.jumped);
  EXPECT_FALSE(monotonicRead(reading.ticks + 3600 * ticksPerSecond).jumped);
  EXPECT_TRUE(monotonicRead(reading.ticks).jumped);
}

TEST(time, sleepGoesOnAfterASignal) {
  struct sigaction action {
  }, oldAction;
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &oldAction);
  itimerval timer{{0, 7000}, {0, 7000}}, off{};
  setitimer(ITIMER_REAL, &timer, nullptr);
  Ticks start = monotonicNow();
  plat::sleep(50 * ticksPerMs);
  EXPECT_GE(monotonicNow() - start, 45 * ticksPerMs);
  setitimer(ITIMER_REAL, &off, nullptr);
  sigaction(SIGALRM, &oldAction, nullptr);
}
