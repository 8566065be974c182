#include "base/loc/LString.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <utility>

#include "base/loc/Localize.h"
#include "base/loc/report.h"
#include "base/plat/utf8.h"

namespace loc {

namespace {

// Moves the cursor behind the digits. 0: there are none, or the number is 0.
int positiveNumber(const char** cursor) {
  int number = 0;
  const char* end = *cursor + strspn(*cursor, "0123456789");
  if (std::from_chars(*cursor, end, number).ec == std::errc::result_out_of_range) number = INT_MAX;
  *cursor = end;
  return number;
}

struct Directive {
  const LArg* arg = nullptr;
  bool plus = false;
  int precision = 0;  // 0: none
  char letter = 0;
};

// The cursor stands behind the per cent sign. False for a malformed directive, with the
// cursor where it was.
bool parseDirective(const char** cursor, std::initializer_list<LArg> args, Directive* directive) {
  const char* p = *cursor;
  if (*p >= '0' && *p <= '9') {
    int number = positiveNumber(&p);
    if (*p++ != '$' || number < 1 || static_cast<size_t>(number) > args.size()) return false;
    directive->arg = args.begin() + (number - 1);
  } else if (args.size() == 1) {
    directive->arg = args.begin();
  } else {
    return false;
  }
  if (*p == '+') {
    directive->plus = true;
    p++;
  }
  if (*p == '.') {
    p++;
    directive->precision = positiveNumber(&p);
    if (directive->precision == 0) return false;
  }
  directive->letter = *p;
  if (*p) p++;
  *cursor = p;
  return true;
}

// False when the directive does not fit the argument.
bool fillIn(plat::DString& out, const Directive& directive) {
  const LArg& arg = *directive.arg;
  switch (directive.letter) {
    case 'S':
      if (arg.type != LArg::Type::string || directive.plus) return false;
      if (directive.precision == 0) {
        out.append(arg.text);
      } else {
        out.append(plat::fixUtf8(arg.text, nullptr, directive.precision).get());
      }
      return true;
    case 'D':
      if (directive.precision != 0) return false;
      if (arg.type == LArg::Type::signedInt) {
        out.appendFormat(directive.plus ? "%+d" : "%d", arg.signedValue);
        return true;
      }
      if (arg.type != LArg::Type::unsignedInt || directive.plus) return false;
      out.appendFormat("%u", arg.unsignedValue);
      return true;
    case 'X':
      if (arg.type != LArg::Type::unsignedInt || directive.plus || directive.precision != 0) {
        return false;
      }
      out.appendFormat("%x", arg.unsignedValue);
      return true;
    default:
      return false;
  }
}

}  // namespace

void formatLoc(plat::DString& out, const char* format, std::initializer_list<LArg> args,
               const char* file, int line) {
  bool bad = false;
  plat::DString filled("");
  for (const char* p = plat::orEmpty(format); *p;) {
    size_t plain = strcspn(p, "%");
    filled.append(p, static_cast<int>(plain));
    p += plain;
    if (!*p) break;
    p++;
    if (*p == '%') {
      filled.append("%");
      p++;
      continue;
    }
    const char* behind = p;
    Directive directive;
    if (parseDirective(&behind, args, &directive) && fillIn(filled, directive)) {
      p = behind;
    } else {
      filled.append("%%");
      bad = true;
    }
  }
  out.append(filled.get());
  if (bad) reportError(file, line, "Bad loc string for args - %s", format);
}

LString::LString(const char* key, const char* file, int line)
    : text(Localize::instance().localize(key, file, line, /*raw=*/true)) {}

LString::LString(const char* key, std::initializer_list<LArg> args, const char* file, int line) {
  const plat::String format = Localize::instance().localize(key, file, line, /*raw=*/false);
  plat::DString filled;
  formatLoc(filled, format.get(), args, file, line);
  text = filled.release();
}

}  // namespace loc
