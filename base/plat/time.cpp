#include "base/plat/time.h"

#include <sys/select.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/plat/DString.h"
#include "base/plat/Splitter.h"

namespace plat {

namespace {

constexpr int64_t unixEpochSeconds = unixEpochTicks / ticksPerSecond;  // since 1601
constexpr int64_t maxDays = 10675200;

std::atomic<MonotonicSource*> monotonicSource{nullptr};
thread_local Ticks lastReading = INT64_MIN;

int64_t floorDiv(int64_t value, int64_t divisor) {
  return value / divisor - (value % divisor < 0);
}

int64_t floorMod(int64_t value, int64_t divisor) {
  int64_t rest = value % divisor;
  return rest < 0 ? rest + divisor : rest;
}

bool isLeapYear(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int daysInMonth(int year, int month) {
  static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return days[month - 1] + (month == 2 && isLeapYear(year));
}

// Seconds since 1970, rounded down.
time_t toUnixSeconds(Ticks ticks) {
  return floorDiv(ticks, ticksPerSecond) - unixEpochSeconds;
}

// The time of a clock for spans.
Ticks clockTicks(clockid_t clock) {
  timespec time;
  bool gotMonoTime = clock_gettime(clock, &time) == 0;
  PLAT_ASSERT(gotMonoTime);
  return time.tv_sec * ticksPerSecond + time.tv_nsec / 100;
}

// The coarse clock is cheaper to read, where it ticks once a millisecond at least.
clockid_t chooseClock() {
  timespec resolution;
  if (clock_getres(CLOCK_MONOTONIC_COARSE, &resolution) == 0 &&
      resolution.tv_sec * ticksPerSecond + resolution.tv_nsec / 100 < 10001) {
    return CLOCK_MONOTONIC_COARSE;
  }
  return CLOCK_MONOTONIC;
}

Ticks systemMonotonic() {
  static const clockid_t clock = chooseClock();
  return clockTicks(clock);
}

String formatIso(Ticks ticks, const tm& time, bool withMilliseconds) {
  if (time.tm_year > INT_MAX - 1900) return String("<date error>");
  DString text;
  text.appendFormat("%04d-%02d-%02dT%02d:%02d:%02d", time.tm_year + 1900, time.tm_mon + 1,
                    time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
  if (withMilliseconds) {
    text.appendFormat(".%03d", static_cast<int>(floorMod(ticks, ticksPerSecond) / ticksPerMs));
  }
  return text.release();
}

// That many decimal digits; what follows is not looked at.
bool parseDigits(const char* text, int count, int* value) {
  if (!text) return false;
  int number = 0;
  for (int i = 0; i < count; i++) {
    if (text[i] < '0' || text[i] > '9') return false;
    number = number * 10 + (text[i] - '0');
  }
  *value = number;
  return true;
}

// Nothing but that many decimal digits.
bool parseField(const char* text, int count, int* value) {
  return parseDigits(text, count, value) && !text[count];
}

// The digits behind the "." as ticks.
bool parseFraction(const char* digits, Ticks* ticks) {
  size_t count = strspn(digits, "0123456789");
  if (count == 0 || count > 12 || digits[count]) return false;
  uint64_t value = 0;
  uint64_t scale = 1;
  for (size_t i = 0; i < count; i++) {
    value = value * 10 + (digits[i] - '0');
    scale *= 10;
  }
  *ticks = static_cast<Ticks>(value * ticksPerSecond / scale);
  return true;
}

// "hh", "hhmm" or "hh:mm", as seconds.
bool parseOffset(const char* text, int64_t* seconds) {
  int hours;
  int minutes = 0;
  if (!parseDigits(text, 2, &hours)) return false;
  text += 2;
  if (*text) {
    if (*text == ':') text++;
    if (!parseField(text, 2, &minutes)) return false;
  }
  *seconds = hours * 3600 + minutes * 60;
  return true;
}

}  // namespace

Ticks now() {
  timeval time;
  gettimeofday(&time, nullptr);
  return time.tv_sec * ticksPerSecond + time.tv_usec * 10 + unixEpochTicks;
}

Ticks fromTimespec(const timespec& time) {
  __int128 ticks = (__int128{time.tv_sec} + unixEpochSeconds) * ticksPerSecond + time.tv_nsec / 100;
  return static_cast<Ticks>(std::clamp<__int128>(ticks, INT64_MIN, INT64_MAX));
}

timespec toTimespec(Ticks ticks) {
  timespec time;
  time.tv_sec = toUnixSeconds(ticks);
  time.tv_nsec = floorMod(ticks, ticksPerSecond) * 100;
  return time;
}

Ticks monotonicNow() {
  MonotonicSource* source = monotonicSource;
  return source ? source->read(noLimit).ticks : systemMonotonic();
}

MonotonicReading monotonicRead(Ticks limit) {
  if (MonotonicSource* source = monotonicSource) return source->read(limit);
  Ticks ticks = systemMonotonic();
  bool jumped = ticks < lastReading || ticks >= limit;
  lastReading = ticks;
  return {ticks, jumped};
}

void setMonotonicSource(MonotonicSource* source) {
  monotonicSource = source;
}

bool fromDate(int year, int month, int day, int hour, int minute, int second, Ticks* ticks) {
  if (year < -1000000 || year > 1000000 || month < 1 || month > 12 || day < 1 ||
      day > daysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 60) {
    return false;
  }
  auto leapDaysUntil = [](int lastYear) {
    return floorDiv(lastYear, 4) - floorDiv(lastYear, 100) + floorDiv(lastYear, 400);
  };
  int64_t days = 365 * (int64_t{year} - 1601) + leapDaysUntil(year - 1) - leapDaysUntil(1600);
  for (int m = 1; m < month; m++) days += daysInMonth(year, m);
  days += day - 1;
  if (days < -maxDays || days > maxDays) return false;
  int64_t seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
  Ticks result;
  if (__builtin_mul_overflow(seconds, ticksPerSecond, &result)) return false;
  *ticks = result;
  return true;
}

Ticks fromDate(int year, int month, int day, int hour, int minute, int second) {
  Ticks ticks;
  if (!fromDate(year, month, day, hour, minute, second, &ticks)) {
    throw ExceptionFmt("invalid date (%04d-%02d-%02dT%02d:%02d:%02d)", year, month, day, hour,
                       minute, second);
  }
  return ticks;
}

tm toUtc(Ticks ticks) {
  int64_t days = floorDiv(ticks, ticksPerDay);
  int seconds = static_cast<int>(floorMod(ticks, ticksPerDay) / ticksPerSecond);
  tm time{};
  time.tm_hour = seconds / 3600;
  time.tm_min = seconds / 60 % 60;
  time.tm_sec = seconds % 60;
  time.tm_wday = static_cast<int>(floorMod(days + 1, 7));
  time.tm_zone = "UTC";

  // 1601 begins a cycle of 400 years. Each cycle has its longer part at the end, so
  // the last day of one must not count as the first of another.
  int64_t cycles400 = floorDiv(days, 146097);
  int rest = static_cast<int>(floorMod(days, 146097));
  int cycles100 = std::min(rest / 36524, 3);
  rest -= cycles100 * 36524;
  int cycles4 = rest / 1461;
  rest -= cycles4 * 1461;
  int years = std::min(rest / 365, 3);
  rest -= years * 365;
  int year = 1601 + static_cast<int>(cycles400) * 400 + cycles100 * 100 + cycles4 * 4 + years;
  time.tm_year = year - 1900;
  time.tm_yday = rest;
  int month = 1;
  while (rest >= daysInMonth(year, month)) rest -= daysInMonth(year, month++);
  time.tm_mon = month - 1;
  time.tm_mday = rest + 1;
  return time;
}

tm toLocal(Ticks ticks) {
  time_t seconds = toUnixSeconds(ticks);
  tm time{};
  tzset();
  if (!localtime_r(&seconds, &time)) {
    time = tm{};
    time.tm_year = INT_MAX;
  }
  return time;
}

String formatIso(Ticks ticks, bool local, bool withMilliseconds) {
  return formatIso(ticks, local ? toLocal(ticks) : toUtc(ticks), withMilliseconds);
}

String formatIsoWithOffset(Ticks ticks, bool withMilliseconds) {
  tm time = toLocal(ticks);
  int64_t offSecs = time.tm_gmtoff;
  // The message shows the expression as it is written here.
  // clang-format off
  PLAT_ASSERT(offSecs < 365*86400 && offSecs > -365*86400);
  // clang-format on
  int minutes = static_cast<int>(offSecs < 0 ? -offSecs : offSecs) / 60;
  DString text;
  text.append(formatIso(ticks, time, withMilliseconds).get());
  text.appendFormat("%c%02d:%02d", offSecs < 0 ? '-' : '+', minutes / 60, minutes % 60);
  return text.release();
}

bool parseIso(const char* text, Ticks* ticks) {
  String copy(text ? text : "");
  Splitter splitter(copy.data());
  const char* yearText = splitter.next('-');
  const char* monthText = splitter.next('-');
  const char* dayText = splitter.next('T');
  const char* hourText = splitter.next(':');
  const char* minuteText = splitter.next(':');
  char suffix = 0;
  const char* secondText = splitter.nextAny(".Z+-", &suffix);
  int year, month, day, hour, minute, second;
  if (!parseField(yearText, 4, &year) || !parseField(monthText, 2, &month) ||
      !parseField(dayText, 2, &day) || !parseField(hourText, 2, &hour) ||
      !parseField(minuteText, 2, &minute) || !parseField(secondText, 2, &second) || year < 1) {
    return false;
  }
  Ticks result;
  if (!fromDate(year, month, day, hour, minute, second, &result)) return false;

  if (suffix == '.') {
    const char* digits = splitter.nextAny("Z+-", &suffix);
    Ticks fraction;
    if (!digits || !parseFraction(digits, &fraction)) return false;
    result += fraction;
  }
  if (suffix) {
    const char* rest = splitter.rest();
    if (!rest) rest = "";
    if (suffix == 'Z') {
      if (*rest) return false;
    } else {
      int64_t offset;
      if (!parseOffset(rest, &offset)) return false;
      // ISO 8601 has no negative zero.
      if (suffix == '-' && offset == 0) return false;
      result -= (suffix == '+' ? offset : -offset) * ticksPerSecond;
    }
  }
  *ticks = result;
  return true;
}

Ticks parseIso(const char* text) {
  Ticks ticks;
  if (!parseIso(text, &ticks)) throw ExceptionFmt("invalid date (%s)", text ? text : "");
  return ticks;
}

String formatTime(const char* format, const tm& time) {
  DString expanded;
  for (const char* at = format ? format : ""; *at;) {
    int length = at[0] == '%' && at[1] ? 2 : 1;
    if (length == 2 && at[1] == 'Y') {
      expanded.appendFormat("%04lld", time.tm_year + 1900LL);
    } else {
      expanded.append(at, length);
    }
    at += length;
  }
  for (int size = 16; size <= 1024; size *= 2) {
    String text = String::adopt(static_cast<char*>(heapAlloc(size)));
    if (strftime(text.data(), size, expanded.orEmpty(), &time) > 0) return text;
  }
  return String();
}

void sleep(Ticks ticks) {
  // Not the clock of the time-outs: that one may be late, and a test may stop it.
  Ticks start = clockTicks(CLOCK_MONOTONIC);
  for (Ticks passed = 0; passed < ticks; passed = clockTicks(CLOCK_MONOTONIC) - start) {
    Ticks left = ticks - passed;
    timeval wait;
    wait.tv_sec = left / ticksPerSecond;
    wait.tv_usec = (left % ticksPerSecond + 9) / 10;
    if (wait.tv_usec == 1000000) {
      wait.tv_sec++;
      wait.tv_usec = 0;
    }
    select(0, nullptr, nullptr, nullptr, &wait);
  }
}

}  // namespace plat
