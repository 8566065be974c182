#include "apps/qolt-receiver/message.h"

#include "base/plat/Exception.h"
#include "base/rdr/InStream.h"

namespace receiver {

plat::String readMessage(rdr::InStream& in) {
  in.checkpoint();
  uint32_t length = in.readU32();
  if (length == 0 || length > maxPathLength) {
    throw plat::ExceptionFmt("bad message: a path of %u bytes", length);
  }
  char path[maxPathLength];
  if (in.readBytesFindNul(path, static_cast<int>(length)) >= 0) {
    throw plat::Exception("bad message: a zero byte in the path");
  }
  return plat::String(path, static_cast<int>(length));
}

}  // namespace receiver
