#pragma once

#include <memory>
#include <string>

#include "base/io/Io.h"
#include "base/io/IoHandler.h"
#include "base/rdr/Exceptions.h"
#include "tests/support/streams.h"

namespace fuzz {

// A connection whose input is given and whose output is kept.
class MemoryIo : public io::Io {
 public:
  explicit MemoryIo(const std::string& received, int bufSize = -1) {
    inStream = std::make_unique<fakes::ChunkedIn>(received, INT_MAX, bufSize);
    outStream = std::make_unique<fakes::ChokedOut>();
  }

  fakes::ChunkedIn& input() { return static_cast<fakes::ChunkedIn&>(*inStream); }
  const std::string& sent() const { return static_cast<fakes::ChokedOut&>(*outStream).delivered; }

  void setHandler(io::IoHandler* newHandler, bool) override {
    handler = newHandler;
    input().setNonBlocking(handler);
  }
  // In event-driven mode the owner destroys it behind the event.
  void shutdown(bool, bool) override {
    if (handler) {
      ended = true;
    } else {
      delete this;
    }
  }
  void markReadable() override { marked = true; }
  const char* name() override { return "memory"; }
  void setTimeout(int) override {}

  // An event, and those that are asked for in it. False once the connection has ended.
  bool readable() {
    do {
      marked = false;
      handler->ioReadable(this);
    } while (marked && !ended);
    return !ended;
  }

 private:
  io::IoHandler* handler = nullptr;
  bool marked = false;
  bool ended = false;
};

}  // namespace fuzz
