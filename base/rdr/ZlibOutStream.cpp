#include "base/rdr/ZlibOutStream.h"

#include <zlib.h>

#include <algorithm>

#include "base/plat/Exception.h"

namespace rdr {

namespace {

constexpr int defaultBufSize = 16384;
constexpr int windowBits = 15;
constexpr int memLevel = 8;
// With less, a flush whose output just fills the window would be marked again and again.
constexpr int minOutput = 6;

}  // namespace

void ZlibOutStream::EndDeflate::operator()(z_stream_s* state) const {
  deflateEnd(state);
  delete state;
}

ZlibOutStream::ZlibOutStream(OutStream* newUnderlying, int bufSize, int level, bool raw)
    : underlying(newUnderlying),
      deflateState(new z_stream_s()),
      lastFlush(Z_FULL_FLUSH),
      buffer(bufSize > 0 ? bufSize : defaultBufSize) {
  if (deflateInit2(deflateState.get(), level, Z_DEFLATED, raw ? -windowBits : windowBits, memLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw plat::Exception("ZlibOutStream: deflateInit failed");
  }
  ptr = buffer.data();
  end = ptr + buffer.size();
}

ZlibOutStream::~ZlibOutStream() = default;

int ZlibOutStream::length() const {
  return static_cast<int>(int64_t{offset} + (ptr - buffer.data()));
}

void ZlibOutStream::flush() {
  flush(false);
  underlying->flush();
}

void ZlibOutStream::flush(bool full) {
  deflateBuffer(full ? Z_FULL_FLUSH : Z_SYNC_FLUSH);
}

int ZlibOutStream::overrun(int itemSize, int nItems) {
  if (itemSize > buffer.size()) {
    throw plat::Exception("ZlibOutStream overrun: max itemSize exceeded");
  }
  deflateBuffer(Z_NO_FLUSH);
  return std::min(nItems, nFree() / itemSize);
}

void ZlibOutStream::reset() {
  emptyBuffer();
  resetDeflate();
}

void ZlibOutStream::resetDeflate() {
  deflateReset(deflateState.get());
  lastFlush = Z_FULL_FLUSH;
}

OutStream& ZlibOutStream::target() const {
  if (!underlying) throw plat::Exception("ZlibOutStream: no underlying stream");
  return *underlying;
}

void ZlibOutStream::deflateBuffer(int flushMode) {
  OutStream& out = target();
  z_stream_s& state = *deflateState;
  state.next_in = buffer.data();
  state.avail_in = static_cast<uInt>(ptr - buffer.data());
  // Deflate would have nothing to say, which it reports as an error.
  if (state.avail_in == 0 && lastFlush >= flushMode) return;
  do {
    if (out.nFree() < minOutput) out.overrun(minOutput, 1);
    state.next_out = out.getPtr();
    state.avail_out = static_cast<uInt>(out.nFree());
    const int result = deflate(&state, flushMode);
    if (result != Z_OK && result != Z_STREAM_END) {
      throw plat::Exception("ZlibOutStream: deflate failed");
    }
    out.setPtr(state.next_out);
  } while (state.avail_out == 0 || state.avail_in > 0);
  lastFlush = flushMode;
  emptyBuffer();
}

void ZlibOutStream::emptyBuffer() {
  offset = length();
  ptr = buffer.data();
}

}  // namespace rdr
