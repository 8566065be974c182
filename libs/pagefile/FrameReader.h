#pragma once

#include <cstdint>

#include "base/rdr/InStreamV4.h"

namespace pagefile {

// The message of a page file, with the place of every byte in the file.
class FrameReader : public rdr::InStreamV4 {
 public:
  // The source is borrowed, blocks, and stands at the start of the file.
  explicit FrameReader(rdr::InStream& newFile);

  // In the file, of the next byte; between two frames that is the next header's.
  // 64-bit, unlike the positions of streams.
  uint64_t offset();
  uint64_t lastOffset() { return offset() - 1; }
  // Of the file's end, once the file has thrown EndOfStream.
  uint64_t endOffset();
  uint64_t frameCount() const { return frames; }
  // There is something to read. False: the message has ended.
  bool refill();

 protected:
  void readHeader(int* size, bool* last, bool firstFrame) override;

 private:
  uint64_t advanceTo(unsigned newPosition);

  rdr::InStream& file;
  unsigned lastPosition;    // of the file, wrapping
  uint64_t fileOffset = 0;  // of lastPosition
  uint64_t frames = 0;
};

}  // namespace pagefile
