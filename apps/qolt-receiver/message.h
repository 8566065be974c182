#pragma once

#include "base/plat/String.h"

namespace rdr {
class InStream;
}

namespace receiver {

constexpr int maxPathLength = 255;  // bytes

// The one message of a connection, the path of a description file:
//   message := length:uint32 BE, path: byte[length]
// An incomplete message throws rdr::BlockException or rdr::EndOfStream; with the
// former the whole message is read again. A length of 0 or above maxPathLength and a
// path with a zero byte throw plat::Exception.
plat::String readMessage(rdr::InStream& in);

}  // namespace receiver
