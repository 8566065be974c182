// Texts of exceptions, which are cut where they do not fit.
#include <cstring>

#include "base/plat/Exception.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

namespace {

// At most 255 bytes, and no part of a character at the end.
std::string cut(const std::string& text) {
  size_t end = std::min<size_t>(text.size(), 255);
  while (end > 0 && !plat::isValidUtf8(text.c_str(), text.c_str() + end)) end--;
  return text.substr(0, end);
}

void checkSystem(const plat::SystemException& e, const std::string& text, int err) {
  const std::string number = std::to_string(err);
  const std::string start = text.empty() ? "" : cut(cut(text) + ": ");
  // The reason as a whole or not at all, which the system's own errors then stand for.
  const bool fits = start.size() + strlen(strerror(err)) <= 255;
  const bool known = std::string(strerror(err)) != "Unknown error " + number;
  const std::string reason = err == 0 ? "Success" : fits && known ? strerror(err) : "Unknown error";
  PLAT_ASSERT(e.err == err && e.name == "System-" + number);
  PLAT_ASSERT_DETAIL(cut(cut(start + reason) + " (" + number + ")") == e.message, "%s", e.message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int err = input.flag() ? input.number(0, 140) : input.anyNumber<int>();
  const std::string padding(input.number<size_t>(0, 300), 'x');
  const std::string rest = input.rest();
  const std::string text = padding + plat::fixUtf8(rest.c_str()).orEmpty();

  PLAT_ASSERT(plat::Exception(text.c_str()).message == cut(text));
  PLAT_ASSERT(plat::ExceptionFmt("%s", text.c_str()).message == cut(text));
  const plat::Exception kinds[] = {plat::BadUtf8(text.c_str()), plat::BadUtf8("%s", text.c_str()),
                                   plat::BadNum(text.c_str()), plat::TimedOut(text.c_str())};
  for (const plat::Exception& e : kinds) {
    PLAT_ASSERT(e.message == cut(text) && e.name == std::string(&e == &kinds[3] ? "TimedOut" : ""));
  }
  PLAT_ASSERT(plat::Exception(nullptr).message == std::string());
  checkSystem(plat::SystemException(text.c_str(), err), text, err);
  checkSystem(plat::SystemExceptionFmt("%s", err, text.c_str()), text, err);
  errno = err;
  checkSystem(plat::StdlibException("%s", text.c_str()), text, err);

  plat::AssertionFail failure(text.c_str(), "F", err);
  const std::string start = "Assertion '" + text + "' failed at F:" + std::to_string(err);
  PLAT_ASSERT(failure.message == cut(start) && failure.name == std::string("AssertionFail"));
  PLAT_ASSERT(failure.appendDetail("%s", text.c_str()).message ==
              cut(cut(cut(start) + ": ") + text));
  return 0;
}
