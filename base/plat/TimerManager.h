#pragma once

#include <memory>

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

  // Expired timers whose callbacks are still to run. Invariant: the capacity is
  // 0 or a power of two, mask is capacity - 1; the indices run freely.
  class Queue {
   public:
    unsigned size() const { return writeIndex - readIndex; }
    Timer*& at(unsigned i) { return items[(readIndex + i) & mask]; }
    void push(Timer* timer);
    Timer* pop();
    void remove(Timer* timer);

   private:
    void grow();

    unsigned capacity = 0;
    unsigned mask = 0;
    unsigned readIndex = 0;
    unsigned writeIndex = 0;
    std::unique_ptr<Timer*[]> items;
  };

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
  Queue expired;
  Listener* listener = nullptr;
  unsigned jumps = 0;  // how often the clock was seen to jump
};

}  // namespace plat
