#pragma once

#include <zlib.h>

#include <cstdint>

#include "base/plat/NonCopyable.h"

namespace pagefile {

class FrameReader;

// The rest of a message as one zlib stream (RFC 1950) that has no end of its own but
// stops at a sync flush. Never inflates ahead of what is asked for, so that the place of
// a fault is known. Throws PageFileError, and rdr::EndOfMsg where the message ends
// before what was asked for.
class Inflater : private plat::NonCopyable {
 public:
  // Borrowed; outlives this.
  explicit Inflater(FrameReader& message);
  ~Inflater();

  void read(uint8_t* buf, int length);
  uint8_t readByte() {
    uint8_t byte;
    read(&byte, 1);
    return byte;
  }
  // Checks that nothing more is to come, up to the end of the message.
  void finish();

  uint64_t compressedBytes() const { return compressed; }
  uint64_t plainBytes() const { return plain; }
  // As PageFileError counts it for the byte read last.
  uint64_t offset();

 private:
  void step();

  FrameReader& in;
  z_stream zlib{};
  uint64_t compressed = 0;
  uint64_t plain = 0;
  bool isBetweenBlocks = false;
  uint32_t tail = 0;  // the last four compressed bytes
};

}  // namespace pagefile
