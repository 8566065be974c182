#include "base/plat/time.h"

#include <regex>

#include "fuzz/fuzz.h"

namespace {

using plat::Ticks;

bool isYearOfFourDigits(const tm& time) {
  return time.tm_year >= 1 - 1900 && time.tm_year <= 9999 - 1900;
}

// Back to the start of its unit.
Ticks floored(Ticks ticks, Ticks unit) {
  return ticks - ((ticks % unit) + unit) % unit;
}

void checkTicks(Ticks ticks) {
  const tm utc = plat::toUtc(ticks);
  PLAT_ASSERT(utc.tm_sec <= 59 && utc.tm_min <= 59 && utc.tm_hour <= 23 && utc.tm_yday <= 365);
  Ticks again;
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

// Date, time, fraction and offset as the header tells them.
bool readIso(const std::string& text, Ticks* ticks) {
  static const std::regex form(
      "(\\d{4})-(\\d\\d)-(\\d\\d)T(\\d\\d):(\\d\\d):(\\d\\d)"
      "(\\.(\\d{1,12}))?(Z|([+-])(\\d\\d)(:?(\\d\\d))?)?");
  std::smatch parts;
  if (!std::regex_match(text, parts, form)) return false;
  const auto number = [&](size_t i) { return parts[i].length() ? std::stoi(parts[i]) : 0; };
  if (number(1) == 0 ||
      !plat::fromDate(number(1), number(2), number(3), number(4), number(5), number(6), ticks)) {
    return false;
  }
  const Ticks offset = (number(11) * 3600 + number(13) * 60) * plat::ticksPerSecond;
  const bool isWest = parts[10] == "-";
  *ticks += std::stoi((parts[8].str() + "0000000").substr(0, 7)) + (isWest ? offset : -offset);
  return !isWest || offset != 0;
}

void checkText(const std::string& text) {
  Ticks expected = 0, ticks = 77;
  const bool isRight = readIso(text, &expected);
  PLAT_ASSERT(plat::parseIso(text.c_str(), &ticks) == isRight);
  PLAT_ASSERT(ticks == (isRight ? expected : 77));
  const std::string refusal =
      fuzz::refusal([&] { PLAT_ASSERT(plat::parseIso(text.c_str()) == ticks); });
  PLAT_ASSERT(text.size() > 100 || refusal == (isRight ? "" : ": invalid date (" + text + ")"));
  if (isRight) checkTicks(ticks);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto ticks = input.anyNumber<Ticks>();
  const std::string text = fuzz::text(input.rest());
  for (const std::string& line : fuzz::split(text, "\n")) checkText(line);
  checkTicks(ticks);
  const plat::String formatted = plat::formatTime(text.c_str(), plat::toUtc(ticks));
  PLAT_ASSERT(formatted.length() < 1024);
  return 0;
}
