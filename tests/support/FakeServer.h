#pragma once

#include <string>
#include <vector>

#include "tests/support/Account.h"

namespace test {

// A listening socket where the backend looks for the account's server, in this
// process. The private directory goes too when nothing else uses it.
class FakeServer {
 public:
  FakeServer(const Account& account, const std::string& name, int backlog = 8);
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;
  ~FakeServer();

  const std::string& socketPath() const { return path; }
  // One connection, read to its end.
  std::string receive();
  // Of those that have come so far; "" when there is none.
  std::string receiveAtOnce();
  // From now on clients see a server of this user.
  void listenAs(uid_t uid);

 private:
  std::string folder;
  std::string path;
  int fd;
};

// One that never accepts and has no place left: whoever connects waits.
class BusyServer {
 public:
  BusyServer(const Account& account, const std::string& name);
  BusyServer(const BusyServer&) = delete;
  BusyServer& operator=(const BusyServer&) = delete;
  ~BusyServer();

 private:
  FakeServer server;
  std::vector<int> waiting;
};

// A stream connection to the path; the caller closes it. With block false only as
// long as the listener's queue has room: -1 and errno.
int connectTo(const std::string& path, bool block = true);

}  // namespace test
