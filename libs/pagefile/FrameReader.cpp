#include "libs/pagefile/FrameReader.h"

#include "base/rdr/OutStreamV4.h"
#include "libs/pagefile/PageFileError.h"

namespace pagefile {

FrameReader::FrameReader(rdr::InStream& newFile)
    : InStreamV4(&newFile), file(newFile), lastPosition(static_cast<unsigned>(newFile.pos())) {
  setRewindable(false);
}

// Precondition: less than 4 GiB since the last call; every frame header makes one.
uint64_t FrameReader::advanceTo(unsigned newPosition) {
  fileOffset += newPosition - lastPosition;
  lastPosition = newPosition;
  return fileOffset;
}

uint64_t FrameReader::offset() {
  const ptrdiff_t unconsumed = inMsg() ? getPtr() - file.getPtr() : 0;
  return advanceTo(static_cast<unsigned>(file.pos()) + static_cast<unsigned>(unconsumed));
}

uint64_t FrameReader::endOffset() {
  return advanceTo(static_cast<unsigned>(file.pos()) + static_cast<unsigned>(file.nUnread()));
}

bool FrameReader::refill() {
  if (nUnread() > 0) return true;
  if (atEnd()) return false;
  return nUnread() > 0 || overrun(true, 1);
}

void FrameReader::readHeader(int* size, bool* last, bool firstFrame) {
  const uint64_t at = advanceTo(static_cast<unsigned>(file.pos()));
  InStreamV4::readHeader(size, last, firstFrame);
  if (*size > rdr::OutStreamV4::largestFrame) throw PageFileError(at, "a frame of %d bytes", *size);
  ++frames;
}

}  // namespace pagefile
