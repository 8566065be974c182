#pragma once

#include "base/plat/Exception.h"

namespace rdr {

// The source has ended.
class EndOfStream : public plat::Exception {
 public:
  explicit EndOfStream(const char* text) : Exception(text, "EndOfStream") {}
};

// A reader ran past the end of the current message of a framed stream.
class EndOfMsg : public plat::Exception {
 public:
  EndOfMsg() : Exception("End of message", "EndOfMsg") {}
};

class StringTooLongException : public plat::Exception {
 public:
  StringTooLongException() : Exception("String exceeds maximum length", "StringTooLongException") {}
};

// The one failure that a non-blocking reader expects: a rewindable stream stands
// at its checkpoint again and the read can be repeated when data has arrived.
class BlockException : public plat::Exception {
 public:
  BlockException() : Exception("Reading from InStream would block") {}
};

class OutStreamFull : public plat::Exception {
 public:
  OutStreamFull() : Exception("OutStream full", "OutStreamFull") {}
};

// Framing calls in the wrong order.
class FrameException : public plat::Exception {
 public:
  explicit FrameException(const char* text) : Exception(text, "FrameException") {}
};

}  // namespace rdr
