#include "base/plat/Exception.h"

#include <cerrno>
#include <cstring>

#include "base/plat/Assertion.h"
#include "base/plat/Configuration.h"
#include "base/plat/SString.h"
#include "base/plat/unix/strError.h"

namespace plat {

Exception::Exception(const char* text) : Exception(text, nullptr) {}

Exception::Exception(const char* text, const char* typeName) {
  message[0] = '\0';
  name[0] = '\0';
  sstrAppend(message, text);
  sstrAppend(name, typeName);
}

Exception::~Exception() = default;

void Exception::formatMessage(const char* format, va_list args) {
  message[0] = '\0';
  sstrAppendFormat(message, sizeof(message), format, args);
}

ExceptionFmt::ExceptionFmt(const char* format, ...) : Exception(nullptr) {
  va_list args;
  va_start(args, format);
  formatMessage(format, args);
  va_end(args);
}

SystemException::SystemException(const char* text, int errorNumber)
    : Exception(text), err(errorNumber) {
  appendErrorSuffix();
}

SystemException::SystemException(int errorNumber) : Exception(nullptr), err(errorNumber) {}

void SystemException::appendErrorSuffix() {
  name[0] = '\0';
  sstrAppendPrintf(name, sizeof(name), "System-%d", err);
  if (message[0]) sstrAppend(message, ": ");
  if (err == 0) {
    sstrAppend(message, "Success");
  } else {
    int length = static_cast<int>(strlen(message));
    if (!strError(err, message + length, static_cast<int>(sizeof(message)) - length)) {
      sstrAppend(message, "Unknown error");
    }
  }
  sstrAppendPrintf(message, sizeof(message), " (%d)", err);
}

SystemExceptionFmt::SystemExceptionFmt(const char* format, int errorNumber, ...)
    : SystemException(errorNumber) {
  va_list args;
  va_start(args, errorNumber);
  formatMessage(format, args);
  va_end(args);
  appendErrorSuffix();
}

StdlibException::StdlibException(const char* format, ...) : SystemException(errno) {
  va_list args;
  va_start(args, format);
  formatMessage(format, args);
  va_end(args);
  appendErrorSuffix();
}

AssertionFail::AssertionFail(const char* expression, const char* sourceFile, int sourceLine)
    : Exception(nullptr, "AssertionFail"), expr(expression), file(sourceFile), line(sourceLine) {
  sstrAppendPrintf(message, sizeof(message), "Assertion '%s' failed at %s:%d", orEmpty(expr),
                   orEmpty(file), line);
}

AssertionFail& AssertionFail::appendDetail(const char* format, ...) {
  sstrAppend(message, ": ");
  va_list args;
  va_start(args, format);
  sstrAppendFormat(message, sizeof(message), format, args);
  va_end(args);
  return *this;
}

BadNum::BadNum(const char* text) : Exception(text) {}

BadUtf8::BadUtf8(const char* text) : Exception(text) {
  assertWanted();
}

void BadUtf8::assertWanted() const {
  // By name: the parameter may not live yet, or no longer.
  if (Configuration::global().getBool("_BadUtf8Assert", false)) {
    PLAT_ASSERT_DETAIL(0, "%s", message);
  }
}

TimedOut::TimedOut(const char* text) : Exception(text, "TimedOut") {}

}  // namespace plat
