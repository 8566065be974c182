#include "base/plat/time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <csignal>
#include <string>

#include "tests/support/thrownBy.h"

using namespace plat;

namespace {

TEST(time, calendarAgreesWithThePlatformOverTheWholeRange) {
  const Ticks step = 37 * ticksPerDay + 49999 * ticksPerSecond + 1;
  auto fields = [](const tm& t) {
    return std::array{t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour,
                      t.tm_min,  t.tm_sec, t.tm_wday, t.tm_yday};
  };
  Ticks ticks = INT64_MIN + ticksPerSecond;  // the first whole second
  do {
    tm got = toUtc(ticks), want{};
    const timespec time = toTimespec(ticks);
    ASSERT_TRUE(gmtime_r(&time.tv_sec, &want));
    ASSERT_EQ(fields(want), fields(got)) << ticks;
    ASSERT_EQ(fromTimespec(time), ticks);
    ASSERT_EQ(fromDate(got.tm_year + 1900, got.tm_mon + 1, got.tm_mday, got.tm_hour, got.tm_min,
                       got.tm_sec),
              ticks - time.tv_nsec / 100);
  } while (!__builtin_add_overflow(ticks, step, &ticks));
  EXPECT_STREQ(toUtc(0).tm_zone, "UTC");
  EXPECT_EQ(fromTimespec({INT64_MAX / 2, 0}), INT64_MAX);
  EXPECT_EQ(fromTimespec({INT64_MIN / 2, 0}), INT64_MIN);
}

TEST(time, dateOutsideTheCalendarOrTheTicksIsRefused) {
  const int bad[][6] = {
      {2024, 0, 1, 0, 0, 0},   {2024, 13, 1, 0, 0, 0},     {2024, 1, 0, 0, 0, 0},
      {2024, 4, 31, 0, 0, 0},  {2023, 2, 29, 0, 0, 0},     {1900, 2, 29, 0, 0, 0},
      {2024, 1, 32, 0, 0, 0},  {2024, 1, 1, 24, 0, 0},     {2024, 1, 1, -1, 0, 0},
      {2024, 1, 1, 0, 60, 0},  {2024, 1, 1, 0, -1, 0},     {2024, 1, 1, 0, 0, 61},
      {2024, 1, 1, 0, 0, -1},  {30828, 9, 14, 2, 48, 6},   {INT_MAX, 1, 1, 0, 0, 0},
      {-99999, 1, 1, 0, 0, 0}, {-27627, 4, 19, 21, 11, 54}};
  for (auto& d : bad) {
    Ticks ticks = 77;
    EXPECT_FALSE(fromDate(d[0], d[1], d[2], d[3], d[4], d[5], &ticks)) << d[0] << "-" << d[1];
    EXPECT_EQ(77, ticks);
  }
  EXPECT_EQ(fakes::thrownBy([] { fromDate(7, 13, 2, 3, 4, 5); }),
            ": invalid date (0007-13-02T03:04:05)");
  EXPECT_EQ(fromDate(2000, 2, 29, 23, 59, 60), fromDate(2000, 3, 1, 0, 0, 0));
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
  EXPECT_TRUE(formatTime(nullptr, early).isNull());
}

TEST(time, isoWithOffsetIsTheLocalTime) {
  String oldZone(getenv("TZ"));
  const char* cases[][2] = {{"UTC0", "1970-01-01T00:00:00.000+00:00"},  // POSIX: west is positive
                            {"AAA-5:30", "1970-01-01T05:30:00.000+05:30"},
                            {"BBB3:30", "1969-12-31T20:30:00.000-03:30"},
                            {"CCC-1DDD,0/0,J365/25", "1970-01-01T02:00:00.000+02:00"}};
  for (auto [zone, text] : cases) {
    setenv("TZ", zone, 1);
    EXPECT_STREQ(text, formatIsoWithOffset(unixEpochTicks, true).get());
    EXPECT_EQ(formatIso(unixEpochTicks, true, true).get(), std::string(text).substr(0, 23));
    EXPECT_EQ(unixEpochTicks, parseIso(text));
  }
  oldZone.isNull() ? unsetenv("TZ") : setenv("TZ", oldZone.get(), 1);
}

Ticks read(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return fromTimespec(time);
}

TEST(time, clocksAreThoseOfThePlatform) {
  const Ticks before = read(CLOCK_REALTIME) / 10 * 10, wall = now(), after = read(CLOCK_REALTIME);
  EXPECT_TRUE(before <= wall && wall <= after) << before << " " << wall << " " << after;
  const Ticks start = monotonicNow();
  const MonotonicReading reading = monotonicRead(noLimit);
  // The coarse clock may lag.
  EXPECT_LT(std::abs(read(CLOCK_MONOTONIC) - unixEpochTicks - start), ticksPerSecond * 60);
  EXPECT_TRUE(reading.ticks >= start && !reading.jumped && monotonicRead(start).jumped);
}

TEST(time, sleepOutlastsSignals) {
  const auto previous = signal(SIGALRM, [](int) {});
  const itimerval soon{{0, 1000}, {0, 1000}}, never{};
  setitimer(ITIMER_REAL, &soon, nullptr);
  const Ticks start = read(CLOCK_MONOTONIC);
  sleep(5 * ticksPerMs + 1);
  EXPECT_GT(read(CLOCK_MONOTONIC) - start, 5 * ticksPerMs);
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, previous);
}

}  // namespace
