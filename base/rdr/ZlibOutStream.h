#pragma once

#include <memory>

#include "base/plat/MBuf.h"
#include "base/rdr/OutStream.h"

struct z_stream_s;

namespace rdr {

// Compresses with deflate (RFC 1950, or RFC 1951 when raw) straight into the window of
// the underlying stream. The compressed stream goes on from flush to flush and never
// ends; destruction drops what is not flushed.
//
// Throws plat::Exception when deflate fails or when there is nowhere to write to; after
// any failure, also one of the underlying stream, only reset() or destruction is left.
class ZlibOutStream : public OutStream {
 public:
  // newUnderlying is borrowed: it outlives this stream or is replaced with
  // setUnderlying(). Null is allowed while idle. bufSize: bytes of input gathered for
  // one step and the largest item; 0 or less is the default. level: -1 (zlib's default)
  // to 9.
  explicit ZlibOutStream(OutStream* newUnderlying = nullptr, int bufSize = 0, int level = -1,
                         bool raw = false);
  ~ZlibOutStream() override;

  // What is gathered goes to the new one.
  void setUnderlying(OutStream* newUnderlying) { underlying = newUnderlying; }

  int length() const override;  // uncompressed
  // Sync flush; then flushes the underlying stream.
  void flush() override;
  // Sync flush, or full flush, which also forgets the history. Either ends on a byte and
  // makes no output when there is nothing new. Does not flush the underlying stream.
  void flush(bool full);
  OutStream* innermost() override { return target().innermost(); }
  int freeSpace() const override { return target().freeSpace() / 2; }
  bool shutdown() override { return target().shutdown(); }
  int overrun(int itemSize, int nItems) override;

  // The next output begins a new compressed stream. What is gathered counts as written
  // and is dropped.
  void reset();
  // The same with what is gathered kept.
  void resetDeflate();

 private:
  struct EndDeflate {
    void operator()(z_stream_s* state) const;
  };

  OutStream& target() const;
  void deflateBuffer(int flushMode);
  void emptyBuffer();

  OutStream* underlying;
  std::unique_ptr<z_stream_s, EndDeflate> deflateState;
  int offset = 0;  // position of the buffer start
  int lastFlush;   // zlib's flush mode of the last completed pass
  plat::MBuf<unsigned char> buffer;
};

}  // namespace rdr
