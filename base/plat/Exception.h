#pragma once

#include <cstdarg>

#include "base/plat/printfFormat.h"

namespace plat {

// Root of every failure that a caller must see. A plain value: both texts lie
// inside the object, NUL-terminated UTF-8, cut at a character boundary when
// they do not fit. Callers read them directly. Every text argument of the
// family may be null, which counts as empty.
class Exception {
 public:
  explicit Exception(const char* message);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  virtual ~Exception();

  char message[256];
  char name[64];  // short type name; empty for the plain classes

 protected:
  Exception(const char* message, const char* name);
  // Replaces the message by the formatted text.
  void formatMessage(const char* format, va_list args);
};

class ExceptionFmt : public Exception {
 public:
  explicit ExceptionFmt(const char* format, ...) PLAT_PRINTF(2, 3);
};

// A failure of the operating system. The message is the given text and the
// system error suffix, as in "open: No such file or directory (2)"; the name is
// "System-%d" with err.
class SystemException : public Exception {
 public:
  SystemException(const char* message, int err);

  int err;  // errno value; 0 is "Success"

 protected:
  explicit SystemException(int err);  // empty message, no suffix yet
  void appendErrorSuffix();
};

class SystemExceptionFmt : public SystemException {
 public:
  // The format's arguments follow err.
  SystemExceptionFmt(const char* format, int err, ...) PLAT_PRINTF(2, 4);
};

// err is the value of errno when the exception is built.
class StdlibException : public SystemException {
 public:
  explicit StdlibException(const char* format, ...) PLAT_PRINTF(2, 3);
};

// "Assertion '%s' failed at %s:%d". expr and file are static texts.
class AssertionFail : public Exception {
 public:
  AssertionFail(const char* expr, const char* file, int line);
  // Appends ": " and the formatted detail to the message.
  AssertionFail& appendDetail(const char* format, ...) PLAT_PRINTF(2, 3);

  const char* expr;
  const char* file;
  int line;
};

class BadNum : public Exception {
 public:
  explicit BadNum(const char* message);
};

// With the debugging parameter "_BadUtf8Assert" set, building one is a fatal
// assertion, so that the process stops where the bad text was found.
class BadUtf8 : public Exception {
 public:
  explicit BadUtf8(const char* message);
  // A template, so that a plain text is never taken as a format.
  template <class = void>
  BadUtf8(const char* format, ...) PLAT_PRINTF(2, 3);

 private:
  void assertWanted() const;
};

template <class>
BadUtf8::BadUtf8(const char* format, ...) : Exception(nullptr) {
  va_list args;
  va_start(args, format);
  formatMessage(format, args);
  va_end(args);
  assertWanted();
}

class TimedOut : public Exception {
 public:
  explicit TimedOut(const char* message);
};

}  // namespace plat
