#include "tests/support/FakeServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <stdexcept>

namespace test {

namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) throw std::runtime_error("too long: " + path);
  path.copy(address.sun_path, path.size());
  return address;
}

}  // namespace

FakeServer::FakeServer(const Account& account, const std::string& name, int backlog)
    : folder("/tmp/.qolt-" + std::to_string(account.uid)),
      path(folder + "/print." + name),
      fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  // A connection that never comes fails the test instead of hanging it.
  timeval limit = {60, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  mkdir(folder.c_str(), 0700);
  sockaddr_un address = addressOf(path);
  if (chown(folder.c_str(), account.uid, account.gid) < 0 ||
      bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0 ||
      chown(path.c_str(), account.uid, account.gid) < 0 || listen(fd, backlog) < 0) {
    throw std::runtime_error("cannot listen on " + path);
  }
}

FakeServer::~FakeServer() {
  close(fd);
  unlink(path.c_str());
  rmdir(folder.c_str());
}

std::string FakeServer::receive() {
  int peer = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
  std::string bytes;
  char block[4096];
  ssize_t n;
  while ((n = read(peer, block, sizeof(block))) > 0) bytes.append(block, static_cast<size_t>(n));
  if (n < 0) bytes = "(nobody connected)";
  close(peer);
  return bytes;
}

std::string FakeServer::receiveAtOnce() {
  pollfd waiting = {fd, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0 ? receive() : "";
}

void FakeServer::listenAs(uid_t uid) {
  uid_t own = geteuid();
  // listen() takes the credentials down.
  if (seteuid(uid) < 0 || listen(fd, 8) < 0 || seteuid(own) < 0) {
    throw std::runtime_error("cannot listen as another user");
  }
}

BusyServer::BusyServer(const Account& account, const std::string& name) : server(account, name, 0) {
  for (int fd; (fd = connectTo(server.socketPath(), false)) >= 0;) waiting.push_back(fd);
}

BusyServer::~BusyServer() {
  for (int fd : waiting) close(fd);
}

int connectTo(const std::string& path, bool block) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | (block ? 0 : SOCK_NONBLOCK), 0);
  sockaddr_un address = addressOf(path);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) return fd;
  close(fd);
  return -1;
}

}  // namespace test
