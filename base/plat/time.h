#pragma once

#include <cstdint>
#include <ctime>

#include "base/plat/String.h"

namespace plat {

// Ticks are signed 64-bit counts of 100 ns. Wall-clock ticks count from
// 1601-01-01 00:00:00 UTC (proleptic Gregorian), monotonic ones from anywhere.
using Ticks = int64_t;
constexpr Ticks ticksPerMs = 10000;
constexpr Ticks ticksPerSecond = 10000000;
constexpr Ticks ticksPerDay = 864000000000;
constexpr Ticks unixEpochTicks = 116444736000000000;

Ticks now();
// A time outside the range of ticks becomes the nearest one.
Ticks fromTimespec(const timespec& time);
timespec toTimespec(Ticks ticks);

struct MonotonicReading {
  Ticks ticks;
  bool jumped;  // the system's time was seen to jump
};
constexpr Ticks noLimit = INT64_MAX;

// Monotonic ticks, for time-outs.
Ticks monotonicNow();
// The same. It is a jump when the reading is at or above the limit, or below the
// previous one that this function gave to the thread.
MonotonicReading monotonicRead(Ticks limit);
// Tests replace the clock; null brings the system's back. The source is borrowed.
class MonotonicSource {
 public:
  virtual ~MonotonicSource() = default;
  virtual MonotonicReading read(Ticks limit) = 0;
};
void setMonotonicSource(MonotonicSource* source);

// UTC. Month 1 to 12, second 0 to 60. False when invalid or out of the range of ticks,
// which ends in the years -27627 and 30828.
bool fromDate(int year, int month, int day, int hour, int minute, int second, Ticks* ticks);
// Throws plat::Exception "invalid date (...)".
Ticks fromDate(int year, int month, int day, int hour, int minute, int second);
tm toUtc(Ticks ticks);
// The year is INT_MAX when the platform cannot represent the time.
tm toLocal(Ticks ticks);

// "1970-01-01T00:00:00", with ".%03d" when asked; "<date error>" when the year
// cannot be represented.
String formatIso(Ticks ticks, bool local, bool withMilliseconds);
// Local time, as above, and its offset from UTC, "+01:00".
String formatIsoWithOffset(Ticks ticks, bool withMilliseconds = false);
// "2024-02-29T12:00:00", then optionally "." and at most 12 digits, then
// optionally "Z", "+01", "+0100" or "+01:00" (ISO 8601). Without a suffix the time
// is UTC. False when it is none.
bool parseIso(const char* text, Ticks* ticks);
// Throws plat::Exception "invalid date (%s)".
Ticks parseIso(const char* text);
// strftime, except that "%Y" is the full year in four digits at least. Null when
// the text is empty or longer than 1023 bytes.
String formatTime(const char* format, const tm& time);

// Waits the whole time, also when interrupted by a signal.
void sleep(Ticks ticks);

}  // namespace plat
