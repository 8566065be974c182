// Timers against a plain list of what runs, under a clock that the input turns.
#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "base/plat/TimerManager.h"
#include "fuzz/fuzz.h"

namespace {

using plat::Ticks;
using Wide = __int128;

constexpr int timerCount = 6;
constexpr Ticks jumpTicks = 240 * plat::ticksPerSecond;

Ticks clamped(Wide ticks) {
  return static_cast<Ticks>(std::clamp<Wide>(ticks, INT64_MIN, INT64_MAX));
}

class Stage : plat::LogDest,
              public plat::Timer::Callback,
              plat::TimerManager::Listener,
              plat::MonotonicSource {
 public:
  explicit Stage(fuzz::Input& source) : LogDest("timers"), input(source) {
    plat::setMonotonicSource(this);
    plat::LogSrc::setLogSpec("TimerManager:timers:30");
    manager.setListener(this);
    for (auto& timer : timers) timer = std::make_unique<plat::Timer>(this);
  }
  ~Stage() override {
    plat::LogSrc::setLogSpec(nullptr);
    plat::setMonotonicSource(nullptr);
  }

  void run() {
    while (input.left() > 0) {
      input.number(0, 3) == 0 ? pass() : step();
      check();
    }
  }

 private:
  struct Running {
    int which;
    Ticks expiry;
  };
  struct Repeat : Running {
    int jumps;  // before its callback
  };

  void step() {
    const int which = input.number(0, timerCount - 1);
    plat::Timer& timer = *timers[which];
    switch (input.number(0, 9)) {
      case 0:
        if (isRunning(which)) remove(which);
        timer.stop();
        break;
      case 1:
        remove(which);
        generation[which]++;
        timers[which].reset();
        timers[which] = std::make_unique<plat::Timer>(this);
        break;
      case 2:
        ticks = input.flag() ? clamped(Wide(ticks) + 1) : input.anyNumber<Ticks>();
        break;
      case 3:
        ticks = clamped(Wide(ticks) + jumpTicks + input.number(-50, 50) * plat::ticksPerMs);
        break;
      case 4:
        jump = true;
        break;
      case 5: {
        const int remaining = timer.getRemaining();
        PLAT_ASSERT(remaining == remainingOf(which));
        break;
      }
      case 6: {
        const int timeout = manager.getTimeout();
        PLAT_ASSERT(timeout == timeoutNow(ticks));
        break;
      }
      case 7:
        ticks = clamped(Wide(ticks) + input.number(0, 50) * plat::ticksPerMs);
        break;
      default:
        const int ms = input.number(0, 7) ? input.number(-1, 40) : input.anyNumber<int>();
        remove(which);
        timer.start(ms);
        duration[which] = ms;
        insert(which, clamped(Wide(ticks) + Wide(ms) * plat::ticksPerMs));
    }
  }

  void pass() {
    passBegins = true;
    try {
      const int result = manager.processTimers();
      PLAT_ASSERT(passBegins ? result != 0 && result == timeoutNow(ticks)
                             : result == 0 && expired.empty() && !repeat);
    } catch (const plat::Exception&) {
      isTold = false;
    }
    passBegins = false;
  }

  bool timerExpired(plat::Timer* timer) override {
    if (passBegins) {
      while (!running.empty() && running[0].expiry <= ticks) {
        expired.push_back(running[0]);
        running.erase(running.begin());
      }
    }
    passBegins = false;
    PLAT_ASSERT(!expired.empty() && timers[expired[0].which].get() == timer);
    PLAT_ASSERT(!timer->isRunning());
    const Repeat again{expired[0], jumps};
    expired.pop_front();
    const int generationBefore = generation[again.which];
    for (int steps = input.number(0, 2); steps > 0; steps--) step();
    if (input.number(0, 9) == 9) throw plat::Exception("thrown");
    const bool wanted = input.flag();
    if (wanted && generation[again.which] == generationBefore && !isRunning(again.which)) {
      repeat = std::make_unique<Repeat>(again);
    }
    return wanted;
  }

  plat::MonotonicReading read(Ticks limit) override {
    PLAT_ASSERT(limit ==
                (running.empty() ? plat::noLimit : clamped(Wide(running[0].expiry) + jumpTicks)));
    const bool jumped = std::exchange(jump, false) || ticks >= limit;
    if (jumped) {
      message = ticks < limit ? "Time has jumped forwards - restarting timers"
                              : "Time has moved backwards - restarting timers";
      jumps++;
      for (const Running& each : std::exchange(running, {})) insertNow(each.which);
      for (Running& each : expired) each.expiry = ticks;
    }
    if (repeat) {
      const Repeat again = *std::exchange(repeat, nullptr);
      const Ticks due = clamped(again.expiry + Wide(duration[again.which]) * plat::ticksPerMs);
      due < ticks || jumps != again.jumps ? insertNow(again.which) : insert(again.which, due);
    }
    return {ticks, jumped};
  }

  void write(int messageLevel, const char* source, const char* text) override {
    PLAT_ASSERT(messageLevel == 30 && source == std::string("TimerManager") && message == text);
    message.clear();
  }

  void timeoutChanged(int timeoutMs) override {
    told = timeoutMs;
    toldAt = ticks;
    isTold = true;
  }

  void check() {
    PLAT_ASSERT(message.empty());
    for (int i = 0; i < timerCount; i++) PLAT_ASSERT(timers[i]->isRunning() == isRunning(i));
    // What the listener heard last still holds, unless a pass broke off.
    if (!expired.empty()) isTold = false;
    if (isTold) PLAT_ASSERT(told == timeoutNow(toldAt));
  }

  // Equal expiries keep their order.
  void insert(int which, Ticks expiry) {
    auto at = std::find_if(running.begin(), running.end(),
                           [&](const Running& each) { return each.expiry > expiry; });
    running.insert(at, {which, expiry});
  }
  void insertNow(int which) {
    insert(which, clamped(Wide(ticks) + Wide(duration[which]) * plat::ticksPerMs));
  }
  void remove(int which) {
    auto isIt = [&](const Running& each) { return each.which == which; };
    std::erase_if(running, isIt);
    std::erase_if(expired, isIt);
  }
  bool isRunning(int which) const { return remainingOf(which) >= 0; }
  int remainingOf(int which) const {
    for (const Running& each : running) {
      if (each.which == which) return msUntil(each.expiry, ticks);
    }
    for (const Running& each : expired) {
      if (each.which == which) return msUntil(each.expiry, ticks);
    }
    return -1;
  }
  int timeoutNow(Ticks now) const {
    if (!expired.empty()) return 0;
    return running.empty() ? -1 : msUntil(running[0].expiry, now);
  }
  static int msUntil(Ticks expiry, Ticks now) {
    const Wide ms = (Wide(expiry) - now + plat::ticksPerMs - 1) / plat::ticksPerMs;
    return static_cast<int>(std::clamp<Wide>(expiry < now ? 0 : ms, 0, INT_MAX));
  }

  fuzz::Input& input;
  plat::TimerManager manager;
  std::unique_ptr<plat::Timer> timers[timerCount];
  int duration[timerCount] = {}, generation[timerCount] = {};
  std::vector<Running> running;
  std::deque<Running> expired;
  std::unique_ptr<Repeat> repeat;  // goes in at the next reading of the clock
  bool passBegins = false;
  Ticks ticks = 1000 * plat::ticksPerSecond, toldAt = 0;
  bool jump = false, isTold = true;
  int jumps = 0, told = -1;
  std::string message;  // that is to be logged
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Stage(input).run();
  return 0;
}
