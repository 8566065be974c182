#include <cstdlib>
#include <optional>
#include <regex>
#include <vector>

#include "base/loc/LString.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"
#include "tests/support/CapturedLog.h"

namespace {

using Type = loc::LArg::Type;

// Of any number of digits.
double numberOf(const std::string& digits) {
  return strtod(digits.c_str(), nullptr);
}

// What a directive stands for, if it fits the arguments.
std::optional<std::string> meaning(const std::smatch& directive,
                                   const std::vector<loc::LArg>& args) {
  if (directive[0] == "%%") return "%";
  const bool numbered = directive[1].matched, plus = directive[2].length() > 0;
  const double number = numbered ? numberOf(directive[1]) : args.size() == 1 ? 1 : 0;
  const double precision = directive[3].matched ? numberOf(directive[3]) : 0;
  if (number < 1 || number > args.size() || (directive[3].matched && precision == 0))
    return std::nullopt;
  const loc::LArg& arg = args[static_cast<size_t>(number) - 1];
  const char letter = directive[4].str()[0];
  if (letter == 'S' && arg.type == Type::string && !plus) {
    const std::string text = arg.text;
    size_t size = text.size();
    if (precision > 0 && precision < size) size = static_cast<size_t>(precision);
    while (size < text.size() && (text[size] & 0xc0) == 0x80) size--;
    return text.substr(0, size);
  }
  if (precision > 0) return std::nullopt;
  if (letter == 'D' && arg.type == Type::signedInt) {
    return (plus && arg.signedValue >= 0 ? "+" : "") + std::to_string(arg.signedValue);
  }
  if (plus || arg.type != Type::unsignedInt) return std::nullopt;
  if (letter == 'S') return std::nullopt;
  std::ostringstream digits;
  digits << (letter == 'X' ? std::hex : std::dec) << arg.unsignedValue;
  return digits.str();
}

void check(const std::string& format, const std::vector<loc::LArg>& args,
           std::initializer_list<loc::LArg> given) {
  static const std::regex directive("%(?:%|(?:([0-9]+)\\$)?(\\+?)(?:\\.([0-9]+))?([SDX]))");
  std::string expected = "before ";
  bool bad = false;
  for (auto at = format.begin(); at != format.end();) {
    std::smatch match;
    const auto from = at++;
    if (*from != '%') {
      expected += *from;
      continue;
    }
    std::optional<std::string> filled;
    if (std::regex_search(from, format.end(), match, directive,
                          std::regex_constants::match_continuous)) {
      filled = meaning(match, args);
    }
    expected += filled.value_or("%%");
    bad |= !filled;
    if (filled) at = match[0].second;
  }
  CapturedLog captured("Localize:captured:0");
  plat::DString out("before ");
  loc::formatLoc(out, format.c_str(), given, "file", 7);
  PLAT_ASSERT(out.get() == expected);
  PLAT_ASSERT(captured.lines.size() == bad);
  PLAT_ASSERT(!bad || captured.lines[0].starts_with("0 Localize Bad loc string for args - "));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int number = input.anyNumber<int>();
  const plat::String word = plat::fixUtf8(input.text(20).c_str());
  const std::string format = fuzz::text(input.rest());
  const auto fits = [&](std::initializer_list<loc::LArg> args) { check(format, args, args); };
  fits({});
  fits({word.orEmpty()});
  fits({number});
  fits({static_cast<unsigned>(number)});
  fits({word.orEmpty(), number, static_cast<unsigned>(number)});
  fits({"1", "2", "3", "4", "5", "6", "7", "8", number});
  return 0;
}
