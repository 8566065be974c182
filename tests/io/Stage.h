#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <map>
#include <optional>
#include <sstream>

#include "base/plat/unix/OwnedFd.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TestLoop.h"
#include "tests/support/thrownBy.h"

const std::string backlog(4000000, 'b');  // more than a socket takes

// Tries out one end of a connection by a script of words, "<word>" or "<word>=<argument>". `events`
// has what happens, what a word throws, as "(<name>: <message>) ", and what is logged, as "[<level>
// <source> <text>] ".
struct Stage : CapturedLog {
  using CapturedLog::CapturedLog;

  // Returns the events so far.
  std::string play(const std::string& script) {
    std::istringstream in(script);
    for (std::string word; in >> word;) {
      const size_t at = word.find('=');
      const auto found = words.find(word.substr(0, at));
      const std::string problem = fakes::thrownBy([&] {
        found == words.end() ? other(word)
                             : found->second(word.substr(std::min(at, word.size() - 1) + 1));
      });
      if (!problem.empty()) events += "(" + problem + ") ";
    }
    return events;
  }
  virtual void other(const std::string& word) { ADD_FAILURE() << word; }
  // The near end of a new connection, for the caller to own.
  int connectPeer() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    peer = plat::OwnedFd(fds[1]);
    return fds[0];
  }
  void send(const std::string& bytes) {
    EXPECT_EQ(::write(peer.get(), bytes.data(), bytes.size()), ssize_t(bytes.size()));
  }
  // What has arrived, or with `run` still arrives; "$" for the end behind it.
  void receive(bool run) {
    std::string bytes;
    char piece[65536];
    for (ssize_t count = 1; count > 0;) {
      if (run) loop->runIdle();
      count = recv(peer.get(), piece, sizeof piece, MSG_DONTWAIT);
      if (count > 0) bytes.append(piece, size_t(count));
      if (count == 0 || (count < 0 && errno != EAGAIN)) bytes += '$';
    }
    if (bytes.size() > 1000) {
      const bool isAll = std::count(bytes.begin(), bytes.end(), 'b') == ssize_t(backlog.size());
      bytes = (isAll ? "all" : "part") + bytes.substr(bytes.size() - bytes.ends_with('$'));
    }
    events += "<" + bytes + "> ";
  }
  void write(int messageLevel, const char* source, const char* text) override {
    events += "[" + std::to_string(messageLevel) + " " + source + " " + text + "] ";
    if (const size_t at = events.find(id); at != events.npos) events.replace(at, id.size(), "IO");
  }

  std::map<std::string, std::function<void(const std::string& argument)>> words = {
      {"send", [&](auto bytes) { send(bytes); }},
      {"receive", [&](auto how) { receive(how == "all"); }},
      {"refuse-more", [&](auto) { shutdown(peer.get(), SHUT_RD); }},
      {"close-peer", [&](auto) { peer = plat::OwnedFd(-1); }},
      {"run", [&](auto) { loop->runIdle(); }}};
  std::string events, id = "no IO yet";
  plat::OwnedFd peer{-1};
  std::optional<TestLoop> loop;
};
