#include "base/io/FdIo.h"

#include <fcntl.h>

#include <chrono>

#include "base/io/IoHandler.h"
#include "base/plat/Configuration.h"
#include "base/plat/DString.h"
#include "tests/io/Stage.h"
#include "tests/support/streams.h"

namespace {

// A connection and its handler, which reads texts behind their lengths of one byte. The events are
// "r" for a readable one, each text, "w" for a writable one, "done" for the end of a shutdown and
// "gone" for that of the connection.
struct FdStage : Stage, io::IoHandler {
  struct TrackedIo : io::FdIo {
    TrackedIo(FdStage& owner, int newFd, bool isConnecting)
        : FdIo(newFd, true, isConnecting, 16, -1, true), stage(owner) {}
    ~TrackedIo() override {
      stage.io = nullptr;
      stage.events += "gone ";
    }
    FdStage& stage;
  };

  FdStage() : Stage("FdIo:captured:30") {
    connect(false);
    words.insert(
        {{"debug", [](auto) { plat::LogSrc::setLogSpec("FdIo:captured:100"); }},
         {"connecting", [&](auto) { connect(true); }},
         {"listen", [&](auto how) { listen(how == "now"); }},
         {"unlisten", [&](auto) { io->setHandler(nullptr, true); }},
         {"end-loop", [&](auto) { loop.reset(); }},
         {"process", [&](auto) { loop->processEvents(); }},
         {"timers", [&](auto) { tellTimers(loop->getTimers().getTimeout()); }},
         {"refusing", [&](auto) { isRefusing = true; }},
         {"flush-timeout", [&](auto seconds) { flushTimeout.setParam(seconds.c_str(), 10); }},
         {"write", [&](auto text) { io->out()->writeBytes(text.data(), int(text.size())); }},
         {"flush", [&](auto) { io->out()->flush(); }},
         {"fill", [&](auto) { play("write=" + backlog + " flush"); }},
         {"end-output", [&](auto) { io->out()->shutdown(); }},
         {"read", [&](auto) { events += "(" + io->in()->readStdStringU8() + ") "; }},
         {"mark", [&](auto) { io->markReadable(); }},
         {"shutdown", [&](auto how) { io->shutdown(false, how == "telling"); }},
         {"flush-shutdown", [&](auto how) { io->shutdown(true, how == "telling"); }},
         {"timeout", [&](auto ms) { io->setTimeout(std::stoi(ms)); }},
         {"delete", [&](auto) { delete io; }}});
  }
  ~FdStage() override {
    play("close-peer");  // which else would be waited for
    delete io;
    flushTimeout.unsetParam(10);
  }
  void connect(bool connecting) {
    delete io;
    io = new TrackedIo(*this, connectPeer(), connecting);
    id = plat::strFormat("%p (fd=%d)", static_cast<void*>(io), io->getFd()).get();
    events.clear();
  }
  void listen(bool checkReadable) {
    if (!loop) loop.emplace();
    io->setHandler(this, checkReadable);
  }
  // The first one's time in units of 20 seconds; -1 for none.
  void tellTimers(int ms) {
    events += std::to_string(ms > 0 ? (int64_t{ms} + 19999) / 20000 : ms) + " ";
  }
  void ioReadable(io::Io*) override {
    events += "r ";
    while (true) {
      events += io->in()->readStdStringU8() + " ";
      io->in()->checkpoint();
    }
  }
  void ioWritable(io::Io*) override { events += "w "; }
  void ioShutdownComplete(io::Io*) override {
    events += "done ";
    if (isRefusing) throw plat::Exception("no thanks");
  }

  TrackedIo* io = nullptr;
  bool isRefusing = false;
  plat::ConfigParameter& flushTimeout = *plat::Configuration::global().getParam("LazyFlushTimeout");
};

TEST(FdIo, eventsWritesAndShutdownsFollowEachOther) {
  const std::string complete = "[100 FdIo shutdown complete IO] ";
  const std::string telling = "[100 FdIo shutdown IO, flush true (tellHandler true)] ";
  const std::string failed = "[100 FdIo shutdown IO, flush false (tellHandler true)] " + complete;
  const std::pair<const char*, std::string> rows[] = {
      // Without a handler: nothing is delivered before its time, and the end comes at once.
      {"debug write=bye unlisten end-output receive shutdown receive",
       "<> [100 FdIo shutdown IO, flush false (tellHandler false)] "
       "[100 FdIo immediate shutdown IO] gone <bye$> "},
      {"debug listen=now timers run send=\3on run send=e\5thr run send=ee run close-peer run",
       "0 w r r one r three r [30 FdIo Read error: End of IO stream] " + failed + "done gone "},
      {"send=\1a\1b\1c read listen run mark timers run", "(a) 0 r b c "},
      {"send=\1d\1 read listen=now timers run", "(d) 0 r w "},
      {"listen=now run unlisten send=\1e read listen=now run", "w (e) w "},
      {"connecting listen=now process receive run listen=now process", "<> w w "},
      {"listen=now write=x flush timers run receive", "0 <x> "},
      {"listen fill receive=all timers", "<all> -1 "},
      {"debug listen fill refuse-more receive=all",
       "[30 FdIo Write error: write: Broken pipe (32)] " + failed + "done gone <part$> "},
      // What arrives is not read any more; a flush of the owner changes nothing.
      {"listen write=bye shutdown timers mark send=\1x receive=all", "0 gone <bye$> "},
      {"listen write=bye flush-shutdown timers mark flush receive=all", "0 gone <bye$> "},
      {"listen fill shutdown=telling mark receive=all", "done gone <part$> "},
      {"debug refusing listen fill flush-shutdown=telling mark send=\1x receive=all",
       telling + complete + "done [30 FdIo Shutdown error: no thanks] gone <all$> "},
      // Of the output alone.
      {"listen fill end-output receive=all send=\2hi run", "<all$> r hi "},
      {"listen write=bye end-output timers receive=all send=\2hi run", "0 <bye$> r hi "},
      {"connecting listen write=bye end-output process receive receive=all", "<> <bye$> "},
      // A peer that takes nothing, for 60 seconds or as many as a timer can hold.
      {"debug flush-timeout=0 listen fill run",
       "[100 FdIo flush timer] r [30 FdIo Read error: Timed out] " + failed + "done gone "},
      {"debug flush-timeout=0 listen fill flush-shutdown=telling run",
       telling + "[100 FdIo flush timer] " + complete + "done gone "},
      {"listen fill run timers", "3 "},
      {"flush-timeout=2147483 listen fill run timers", "107375 "},
      {"flush-timeout=2147484 listen fill run timers", "107375 "},
      // A loop that ends, or goes on without the connection.
      {"debug listen=now flush-shutdown=telling end-loop",
       telling + "[100 FdIo shutdown completed by FdManager dtor IO] done gone "},
      {"listen=now end-loop shutdown", "gone "},
      {"listen=now delete run timers", "gone -1 "},
      {"listen=now flush-shutdown delete run timers", "gone -1 "},
      {"listen=now flush-shutdown=telling delete run timers", "gone -1 "},
      {"listen fill receive close-peer delete run timers",
       "<part> gone [0 FdIo setHandler: write: Broken pipe (32)] -1 "}};
  for (const auto& [script, events] : rows) EXPECT_EQ(FdStage().play(script), events) << script;
}

TEST(FdIo, descriptorIsClosedExactlyWhenItWasGivenToBeClosed) {
  const std::pair<int, const char*> rows[] = {
      {O_PATH, "System-9: setBlocking: Bad file descriptor (9)"},
      {O_RDONLY, "System-88: getsockopt: Socket operation on non-socket (88)"}};
  for (const auto& [kind, problem] : rows) {
    const int fd = open("/dev/null", kind | O_CLOEXEC);
    io::FdIo late(-1, false, false, -1, -1, false);
    EXPECT_EQ(fakes::thrownBy([&] { io::FdIo(fd, true, false, -1, -1, true).getSocketError(); }),
              problem);
    EXPECT_LT(fcntl(fd, F_GETFD), 0);
    late.attach(0, false, -1, -1, false);
    EXPECT_STREQ(late.name(), "<fd0>");
    EXPECT_DEATH(late.attach(0, false, -1, -1, false), "'fd < 0'");
  }
  EXPECT_GE(fcntl(0, F_GETFD), 0);
}

TEST(FdIo, blockingStreamsHonourTheirTimeoutAndMisuseIsNoticed) {
  FdStage stage;
  io::FdIo& io = *stage.io;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(stage.play("timeout=20 read fill"), "(TimedOut: Timed out) (TimedOut: Timed out) ");
  // Not the 30 seconds of a stream that was not told.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_DEATH(io.shutdown(false, true), "'!tellHandler'");
  EXPECT_DEATH(io.setHandler(&stage, false), "'fdMgr'");
  EXPECT_DEATH(io.markReadable(), "'fdMgr'");
  EXPECT_DEATH(io.Io::markReadable(), "Io::markReadable\\(\\) not implemented for this Io");
  stage.play("close-peer");  // a reset, as data was left unread
  for (int i = 0; i < 2; i++) EXPECT_EQ(io.getSocketError(), ECONNRESET);
  FdStage other;
  for (const char* script : {"", "write=x flush close-peer"}) {
    other.play(script);
    EXPECT_EQ(other.io->getSocketError(), 0);  // asked for before the reset
  }

  rdr::MemOutStream state;
  for (int i = 0; i < 255; i++) io.getFlags().insert(std::to_string(i).c_str());
  io.writeState(state);
  EXPECT_EQ(state.length(), 1 + 10 * 2 + 90 * 3 + 155 * 4 + 4);
  io.getFlags().insert("one too many");
  EXPECT_DEATH(io.writeState(state), "'flags.size\\(\\) < 256'");
}

}  // namespace
