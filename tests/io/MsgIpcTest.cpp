#include "base/io/MsgIpc.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PollManager.h"
#include "base/io/FdIo.h"
#include "base/os/SocketUtil.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "tests/support/CapturedLog.h"
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
  void connectionChanged(io::MsgIpc* ipc) override {
    changes += ipc->isConnected() ? '+' : '-';
    if (onChange) onChange(ipc);
  }
  Strings messages;
  std::string changes;
  std::function<void(io::MsgIpc*)> afterwards, onChange;
};

struct NameFilter : io::MsgIpc::Filter {
  bool isAllowed(io::MsgIpc*, const char* name, bool outgoing) override {
    return refused != (outgoing ? ">" : "<") + std::string(name);
  }
  void ipcFailed(io::MsgIpc*, const plat::Exception& e) override { failures += e.message; }
  std::string refused, failures;
};

// A connection of memory streams.
class MemIo : public io::Io {
 public:
  explicit MemIo(std::string received) : bytes(std::move(received)) {
    inStream = std::make_unique<rdr::MemInStream>(bytes.data(), static_cast<int>(bytes.size()));
    outStream = std::make_unique<rdr::MemOutStream>();
  }
  void setHandler(io::IoHandler*, bool) override {}
  void shutdown(bool, bool) override { delete this; }
  const char* name() override { return "memory"; }
  void setTimeout(int) override {}

 private:
  std::string bytes;
};

// The blocking use of memory streams.
struct BlockingMsgIpc : testing::Test {
  NameFilter filter;
  TextReader reader;
  io::MsgIpc ipc{&filter, "mem", true, false};
  CapturedLog log{"Ipc:captured:100"};

  void accept(const std::string& received) {
    ipc.registerReader("text", &reader);
    ipc.acceptIo(new MemIo(received));
  }
  std::string sent() {
    return fakes::bytesOf(static_cast<const rdr::MemOutStream&>(*ipc.getIo()->out()));
  }
  std::string readFails(const char* expected) {
    return fakes::thrownBy([&] { ipc.readMessage(expected); });
  }
};

TEST_F(BlockingMsgIpc, messageIsItsNameAndBodyInOneFrame) {
  accept("");
  ipc.writeMsg("ping").endMsg(false);
  EXPECT_EQ(sent(), "\x80\x05\x04ping");
}

TEST_F(BlockingMsgIpc, anotherMessageThanTheExpectedOneFailsAndIsSkipped) {
  accept(message("other", text("x")) + message("text", text("a")));
  EXPECT_EQ(readFails("text"), ": MsgIpc: expected message text, got other");
  ipc.readMessage("text");
  EXPECT_EQ(reader.messages, Strings{"text:a"});
}

TEST_F(BlockingMsgIpc, peerReportsABadName) {
  const std::string report = message("badMsg", "\x04ping");
  accept(report + report + message("text", text("a")));
  EXPECT_EQ(readFails("text"), ": MsgIpc: expected message text, peer reports bad msg name 'ping'");
  EXPECT_EQ(readFails(nullptr),
            ": MsgIpc: expected message <null>, peer reports bad msg name 'ping'");
  ipc.readMessage("text");
  const std::string line = "30 Ipc mem: Peer reports bad msg name 'ping'";
  EXPECT_EQ(log.take(), (Strings{line, line}));
}

TEST_F(BlockingMsgIpc, failureInsideAMessageSkipsItWhenTheRestIsThere) {
  accept(message("text", "\x01") + message("text", text("a")) + framed("\x09te", 2) +
         "\x80\x09\x04te");
  EXPECT_EQ(readFails(nullptr), "EndOfMsg: End of message");
  ipc.readMessage(nullptr);
  EXPECT_EQ(readFails(nullptr), "EndOfMsg: End of message");
  EXPECT_EQ(readFails(nullptr), "EndOfStream: End of in-memory input stream");
  EXPECT_EQ(log.take(), Strings{"0 Ipc mem: skip error: End of in-memory input stream"});
  EXPECT_EQ(readFails(nullptr), ": MsgIpc::readMessage: not in state startMsg");
  ipc.close(false);
  EXPECT_EQ(readFails(nullptr), ": MsgIpc::readMessage: not connected");
  ipc.acceptIo(new MemIo(message("text", text("b"))));
  ipc.readMessage("text");
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:b"}));
  EXPECT_EQ(reader.changes, "+-+");
}

TEST_F(BlockingMsgIpc, readUntilAndDrainReadWhatComesBeforeTheName) {
  accept(message("text", text("a")) + message("stop") + message("text", text("b")) +
         message("text", text("c")));
  ipc.readUntil("stop");
  EXPECT_EQ(reader.messages, Strings{"text:a"});
  ipc.drain();
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:b", "text:c"}));
}

TEST_F(BlockingMsgIpc, unknownNameBelowLettersEndsTheConnectionUnlessAllowed) {
  for (bool drop : {true, false}) {
    for (const char* name : {"", "1", "@x", "A", "\xc3\x9f"}) {
      SCOPED_TRACE(std::string(name) + (drop ? " drop" : ""));
      accept(message(name) + message("text", text("a")));
      ipc.setDropOnNonLetterName(drop);
      ipc.drain();
      EXPECT_EQ(ipc.isConnected(), !drop || static_cast<unsigned char>(*name) >= 'A');
      EXPECT_EQ(reader.messages.size(), ipc.isConnected() ? 1u : 0u);
      ipc.close(false);
      reader.messages.clear();
    }
  }
}

TEST_F(BlockingMsgIpc, filterRefusesNames) {
  accept(message("text", text("a")) + message("text", text("b")));
  filter.refused = ">ping";
  EXPECT_EQ(fakes::thrownBy([&] { ipc.writeMsg("ping"); }),
            ": MsgIpc::writeMsg: Message not currently allowed");
  EXPECT_EQ(log.take(), Strings{"30 Ipc mem: Message 'ping' not currently allowed"});
  EXPECT_EQ(sent(), "");
  filter.refused = "<text";
  ipc.readMessage("text");
  filter.refused = "";
  ipc.readMessage("text");
  EXPECT_EQ(reader.messages, Strings{"text:b"});
}

TEST_F(BlockingMsgIpc, withoutAConnectionMessagesVanish) {
  io::MsgIpc discarding(nullptr, "d", true, true);
  for (io::MsgIpc* sender : {&discarding, &ipc}) {
    rdr::OutStreamV4& out = sender->writeMsg("big");
    out.writeString(std::string(100000, 'x').c_str());
    out.endMsg(true);
  }
  EXPECT_EQ(log.take(), Strings{"100 Ipc d: Discarding message 'big'"});
  // Half a message does not spoil the next connection.
  ipc.writeMsg("half").writeU8(1);
  accept("");
  ipc.writeMsg("ping").endMsg(true);
  EXPECT_EQ(sent(), message("ping"));
}

// The event-driven use of a socket.
struct MsgIpcEvents : testing::Test {
  PollManager manager;
  NameFilter filter;
  TextReader reader;
  io::MsgIpc ipc{&filter, "sock", false, false};
  CapturedLog log{"Ipc:captured:100"};
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
  EXPECT_EQ(log.lines[0], "30 Ipc sock: Bad msg name 'unknown'");
}

TEST_F(MsgIpcEvents, readerThatReturnsFalseReadsTheBodyAgain) {
  struct Patient : io::MsgIpc::Reader {
    bool readMsg(const char*, rdr::InStream& in, io::MsgIpc*) override {
      body = static_cast<char>(in.readU8());
      body += static_cast<char>(in.readU8());
      return ++calls == 3;
    }
    std::string body;
    int calls = 0;
  } patient;
  ipc.registerReader("wait", &patient);
  const std::string wait = message("wait", "abcdef", 7);
  send(wait.substr(0, 12));
  ipc.run();
  EXPECT_EQ(patient.calls, 2);
  send(wait.substr(12) + message("text", text("a")));
  EXPECT_EQ(patient.calls, 3);
  EXPECT_EQ(patient.body, "ab");
  EXPECT_EQ(reader.messages, Strings{"text:a"});
}

TEST_F(MsgIpcEvents, readerOfTheNullNameReadsTheOthers) {
  TextReader others;
  ipc.registerReader(nullptr, &others);
  send(message("Else", text("a")) + message("text", text("b")) + message("", text("c")));
  EXPECT_EQ(others.messages, (Strings{"Else:a", ":c"}));
  EXPECT_EQ(reader.messages, Strings{"text:b"});
}

TEST_F(MsgIpcEvents, messageOfARemovedReaderIsSkipped) {
  send(message("text", text("abc"), 8).substr(0, 14));
  ipc.registerReader("text", nullptr);
  send(message("text", text("abc"), 8).substr(14));
  ipc.registerReader("text", &reader);
  send(message("text", text("d")));
  EXPECT_EQ(reader.messages, Strings{"text:d"});
}

TEST_F(MsgIpcEvents, peerThatDisappearsInsideAMessageEndsTheConnection) {
  const std::string whole = message("text", text("abc"), 4);
  for (size_t length = 0; length < whole.size(); length++) {
    SCOPED_TRACE(length);
    send(whole.substr(0, length));
    peer.reset();
    EXPECT_TRUE(manager.runUntil([&] { return !ipc.isConnected(); }));
    EXPECT_EQ(std::exchange(filter.failures, ""), "End of IO stream");
    EXPECT_EQ(log.take(), Strings{"100 Ipc sock: End of IO stream"});
    EXPECT_EQ(reader.messages, Strings{});
    peer = connect(ipc);
    EXPECT_EQ(std::exchange(reader.changes, ""), length == 0 ? "+-+" : "-+");
  }
  send(whole);
  EXPECT_EQ(reader.messages, Strings{"text:abc"});
  ipc.close(false);
  manager.runIdle();
  EXPECT_FALSE(manager.isAnyWatched());
}

TEST_F(MsgIpcEvents, readersAreToldOfTheConnectionsOwnShutdown) {
  ipc.writeMsg("ping").endMsg(false);
  peer.reset();
  ipc.getIo()->shutdown(true, true);
  EXPECT_TRUE(manager.runUntil([&] { return !ipc.isConnected(); }));
  EXPECT_EQ(reader.changes, "+-");
  ipc.writeMsg("ping").endMsg(true);
}

TEST_F(MsgIpcEvents, unknownNameIsAnsweredWhenWanted) {
  ipc.setAnswerBadNames(true);
  send(message("1foo", "body") + message("text", text("a")));
  EXPECT_EQ(received(), message("badMsg",
                                "\x04"
                                "1foo"));
  EXPECT_EQ(reader.messages, Strings{"text:a"});
  send(message("badMsg",
               "\x04"
               "1foo"),
       3);
  EXPECT_EQ(received(), "$");
  EXPECT_EQ(filter.failures, "MsgIpc: expected message <null>, peer reports bad msg name '1foo'");
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

TEST_F(MsgIpcEvents, readersMayChangeWhileTheyAreTold) {
  TextReader first, last;
  first.onChange = [&](io::MsgIpc* which) {
    which->registerReader("a", nullptr);
    which->registerReader("b", nullptr);
    which->registerReader("z", &last);
  };
  TextReader removed;
  ipc.registerReader("a", &first);
  ipc.registerReader("b", &removed);
  ipc.close(false);
  EXPECT_EQ(first.changes + removed.changes + last.changes, "--");
}

TEST_F(MsgIpcEvents, releasedConnectionGoesOnWithItsNextOwner) {
  send(message("text", text("a")));
  ipc.writeMsg("ping").endMsg(false);
  io::Io* connection = ipc.getIo();
  ipc.releaseIo();
  EXPECT_FALSE(manager.isAnyWatched());
  io::MsgIpc next(nullptr, "next", true, false);
  next.registerReader("text", &reader);
  next.acceptIo(connection);
  // Larger than the input buffer, which a blocking reader need not know.
  send(message("text", text(std::string(50000, 'b')), 30000));
  next.readMessage("text");
  EXPECT_EQ(reader.messages, (Strings{"text:a", "text:" + std::string(50000, 'b')}));
  EXPECT_EQ(received(), message("ping"));
}

TEST_F(MsgIpcEvents, takingTurnsHandlesOneMessageOfEachConnection) {
  for (bool turns : {false, true}) {
    SCOPED_TRACE(turns);
    std::string order;
    io::MsgIpc second(nullptr, "second", false, false);
    for (io::MsgIpc* which : {&ipc, &second}) {
      which->registerReader("text", &reader);
      which->setTakeTurns(turns);
    }
    reader.afterwards = [&](io::MsgIpc* which) { order += which == &ipc ? 'a' : 'b'; };
    Peer other = connect(second);
    for (int fd : {peer->get(), other->get()}) {
      for (int i = 0; i < 3; i++) {
        const std::string bytes = message("text", text(""));
        ASSERT_EQ(write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
      }
    }
    ASSERT_TRUE(manager.runUntil([&] { return order.size() == 6; }));
    const auto changes = std::count_if(order.begin() + 1, order.end(),
                                       [&](const char& c) { return c != *(&c - 1); });
    EXPECT_EQ(changes >= 3, turns) << order;
  }
}

}  // namespace
