#include "base/io/MsgIpc.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/io/FdIo.h"
#include "base/os/SocketUtil.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/Exceptions.h"
#include "tests/support/TestLoop.h"
#include "tests/support/streams.h"

namespace {

using Strings = std::vector<std::string>;
using Peer = std::unique_ptr<plat::OwnedFd>;

std::string framed(const std::string& data, size_t frameSize) {
  std::string bytes;
  for (size_t at = 0; at == 0 || at < data.size(); at += frameSize) {
    const size_t length = std::min(frameSize, data.size() - at);
    const bool last = at + length == data.size();
    bytes += static_cast<char>((last ? 0x80 : 0) | length >> 8);
    bytes += static_cast<char>(length & 0xff);
    bytes += data.substr(at, length);
  }
  return bytes;
}

std::string message(const std::string& name, const std::string& body = "",
                    size_t frameSize = 32766) {
  return framed(static_cast<char>(name.size()) + name + body, frameSize);
}

std::string text(const std::string& value) {
  std::string bytes;
  for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(value.size() >> shift);
  return bytes + value;
}

// Keeps "<name>:<the string in the body>".
struct TextReader : io::MsgIpc::Reader {
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc* ipc) override {
    const std::string value = in.readStdString(1 << 20);
    messages.push_back(std::string(name) + ":" + value);
    if (afterwards) afterwards(ipc);
    return true;
  }
  void connectionChanged(io::MsgIpc* ipc) override { changes += ipc->isConnected() ? '+' : '-'; }
  Strings messages;
  std::string changes;
  std::function<void(io::MsgIpc*)> afterwards;
};

struct NameFilter : io::MsgIpc::Filter {
  bool isAllowed(io::MsgIpc*, const char* name, bool outgoing) override {
    return refused != (outgoing ? ">" : "<") + std::string(name);
  }
  void ipcFailed(io::MsgIpc*, const plat::Exception& e) override { failures += e.message; }
  std::string refused, failures;
};

// The event-driven use of a socket.
struct MsgIpcEvents : testing::Test {
  TestLoop manager;
  NameFilter filter;
  TextReader reader;
  io::MsgIpc ipc{&filter, "sock", false, false};
  Peer peer;

  MsgIpcEvents() {
    ipc.registerReader("text", &reader);
    peer = connect(ipc);
  }
  static Peer connect(io::MsgIpc& which) {
    int fds[2];
    os::createSocketPair(AF_UNIX, SOCK_STREAM, 0, fds);
    which.acceptIo(new io::FdIo(fds[0], true, false, -1, -1, true));
    return std::make_unique<plat::OwnedFd>(fds[1]);
  }
  void send(const std::string& bytes, size_t chunk = SIZE_MAX) {
    for (size_t at = 0; at < bytes.size(); at += std::min(chunk, bytes.size() - at)) {
      const size_t length = std::min(chunk, bytes.size() - at);
      ASSERT_EQ(write(peer->get(), &bytes[at], length), ssize_t(length));
      manager.runIdle();
    }
  }
  // What has arrived at the peer; "$" for the end behind it.
  std::string received() {
    std::string bytes;
    char buffer[65536];
    ssize_t count;
    while ((count = recv(peer->get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0) {
      bytes.append(buffer, static_cast<size_t>(count));
    }
    return count == 0 ? bytes + "$" : bytes;
  }
};

TEST_F(MsgIpcEvents, anySplitOfTheInputGivesTheSameMessages) {
  const std::string bytes = message("text", text("one")) + message("text", text("two"), 3) +
                            message("unknown", fakes::patternBytes(20000), 5000) +
                            message("text", text(std::string(9000, 't')), 777) +
                            message("text", text("")) + message("unknown");
  const Strings expected = {"text:one", "text:two", "text:" + std::string(9000, 't'), "text:"};
  for (size_t chunk : {size_t(1), size_t(2), size_t(5), size_t(777), bytes.size()}) {
    SCOPED_TRACE(chunk);
    send(bytes, chunk);
    EXPECT_EQ(reader.messages, expected);
    reader.messages.clear();
  }
  EXPECT_TRUE(ipc.isConnected());
}

TEST_F(MsgIpcEvents, peerThatDisappearsInsideAMessageEndsTheConnection) {
  const std::string whole = message("text", text("abc"), 4);
  for (size_t length = 0; length < whole.size(); length++) {
    SCOPED_TRACE(length);
    send(whole.substr(0, length));
    peer.reset();
    EXPECT_TRUE(manager.runUntil([&] { return !ipc.isConnected(); }));
    EXPECT_EQ(std::exchange(filter.failures, ""), "End of IO stream");
    EXPECT_EQ(reader.messages, Strings{});
    peer = connect(ipc);
    EXPECT_EQ(std::exchange(reader.changes, ""), length == 0 ? "+-+" : "-+");
  }
  send(whole);
  EXPECT_EQ(reader.messages, Strings{"text:abc"});
}

TEST_F(MsgIpcEvents, readerMayReplaceItsConnection) {
  Peer second;
  reader.afterwards = [&](io::MsgIpc* which) {
    which->writeMsg("bye").endMsg(false);
    which->close(true);
    second = connect(*which);
    reader.afterwards = nullptr;
  };
  const std::string rest = message("text", text("lost"));
  send(message("text", text("a") + "unread") + rest);
  EXPECT_EQ(received(), message("bye") + "$");
  peer = std::move(second);
  send(message("text", text("b")));
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:b"}));
  EXPECT_EQ(reader.changes, "+-+");
}

TEST_F(MsgIpcEvents, unknownNameBelowLettersEndsTheConnectionUnlessAllowed) {
  for (bool drop : {true, false}) {
    for (const char* name : {"", "@x", "A"}) {
      SCOPED_TRACE(std::string(name) + (drop ? " drop" : ""));
      ipc.setDropOnNonLetterName(drop);
      send(message(name) + message("text", text("a")));
      EXPECT_EQ(ipc.isConnected(), !drop || *name == 'A');
      EXPECT_EQ(reader.messages.size(), ipc.isConnected() ? 1u : 0u);
      ipc.close(false);
      reader.messages.clear();
      peer = connect(ipc);
    }
  }
}

TEST_F(MsgIpcEvents, filterRefusesNames) {
  filter.refused = ">ping";
  EXPECT_THROW(ipc.writeMsg("ping"), plat::Exception);
  EXPECT_EQ(received(), "");
  filter.refused = "<text";
  send(message("text", text("a")));
  filter.refused = "";
  send(message("text", text("b")));
  EXPECT_EQ(reader.messages, Strings{"text:b"});
}

TEST_F(MsgIpcEvents, halfAMessageDoesNotSpoilTheNextConnection) {
  ipc.close(false);
  ipc.writeMsg("half").writeU8(1);
  peer = connect(ipc);
  ipc.writeMsg("ping").endMsg(true);
  EXPECT_EQ(received(), message("ping"));
}

TEST_F(MsgIpcEvents, unknownNameIsAnsweredWhenWanted) {
  const std::string answer = message("badMsg", std::string("\x04") + "1foo");
  ipc.setAnswerBadNames(true);
  filter.refused = ">badMsg";
  send(message("1foo", "body") + message("text", text("a")), 3);
  EXPECT_EQ(received(), answer);
  EXPECT_EQ(reader.messages, Strings{"text:a"});
  send(answer, 3);
  EXPECT_EQ(received(), "$");
  EXPECT_EQ(filter.failures, "MsgIpc: expected message <null>, peer reports bad msg name '1foo'");
}

TEST_F(MsgIpcEvents, releasedInputIsNotRewindable) {
  io::Io* io = ipc.getIo();
  ipc.releaseIo();
  EXPECT_FALSE(io->in()->isRewindable());
  delete io;
}

TEST_F(MsgIpcEvents, takingTurnsHandlesOneMessageOfEachConnection) {
  for (bool turns : {false, true}) {
    SCOPED_TRACE(turns);
    std::string order;
    io::MsgIpc second(nullptr, "second", false, false);
    second.registerReader("text", &reader);
    for (io::MsgIpc* which : {&ipc, &second}) which->setTakeTurns(turns);
    reader.afterwards = [&](io::MsgIpc* which) { order += which == &ipc ? 'a' : 'b'; };
    Peer other = connect(second);
    const std::string bytes = message("text", text(""));
    for (int i = 0; i < 6; i++) {
      const int fd = (i < 3 ? peer : other)->get();
      ASSERT_EQ(write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    ASSERT_TRUE(manager.runUntil([&] { return order.size() == 6; }));
    const bool oneAfterTheOther = order == "aaabbb" || order == "bbbaaa";
    EXPECT_EQ(oneAfterTheOther, !turns) << order;
  }
}

TEST_F(MsgIpcEvents, blockingReaderFailsAtAnotherMessageThanTheExpectedOne) {
  io::MsgIpc blocking(nullptr, "blocking", true, false);
  blocking.registerReader("text", &reader);
  peer = connect(blocking);
  send(message("other", text("x")) + message("badMsg", std::string("\x04") + "ping") +
       message("text", "\x01") + message("text", text("a")));
  EXPECT_EQ(fakes::thrownBy([&] { blocking.readMessage("text"); }),
            ": MsgIpc: expected message text, got other");
  EXPECT_EQ(fakes::thrownBy([&] { blocking.readMessage("text"); }),
            ": MsgIpc: expected message text, peer reports bad msg name 'ping'");
  EXPECT_EQ(fakes::thrownBy([&] { blocking.readMessage("text"); }), "EndOfMsg: End of message");
  blocking.readMessage("text");
  EXPECT_EQ(reader.messages, Strings{"text:a"});

  send(message("other") + message("text", text("b")) + message("text", text("c")));
  blocking.readUntil("text");
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:b"}));
  peer.reset();
  blocking.drain();
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:b", "text:c"}));
}

}  // namespace
