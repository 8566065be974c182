#pragma once

#include <deque>

#include "base/plat/Timer.h"

namespace plat {

// The timers of one thread. An event loop waits getTimeout() at most and then
// calls processTimers(). When the clock is seen to jump, every running timer
// starts again with its full duration.
class TimerManager : private NonCopyable {
 public:
  class Listener {
   public:
    virtual ~Listener();
    // As getTimeout(). Called whenever the earliest expiry changed.
    virtual void timeoutChanged(int timeoutMs) = 0;
  };

  // Becomes the thread's current manager until it is destroyed. Unless nested,
  // there must be none; nested ones are destroyed in reverse order.
  explicit TimerManager(bool nested = false);
  ~TimerManager();  // stops its timers

  // The thread's; there must be one.
  static TimerManager& current();

  void setListener(Listener* newListener) { listener = newListener; }  // borrowed, null: none

  // Milliseconds until the first expiry, taken upwards, 0 at least; -1 when no
  // timer runs.
  int getTimeout();
  // Calls the timers that have expired, in the order of expiry, and returns 0;
  // when there are none, getTimeout(). An exception of a callback goes through;
  // the timers behind it follow with the next call.
  int processTimers();

 private:
  friend class Timer;

  Ticks readClock();
  void restartAll(Ticks now);
  int timeoutAt(Ticks now) const;
  void tellListener();
  void start(Timer* timer, int durationMs);
  void stop(Timer* timer);
  int getRemaining(const Timer& timer);
  void insert(Timer* timer, Ticks expiry);
  void unlink(Timer* timer);
  void runCallback(Timer* timer);

  static thread_local TimerManager* thrInst;

  TimerManager* previous;
  Timer* head = nullptr;  // running timers, sorted by expiry
  Timer* tail = nullptr;
  std::deque<Timer*> expired;  // whose callbacks are still to run
  Listener* listener = nullptr;
  unsigned jumps = 0;  // how often the clock was seen to jump
};

}  // namespace plat
