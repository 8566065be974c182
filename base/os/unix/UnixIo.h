#pragma once

#include <sys/types.h>

#include "base/io/FdIo.h"

namespace os {

// A connection over a Unix-domain socket. Closes its descriptor. It carries the
// flag "secureTransport".
class UnixIo : public io::FdIo {
 public:
  // A connect waits that long for a place in the listener's queue.
  static constexpr int defaultConnectTimeoutMs = 30000;

  // fd < 0: connects a new socket to the path; throws plat::SystemException
  // "UnixIo" (the path does not fit an address or is empty), "socket" or "connect"
  // (EAGAIN: the listener's queue stayed full). Otherwise wraps a connected
  // descriptor, closed also when this throws; path may then be null.
  // Precondition: connectTimeoutMs > 0.
  UnixIo(const char* path, int fd, bool datagram, int connectTimeoutMs = defaultConnectTimeoutMs);
  ~UnixIo() override;

  // "[unix:/path]" with escaped components, empty when the peer has no path.
  const char* peerEndpoint() override;
  // Throws plat::SystemException "getPeerEuid".
  uid_t getPeerEuid();
  // Throws plat::Exception when the peer runs as another user.
  void namedPipeCredCheck(uid_t expected);

 private:
  plat::String readPeerEndpoint();

  plat::String peerEndpoint_;  // null until asked
};

}  // namespace os
