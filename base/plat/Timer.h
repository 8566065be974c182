#pragma once

#include <memory>

#include "base/plat/NonCopyable.h"
#include "base/plat/time.h"

namespace plat {

class TimerManager;

// Calls back once the duration is over, from TimerManager::processTimers() of
// the thread that started it. Used on that thread only. The destructor stops the
// timer; a callback may start, stop or destroy any timer, its own included.
class Timer : private NonCopyable {
 public:
  class Callback {
   public:
    virtual ~Callback();
    // True: run again for the same duration, counted from the expiry and not
    // from now. Ignored when the callback started or destroyed the timer.
    virtual bool timerExpired(Timer* timer) = 0;
  };

  explicit Timer(Callback* borrowed) : callback(borrowed) {}
  ~Timer() { stop(); }

  // Restarts a running timer. 0 or less: expires on the next pass of the timers.
  void start(int durationMs);
  void stop();
  // True from its start until its callback begins or it is stopped.
  bool isRunning() const { return manager; }
  // Milliseconds, taken upwards, 0 at least; -1 while it does not run.
  int getRemaining() const;

 private:
  friend class TimerManager;

  Timer* next = nullptr;
  Timer* prev = nullptr;
  Ticks expiry = 0;  // monotonic
  int duration = 0;  // milliseconds
  Callback* callback;
  TimerManager* manager = nullptr;  // null: stopped
  // Ends with the timer, as runCallback() must learn of that.
  const std::shared_ptr<void> life = std::make_shared<char>();
};

}  // namespace plat
