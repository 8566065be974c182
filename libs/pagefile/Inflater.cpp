#include "libs/pagefile/Inflater.h"

#include <algorithm>
#include <new>

#include "base/rdr/Exceptions.h"
#include "libs/pagefile/FrameReader.h"
#include "libs/pagefile/PageFileError.h"

namespace pagefile {

namespace {

// Length words of the empty stored block that a sync flush ends with (RFC 1951
// section 3.2.4).
constexpr uint32_t syncFlushEnd = 0x0000ffff;
// zlib's data_type between two blocks, with no bit of the last byte left over. A call
// without input does not tell.
constexpr int betweenBlocks = 128;

}  // namespace

Inflater::Inflater(FrameReader& message) : in(message) {
  if (inflateInit(&zlib) != Z_OK) throw std::bad_alloc();
  inflateValidate(&zlib, 0);  // the checksum stands at the end, which never comes
}

Inflater::~Inflater() {
  inflateEnd(&zlib);
}

uint64_t Inflater::offset() {
  return in.lastOffset();
}

void Inflater::read(uint8_t* buf, int length) {
  zlib.next_out = buf;
  zlib.avail_out = static_cast<uInt>(length);
  for (;;) {
    // First without new input: output may be pending.
    step();
    if (zlib.avail_out == 0) break;
    if (!in.refill()) throw rdr::EndOfMsg();
  }
}

void Inflater::finish() {
  uint8_t surplus;
  zlib.next_out = &surplus;
  zlib.avail_out = 1;
  do {
    step();
    if (zlib.avail_out == 0) throw PageFileError(offset(), "data behind the last tile");
  } while (in.refill());
  if (tail != syncFlushEnd || !isBetweenBlocks) {
    throw PageFileError(in.offset(), "the zlib data does not end with a sync flush");
  }
}

void Inflater::step() {
  const uint8_t* start = in.getPtr();
  const uInt room = zlib.avail_out;
  zlib.next_in = const_cast<Bytef*>(start);
  zlib.avail_in = static_cast<uInt>(in.nUnread());
  const int status = inflate(&zlib, Z_NO_FLUSH);
  in.setPtr(zlib.next_in);
  const ptrdiff_t consumed = zlib.next_in - start;
  compressed += static_cast<uint64_t>(consumed);
  plain += room - zlib.avail_out;
  for (ptrdiff_t i = std::min<ptrdiff_t>(consumed, 4); i > 0; --i) {
    tail = tail << 8 | zlib.next_in[-i];
  }
  if (consumed > 0) isBetweenBlocks = zlib.data_type == betweenBlocks;
  switch (status) {
    case Z_OK:
    case Z_BUF_ERROR:  // nothing to do without more input
      return;
    case Z_STREAM_END:
      throw PageFileError(offset(), "the zlib stream is closed instead of flushed");
    case Z_NEED_DICT:
      throw PageFileError(offset(), "the zlib stream needs a dictionary");
    case Z_MEM_ERROR:
      throw std::bad_alloc();
    default:
      throw PageFileError(offset(), "bad zlib data: %s", zlib.msg ? zlib.msg : "");
  }
}

}  // namespace pagefile
