#include "base/plat/time.h"

#include <algorithm>

#include "fuzz/fuzz.h"

static bool isYearOfFourDigits(const tm& time) {
  return time.tm_year >= 1 - 1900 && time.tm_year <= 9999 - 1900;
}

// Back to the start of its unit.
static plat::Ticks floored(plat::Ticks ticks, plat::Ticks unit) {
  return ticks - ((ticks % unit) + unit) % unit;
}

static void check(plat::Ticks ticks) {
  const tm utc = plat::toUtc(ticks);
  PLAT_ASSERT(utc.tm_sec <= 59 && utc.tm_min <= 59 && utc.tm_hour <= 23 && utc.tm_yday <= 365);
  plat::Ticks again;
  if (plat::fromDate(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
                     utc.tm_sec, &again)) {
    PLAT_ASSERT(again <= ticks && static_cast<uint64_t>(ticks) - static_cast<uint64_t>(again) <
                                      static_cast<uint64_t>(plat::ticksPerSecond));
  }
  const plat::String whole = plat::formatIso(ticks, false, false);
  const plat::String fine = plat::formatIso(ticks, false, true);
  const plat::String local = plat::formatIsoWithOffset(ticks);
  if (isYearOfFourDigits(utc)) {
    PLAT_ASSERT(plat::parseIso(whole.get()) == floored(ticks, plat::ticksPerSecond));
    PLAT_ASSERT(plat::parseIso(fine.get()) == floored(ticks, plat::ticksPerMs));
    PLAT_ASSERT(!isYearOfFourDigits(plat::toLocal(ticks)) ||
                plat::parseIso(local.get()) == floored(ticks, plat::ticksPerSecond));
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto anyTicks = input.anyNumber<plat::Ticks>();
  const std::string bytes = input.rest();
  plat::Ticks ticks;
  if (plat::parseIso(bytes.c_str(), &ticks)) check(ticks);
  check(anyTicks);
  const plat::String text = plat::formatTime(bytes.c_str(), plat::toUtc(anyTicks));
  PLAT_ASSERT(text.length() < 1024);
  return 0;
}
