#include "base/plat/TimerManager.h"

#include <algorithm>
#include <climits>

#include "base/plat/Assertion.h"
#include "base/plat/LogSrc.h"

namespace plat {

static constinit LogSrc log("TimerManager");
static const LogSrc::Listed listed(log);

// How late the first timer may be before that counts as a jump of the clock.
static constexpr Ticks jumpTicks = 240 * ticksPerSecond;

thread_local TimerManager* TimerManager::thrInst = nullptr;

static Ticks addTicks(Ticks time, Ticks span) {
  Ticks sum;
  if (__builtin_add_overflow(time, span, &sum)) return span < 0 ? INT64_MIN : INT64_MAX;
  return sum;
}

static Ticks durationTicks(int durationMs) {
  return durationMs * ticksPerMs;
}

static int msUntil(Ticks expiry, Ticks now) {
  if (expiry <= now) return 0;
  uint64_t ticks = static_cast<uint64_t>(expiry) - static_cast<uint64_t>(now);
  uint64_t ms = ticks / ticksPerMs + (ticks % ticksPerMs != 0);
  return static_cast<int>(std::min<uint64_t>(ms, INT_MAX));
}

TimerManager::Listener::~Listener() = default;

TimerManager::TimerManager(bool nested) : previous(thrInst) {
  PLAT_ASSERT(nested || !thrInst);
  thrInst = this;
}

TimerManager::~TimerManager() {
  listener = nullptr;
  while (head) stop(head);
  for (Timer* timer : expired) timer->manager = nullptr;
  PLAT_ASSERT(thrInst == this);
  thrInst = previous;
}

TimerManager& TimerManager::current() {
  PLAT_ASSERT(thrInst);
  return *thrInst;
}

int TimerManager::getTimeout() {
  return timeoutAt(readClock());
}

int TimerManager::timeoutAt(Ticks now) const {
  if (!expired.empty()) return 0;
  return head ? msUntil(head->expiry, now) : -1;
}

int TimerManager::processTimers() {
  Ticks now = readClock();
  int timeout = timeoutAt(now);
  if (timeout != 0) return timeout;
  while (head && head->expiry <= now) {
    Timer* timer = head;
    expired.push_back(timer);
    unlink(timer);
  }
  while (!expired.empty()) {
    Timer* timer = expired.front();
    expired.pop_front();
    runCallback(timer);
  }
  tellListener();
  return 0;
}

void TimerManager::runCallback(Timer* timer) {
  Ticks expiry = timer->expiry;
  unsigned jumpsBefore = jumps;
  timer->manager = nullptr;
  const std::weak_ptr<void> life = timer->life;
  bool again = timer->callback->timerExpired(timer);
  if (life.expired() || !again || timer->manager) return;

  Ticks now = readClock();
  expiry = addTicks(expiry, durationTicks(timer->duration));
  // After a jump, noticed here or during the callback, the old expiry says nothing.
  if (expiry < now || jumps != jumpsBefore) {
    expiry = addTicks(now, durationTicks(timer->duration));
  }
  insert(timer, expiry);
}

Ticks TimerManager::readClock() {
  Ticks limit = head ? addTicks(head->expiry, jumpTicks) : noLimit;
  MonotonicReading reading = monotonicRead(limit);
  if (reading.jumped) {
    // Restarted first: a log destination may use timers itself.
    restartAll(reading.ticks);
    log.info(reading.ticks < limit ? "Time has jumped forwards - restarting timers"
                                   : "Time has moved backwards - restarting timers");
    if (listener) listener->timeoutChanged(timeoutAt(reading.ticks));
  }
  return reading.ticks;
}

void TimerManager::restartAll(Ticks now) {
  jumps++;
  Timer* timer = head;
  head = tail = nullptr;
  while (timer) {
    Timer* following = timer->next;
    insert(timer, addTicks(now, durationTicks(timer->duration)));
    timer = following;
  }
  for (Timer* due : expired) due->expiry = now;
}

void TimerManager::tellListener() {
  if (listener) listener->timeoutChanged(getTimeout());
}

void TimerManager::start(Timer* timer, int durationMs) {
  Ticks now = readClock();
  timer->duration = durationMs;
  insert(timer, addTicks(now, durationTicks(durationMs)));
  if (head == timer && listener) listener->timeoutChanged(timeoutAt(now));
}

void TimerManager::stop(Timer* timer) {
  timer->manager = nullptr;
  bool first = head == timer;
  if (!first && !timer->prev) {
    std::erase(expired, timer);
    return;
  }
  unlink(timer);
  if (first) tellListener();
}

int TimerManager::getRemaining(const Timer& timer) {
  // The reading may move the expiry.
  Ticks now = readClock();
  return msUntil(timer.expiry, now);
}

// Behind every timer that is due no later: equal expiries keep their order.
void TimerManager::insert(Timer* timer, Ticks expiry) {
  timer->manager = this;
  timer->expiry = expiry;
  Timer* before = tail;
  while (before && before->expiry > expiry) before = before->prev;
  timer->prev = before;
  timer->next = before ? before->next : head;
  (timer->prev ? timer->prev->next : head) = timer;
  (timer->next ? timer->next->prev : tail) = timer;
}

void TimerManager::unlink(Timer* timer) {
  (timer->prev ? timer->prev->next : head) = timer->next;
  (timer->next ? timer->next->prev : tail) = timer->prev;
  timer->next = timer->prev = nullptr;
}

}  // namespace plat
