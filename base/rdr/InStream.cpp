#include "base/rdr/InStream.h"

#include <algorithm>

#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/OutStream.h"

namespace rdr {

namespace {

constexpr int defaultMaxLine = 0x40000;
// A length word is trusted with memory only as far as its bytes have arrived.
constexpr size_t firstPiece = 65536;

// Piece by piece, since a NUL within the text ends the walk of the UTF-8 functions.
// True when it changed anything.
bool repairUtf8(std::string& text) {
  std::string repaired;
  size_t copied = 0;
  for (size_t begin = 0; begin < text.size();) {
    size_t end = std::min(text.find('\0', begin), text.size());
    if (!plat::isValidUtf8(&text[begin], &text[end])) {
      repaired.append(text, copied, begin - copied);
      repaired += plat::fixUtf8(&text[begin], &text[end]).orEmpty();
      copied = end;
    }
    begin = end + 1;
  }
  if (copied == 0) return false;
  repaired.append(text, copied);
  text.swap(repaired);
  return true;
}

// Keeps the bytes behind a NUL too, as the stream carried them.
plat::String toHeapString(const std::string& text) {
  char* copy = static_cast<char*>(plat::heapAlloc(text.size() + 1));
  memcpy(copy, text.c_str(), text.size() + 1);
  return plat::String::adopt(copy);
}

}  // namespace

InStream::~InStream() = default;

int InStream::checkpoint() {
  checkpointPtr = ptr;
  checkpointPos = pos();
  return checkpointPos;
}

void InStream::rewind() {
  if (!rewindable) throw plat::Exception("Attempt to rewind a non-rewindable stream");
  ptr = checkpointPtr;
}

void InStream::reposition(int newPos) {
  const int distance = static_cast<int>(int64_t{newPos} - checkpointPos);
  if (distance < 0) throw plat::Exception("Can't reposition before checkpoint");
  rewind();
  skip(distance);
}

bool InStream::atEnd() {
  return false;
}

bool InStream::overrun(bool wait, int itemSize) {
  if (!rewindable) checkpoint();
  bool filled = false;
  try {
    filled = fill(itemSize);
  } catch (const BlockException&) {
  }
  if (filled) {
    if (ptr == end) throw plat::Exception("InStream overrun: buffer size exceeded");
    return true;
  }
  if (rewindable) rewind();
  if (wait) throw BlockException();
  return false;
}

void InStream::readBytesSlow(uint8_t* buf, int len) {
  while (len > 0) {
    if (ptr == end) overrun(true, 1);
    int piece = std::min(len, nUnread());
    memcpy(buf, ptr, static_cast<size_t>(piece));
    ptr += piece;
    buf += piece;
    len -= piece;
  }
}

void InStream::skip(int n) {
  while (n > 0) {
    if (ptr == end) overrun(true, 1);
    int piece = std::min(n, nUnread());
    ptr += piece;
    n -= piece;
  }
}

int InStream::readBytesFindNul(void* buf, int len) {
  if (len <= 0) return -1;
  readBytes(buf, len);
  const void* nul = memchr(buf, 0, static_cast<size_t>(len));
  if (!nul) return -1;
  return static_cast<int>(static_cast<const char*>(nul) - static_cast<const char*>(buf));
}

// Precondition: length <= INT_MAX.
std::string InStream::readText(uint32_t length, bool validate) {
  std::string text;
  while (text.size() < length) {
    size_t arrived = text.size();
    size_t piece = std::min(length - arrived, std::max(firstPiece, arrived));
    text.resize(arrived + piece);
    readBytes(&text[arrived], static_cast<int>(piece));
  }
  if (validate) repairUtf8(text);
  return text;
}

std::string InStream::readStdString(int maxLen, bool validate) {
  uint32_t length = readU32();
  if (static_cast<int64_t>(length) > maxLen) throw StringTooLongException();
  return readText(length, validate);
}

plat::String InStream::readString(int maxLen, bool validate) {
  return toHeapString(readStdString(maxLen, validate));
}

std::string InStream::readStdStringU8(bool validate) {
  uint8_t length = readU8();
  return readText(length, validate);
}

plat::String InStream::readStringU8(bool validate) {
  return toHeapString(readStdStringU8(validate));
}

bool InStream::readLine(std::string& line, int maxLen, bool* hadNul, bool validate) {
  if (maxLen == 0) maxLen = defaultMaxLine;
  if (hadNul) *hadNul = false;
  line.clear();
  line.reserve(64);
  try {
    for (;;) {
      uint8_t byte = readU8();
      if (byte == '\n') break;
      if (byte == '\r') continue;
      if (byte == 0 && hadNul) *hadNul = true;
      line.push_back(static_cast<char>(byte));
      if (static_cast<int64_t>(line.size()) > maxLen) {
        line.clear();
        throw StringTooLongException();
      }
    }
  } catch (const EndOfStream&) {
    if (line.empty()) throw;
  } catch (const EndOfMsg&) {
    if (line.empty()) throw;
  }
  return !(validate && repairUtf8(line));
}

uint32_t InStream::readBoundedU32(uint32_t range) {
  if (range == 0) return readU32();
  // Values below the threshold would make the small remainders more likely.
  // (2^32 - range) mod range.
  const uint32_t threshold = (0u - range) % range;
  uint32_t value = readU32();
  for (int tries = 1; value < threshold && tries < 9; ++tries) value = readU32();
  return value % range;
}

void InStream::writeTo(OutStream& dest) const {
  dest.writeU32(static_cast<uint32_t>(nUnread()));
  dest.writeBytes(ptr, nUnread());
}

}  // namespace rdr
