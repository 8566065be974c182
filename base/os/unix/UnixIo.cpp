#include "base/os/unix/UnixIo.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "base/io/endpointName.h"
#include "base/os/SocketUtil.h"
#include "base/plat/DString.h"
#include "base/plat/Splitter.h"
#include "base/plat/unix/OwnedFd.h"

namespace os {

static int connectTo(const char* path, bool datagram, int timeoutMs) {
  // The kernel would take it for an abstract address.
  if (plat::strLen(path) == 0) throw plat::SystemException("UnixIo", ENOENT);
  sockaddr_un address;
  fillUnixAddress(&address, path);
  plat::OwnedFd fd(createSocket(AF_UNIX, datagram ? SOCK_DGRAM : SOCK_STREAM, 0));
  timeval limit = {timeoutMs / 1000, timeoutMs % 1000 * 1000};
  if (setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) < 0) {
    throw plat::SystemException("setsockopt(SO_SNDTIMEO)", errno);
  }
  connectSocket(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  return fd.release();
}

// False and errno on failure.
static bool readPeerCredentials(int fd, ucred* credentials) {
  socklen_t length = sizeof *credentials;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, credentials, &length) < 0) return false;
  if (length == sizeof *credentials) return true;
  errno = EINVAL;
  return false;
}

UnixIo::UnixIo(const char* path, int givenFd, bool datagram, int connectTimeoutMs)
    : FdIo(givenFd < 0 ? connectTo(path, datagram, connectTimeoutMs) : givenFd, true, false, -1, -1,
           true) {
  flags.insert("secureTransport");
  plat::DString text;
  text.appendFormat("<unix-%s-%s", givenFd < 0 ? "client" : "server", path ? path : "anon");
  ucred credentials;
  if (readPeerCredentials(getFd(), &credentials)) {
    text.appendFormat("-uid-%u", credentials.uid);
  }
  text.append(">");
  name_ = text.release();
}

UnixIo::~UnixIo() = default;

const char* UnixIo::peerEndpoint() {
  if (peerEndpoint_.isNull()) peerEndpoint_ = readPeerEndpoint();
  return peerEndpoint_.get();
}

plat::String UnixIo::readPeerEndpoint() {
  sockaddr_un address;
  socklen_t length = sizeof address;
  int result = getpeername(getFd(), reinterpret_cast<sockaddr*>(&address), &length);
  int pathOffset = offsetof(sockaddr_un, sun_path);
  if (result < 0 || static_cast<int>(length) <= pathOffset || address.sun_path[0] != '/') {
    return plat::String("");
  }
  // A path of full length has no NUL.
  int pathSize =
      std::min(static_cast<int>(length) - pathOffset, static_cast<int>(sizeof address.sun_path));
  plat::String path(address.sun_path, strnlen(address.sun_path, pathSize));
  plat::DString endpoint("[unix:");
  plat::Splitter components(path.data());
  const char* separator = "";
  while (const char* component = components.next('/')) {
    endpoint.append(separator);
    endpoint.append(io::escapeComponent(component).get());
    separator = "/";
  }
  endpoint.append("]");
  return endpoint.release();
}

uid_t UnixIo::getPeerEuid() {
  ucred credentials;
  if (!readPeerCredentials(getFd(), &credentials)) {
    throw plat::SystemException("getPeerEuid", errno);
  }
  return credentials.uid;
}

void UnixIo::namedPipeCredCheck(uid_t expected) {
  if (getPeerEuid() != expected) throw plat::Exception("namedPipeCredCheck: uid mismatch");
}

}  // namespace os
