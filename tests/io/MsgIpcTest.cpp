#include "base/io/MsgIpc.h"

#include <utility>

#include "base/io/FdIo.h"
#include "tests/io/Stage.h"

namespace {

// A MsgIpc and its reader of "text" messages, whose body is a text behind its length of one byte.
// The events are "<name>:<text> ", "+ " or "- " for a connection that came or went, "!<failure> "
// from the filter.
struct Talk : Stage, io::MsgIpc::Reader, io::MsgIpc::Filter {
  explicit Talk(size_t newChunk) : Stage("MsgIpc:captured:100,Ipc:captured:100"), chunk(newChunk) {
    loop.emplace();
    start(false, false);
    words["send"] = [&](auto size) { sendInput(size.empty() ? input.size() : std::stoul(size)); };
    words.insert({{"blocking", [&](auto) { start(true, false); }},
                  {"discarding", [&](auto) { start(false, true); }},
                  {"keep", [&](auto) { ipc->setDropOnNonLetterName(false); }},
                  {"answer", [&](auto) { ipc->setAnswerBadNames(true); }},
                  {"turns", [&](auto) { ipc->setTakeTurns(true); }},
                  {"refuse", [&](auto arg) { refused = arg; }},
                  {"reader", [&](auto arg) { ipc->registerReader(orNull(arg), this); }},
                  {"forget", [&](auto arg) { ipc->registerReader(arg.c_str(), nullptr); }},
                  {"whole-bodies", [&](auto) { wantsWhole = true; }},
                  {"after", [&](auto script) { afterwards = script; }},
                  {"changed", [&](auto script) { whenChanged = script; }},
                  {"frame", [&](auto size) { frame = std::stoul(size); }},
                  {"chunk", [&](auto size) { chunk = std::stoul(size); }},
                  {"quiet", [&](auto) { isQuiet = true; }},
                  {"turn", [&](auto) { events += loop->waitOnce(0) ? "| " : "no turn "; }},
                  {"connect", [&](auto) { connect(); }},
                  {"close", [&](auto how) { ipc->close(how == "flushing"); }},
                  {"release", [&](auto) { ipc->releaseIo(); }},
                  {"destroy", [&](auto) { ipc.reset(); }},
                  {"half", [&](auto arg) { ipc->writeMsg(arg.c_str()); }},
                  {"write", [&](auto arg) { writeMessage(arg); }},
                  {"flush", [&](auto) { ipc->out()->flush(); }},
                  {"read", [&](auto arg) { ipc->readMessage(orNull(arg)); }},
                  {"until", [&](auto arg) { ipc->readUntil(arg.c_str()); }},
                  {"drain", [&](auto) { ipc->drain(); }}});
  }
  void start(bool blocking, bool discarding) {
    ipc.emplace(this, "sock", blocking, discarding);
    ipc->registerReader("text", this);
    connect();
    events.clear();
  }
  void connect() { ipc->acceptIo(new io::FdIo(connectPeer(), true, false, -1, -1, true)); }
  static const char* orNull(const std::string& arg) { return arg.empty() ? nullptr : arg.c_str(); }
  void playOnce(std::string& script) {
    std::replace(script.begin(), script.end(), ',', ' ');
    play(std::exchange(script, ""));
  }
  void writeMessage(const std::string& msgName) {
    rdr::OutStreamV4& out = ipc->writeMsg(msgName.c_str());
    if (msgName == "lots") out.writeBytes(backlog.data(), int(backlog.size()));
    out.endMsg(false);
  }
  // A message to send: "<name>" or "<name>:<text>".
  void other(const std::string& text) override {
    const size_t colon = std::min(text.find(':'), text.size());
    std::string data = char(colon) + text.substr(0, colon);
    if (colon < text.size()) data += char(text.size() - colon - 1) + text.substr(colon + 1);
    for (bool last = false; !last; data.erase(0, frame)) {
      const std::string piece = data.substr(0, frame);
      last = piece.size() == data.size();
      input += {char((last ? 0x80 : 0) | piece.size() >> 8), char(piece.size())};
      input += piece;
    }
  }
  void sendInput(size_t size) {
    for (size_t at = 0; at < size && ipc->isConnected(); at += chunk) {
      Stage::send(input.substr(at, std::min(chunk, size - at)));
      if (!isQuiet) loop->runIdle();
    }
    input.erase(0, size);
  }
  bool readMsg(const char* msgName, rdr::InStream& in, io::MsgIpc*) override {
    if (wantsWhole) in.readU8();
    while (wantsWhole && in.nUnread() < 3) {
      if (!in.overrun(false, 3)) return false;
    }
    const std::string text = in.readStdStringU8();
    events += msgName + (":" + text) + " ";
    playOnce(afterwards);
    return true;
  }
  void connectionChanged(io::MsgIpc* which) override {
    events += which->isConnected() ? "+ " : "- ";
    playOnce(whenChanged);
  }
  bool isAllowed(io::MsgIpc*, const char* msgName, bool outgoing) override {
    return refused != (outgoing ? "to-" : "from-") + std::string(msgName);
  }
  void ipcFailed(io::MsgIpc*, const plat::Exception& e) override {
    events += std::string("!") + e.message + " ";
  }

  std::optional<io::MsgIpc> ipc;
  std::string input, refused, afterwards, whenChanged;
  size_t chunk, frame = 32766;
  bool wantsWhole = false, isQuiet = false;
};

TEST(MsgIpc, messagesAndConnectionsComeAndGo) {
  const auto bad = [](const std::string& name) {
    return "[30 MsgIpc sock: Bad msg name '" + name + "'] ";
  };
  const std::string ended = "[100 Ipc sock: End of IO stream] !End of IO stream - ";
  const std::string large(255, 'l');
  const std::string blocks = "(: Reading from InStream would block) ";
  const std::string unready = "(: MsgIpc::readMessage: not in state startMsg) ";
  const std::string reported = "[30 MsgIpc sock: Peer reports bad msg name 'ping'] ";
  const std::string refused = "MsgIpc: expected message <null>, peer reports bad msg name 'ping'";
  const std::pair<std::string, std::string> rows[] = {
      {"text:a frame=3 text:two text:" + large + " frame=777 x:" + std::string(20000, 'x') +
           " text: send",
       "text:a text:two text:" + large + " " + bad("x") + "text: "},
      // Names without a reader.
      {"A:x \u00e4 text:a send receive", bad("A") + bad("\u00e4") + "text:a <> "},
      {"@:x text:a send receive", bad("@") + "- <$> "},
      {":x send", bad("") + "- "},
      {"keep @:x text:a send", bad("@") + "text:a "},
      {"answer refuse=to-badMsg @:x text:a send receive", "text:a <\x80\x09\6badMsg\1@> "},
      {"badMsg:ping send receive",
       reported + "[100 Ipc sock: " + refused + "] !" + refused + " - <$> "},
      {"reader @:b text:a send", "@:b text:a "},
      {"forget=text forget=never text:a send", bad("text")},
      // Bodies.
      {"refuse=from-text text:a B send", bad("B")},
      {"text text:a send", "[100 Ipc sock: End of message] !End of message - "},
      {"whole-bodies text:\2bc text:\2de send", "text:bc text:de "},
      {"text:a text:b send=8 forget=text send", bad("text")},
      // Readers that change what they stand in.
      {"after=forget=text text:a text:b send", "text:a " + bad("text")},
      {"chunk=99999 after=close,connect text:a text:lost send chunk=1 text:b send",
       "text:a - + text:b "},
      {"changed=forget=text,reader=a,reader=u close", "- - "},
      // One message an event, or all.
      {"quiet turns text:a text:b send turn turn", "text:a | text:b | "},
      {"quiet text:a text:b send turn", "text:a text:b | "},
      // What is written.
      {"refuse=to-no write=no receive",
       "[30 MsgIpc sock: Message 'no' not currently allowed] "
       "(: MsgIpc::writeMsg: Message not currently allowed) <> "},
      {"close close release half=x connect write=ping flush receive", "- + <\x80\5\4ping> "},
      {"discarding close half=x", "- [100 MsgIpc sock: Discarding message 'x'] "},
      {"write=lots close=flushing receive=all", "- <all$> "},
      {"write=lots destroy receive=all", "<all$> "},
      {"blocking close-peer write=x close", "- "},
      {"blocking close-peer write=x close=flushing", "[100 Ipc sock: write: Broken pipe (32)] - "},
      {"write=lots flush refuse-more receive=all", "- <part$> "},
      // Messages that are waited for.
      {"blocking frame=3 other:x badMsg:ping text text:a B:x text:b send "
       "read=text read=text read=text read=text read=B read",
       "(: MsgIpc: expected message text, got other) "
       "[30 MsgIpc sock: Peer reports bad msg name 'ping'] "
       "(: MsgIpc: expected message text, peer reports bad msg name 'ping') "
       "(EndOfMsg: End of message) text:a " +
           bad("B") + "text:b "},
      {"blocking frame=4 text:abc send=9 close-peer read read close read",
       "[0 MsgIpc sock: skip error: End of IO stream] (EndOfStream: End of IO stream) " + unready +
           "- (: MsgIpc::readMessage: not connected) "},
      {"quiet read text:a text:b send=8 read read send run",
       blocks + blocks + unready + "text:a text:b "},
      {"blocking reader=other other:x text:a text:b text:c send close-peer "
       "until=text drain",
       "other:x text:a text:b text:c "},
      {"blocking text:a text:b text:c send until=text after=close drain", "text:a text:b - "},
      // A peer that goes.
      {"close-peer run", ended},
      {"frame=4 text:abc send=9 close-peer run", ended}};
  for (const auto& [script, events] : rows) {
    for (size_t chunk : {1, 2, 5, 99999}) EXPECT_EQ(Talk(chunk).play(script), events) << script;
  }
}

TEST(MsgIpc, releasedConnectionIsBlockingAndHasDeliveredEverything) {
  Talk talk(1);
  io::Io* io = talk.ipc->getIo();
  EXPECT_DEATH(talk.connect(), "'!io'");
  EXPECT_EQ(talk.play("write=ping release receive"), "- <\x80\5\4ping> ");
  EXPECT_FALSE(io->in()->isRewindable());
  delete io;
}

}  // namespace
