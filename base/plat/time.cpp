#include "base/plat/time.h"

#include <sys/select.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/plat/DString.h"
#include "base/plat/Splitter.h"

namespace plat {

namespace {

namespace chrono = std::chrono;

constexpr int64_t unixEpochSeconds = unixEpochTicks / ticksPerSecond;  // since 1601
constexpr chrono::sys_days originDay{chrono::year{1601} / 1 / 1};

std::atomic<MonotonicSource*> monotonicSource{nullptr};
thread_local Ticks lastReading = INT64_MIN;

int64_t floorDiv(int64_t value, int64_t divisor) {
  return value / divisor - (value % divisor < 0);
}

int64_t floorMod(int64_t value, int64_t divisor) {
  int64_t rest = value % divisor;
  return rest < 0 ? rest + divisor : rest;
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

constexpr char decimalDigits[] = "0123456789";

// That many decimal digits; what follows is not looked at.
bool parseDigits(const char* text, int count, int* value) {
  if (!text || strspn(text, decimalDigits) < static_cast<size_t>(count)) return false;
  return std::from_chars(text, text + count, *value).ec == std::errc();
}

// Nothing but that many decimal digits.
bool parseField(const char* text, int count, int* value) {
  return parseDigits(text, count, value) && !text[count];
}

// The digits behind the "." as ticks.
bool parseFraction(const char* digits, Ticks* ticks) {
  size_t count = strspn(digits, decimalDigits);
  if (count == 0 || count > 12 || digits[count]) return false;
  int64_t value = 0;
  std::from_chars(digits, digits + count, value);
  for (; count < 7; count++) value *= 10;
  for (; count > 7; count--) value /= 10;
  *ticks = value;
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
  // The library's calendar has more years than ticks can hold.
  if (year < int{chrono::year::min()} || year > int{chrono::year::max()} || month < 1 ||
      month > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 60) {
    return false;
  }
  const chrono::year_month_day date = chrono::year{year} / month / day;
  int64_t days = (chrono::sys_days{date} - originDay).count();
  int64_t seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
  Ticks result;
  if (!date.ok() || __builtin_mul_overflow(seconds, ticksPerSecond, &result)) return false;
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
  const chrono::sys_days day = originDay + chrono::days{floorDiv(ticks, ticksPerDay)};
  const chrono::year_month_day date{day};
  int seconds = static_cast<int>(floorMod(ticks, ticksPerDay) / ticksPerSecond);
  tm time{};
  time.tm_year = int{date.year()} - 1900;
  time.tm_mon = static_cast<int>(unsigned{date.month()}) - 1;
  time.tm_mday = static_cast<int>(unsigned{date.day()});
  time.tm_hour = seconds / 3600;
  time.tm_min = seconds / 60 % 60;
  time.tm_sec = seconds % 60;
  time.tm_wday = static_cast<int>(chrono::weekday{day}.c_encoding());
  time.tm_yday = static_cast<int>((day - chrono::sys_days{date.year() / 1 / 1}).count());
  time.tm_zone = "UTC";
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
  String copy(orEmpty(text));
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
    const char* rest = orEmpty(splitter.rest());
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
  if (!parseIso(text, &ticks)) throw ExceptionFmt("invalid date (%s)", orEmpty(text));
  return ticks;
}

String formatTime(const char* format, const tm& time) {
  DString expanded;
  for (const char* at = orEmpty(format); *at;) {
    int length = at[0] == '%' && at[1] ? 2 : 1;
    if (length == 2 && at[1] == 'Y') {
      expanded.appendFormat("%04lld", time.tm_year + 1900LL);
    } else {
      expanded.append(at, length);
    }
    at += length;
  }
  char text[1024];
  bool fits = strftime(text, sizeof text, expanded.orEmpty(), &time) > 0;
  return String(fits ? text : nullptr);
}

void sleep(Ticks ticks) {
  // Not the clock of the time-outs: that one may be late, and a test may stop it. With
  // select(), as every wait of the system, and not clock_nanosleep().
  Ticks start = clockTicks(CLOCK_MONOTONIC);
  for (Ticks passed = 0; passed < ticks; passed = clockTicks(CLOCK_MONOTONIC) - start) {
    Ticks left = ticks - passed;
    Ticks microseconds = left / 10 + (left % 10 != 0);
    timeval wait;
    wait.tv_sec = microseconds / 1000000;
    wait.tv_usec = microseconds % 1000000;
    select(0, nullptr, nullptr, nullptr, &wait);
  }
}

}  // namespace plat
