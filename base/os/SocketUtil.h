#pragma once

#include <sys/socket.h>

struct sockaddr_un;

namespace os {

// Descriptors made here are close-on-exec. What is interrupted by a signal is
// repeated. Failures throw plat::SystemException with the name of the call and
// errno, unless stated.

// Once per process, by the first socket or descriptor connection: ignores SIGPIPE
// unless the program handles it, and lowers the soft limit on descriptors to the
// 1024 that select() can watch. Failures are logged.
void prepareProcess();

int createSocket(int domain, int type, int protocol);
// For IPv6 restricted to it, with SO_REUSEADDR. The caller owns the descriptor.
int createBoundSocket(const sockaddr* address, socklen_t length, int type, bool reusePort);
void createSocketPair(int domain, int type, int protocol, int fds[2]);
void createPipe(int fds[2]);

enum class ConnectMode { standard = 0, noDscp = 1 };
// False when the connection of a non-blocking socket is still in progress.
bool connectSocket(int fd, const sockaddr* address, socklen_t length,
                   ConnectMode mode = ConnectMode::standard);
// -1 when there is no connection to accept, or it went away meanwhile. address
// and length may both be null.
int acceptSocket(int fd, sockaddr* address = nullptr, socklen_t* length = nullptr);

// With closeOnFail, a failure closes the descriptor.
void setInheritable(int fd, bool inheritable, bool closeOnFail = false);
bool getInheritable(int fd);
// Drops every other status flag, such as O_APPEND.
void setBlocking(int fd, bool blocking);

int duplicate(int fd);
void duplicateOnto(int oldFd, int newFd);
// The result of close(); the descriptor is gone in every case.
int closeFd(int fd);

// Never lower the size. They return it in bytes, which may be less than asked for,
// or more.
int setReceiveBufferSize(int fd, int bytes);
int setSendBufferSize(int fd, int bytes);

// What connectSocket and acceptSocket mark their connections with (RFC 2474);
// 0, the default: nothing. Precondition: 0 <= value <= 63.
void configureDscp(int value);
// Failures of these two are logged. Families other than IPv4 and IPv6 are left
// alone.
void setDscp(int fd);
void setPathMtuDiscovery(int fd, bool on, int family);

// The full-size address of a local socket. Throws plat::SystemException "UnixIo"
// with ENAMETOOLONG for a path of 108 bytes or more.
void fillUnixAddress(sockaddr_un* address, const char* path);
// A stream socket bound to path, for the caller to own. Throws "bind" when something is
// there.
int createBoundUnixSocket(const char* path);
// Whether something listens at path.
bool isUnixSocketAlive(const char* path, bool datagram);

}  // namespace os
