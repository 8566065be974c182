#pragma once

#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/Timer.h"
#include "base/plat/TimerManager.h"

namespace io {

class FdHandler;

// Handlers sorted by address, without duplicates.
class FdHandlerSet {
 public:
  void insert(FdHandler* handler);
  void erase(FdHandler* handler);
  FdHandler* takeLast();  // precondition: !isEmpty()
  void takeAll(FdHandlerSet& other);
  bool isEmpty() const { return handlers.empty(); }

 private:
  std::vector<FdHandler*> handlers;
};

// What a handler waits for. readAlt1 and readAlt2 are further reasons for readable events,
// `other` is the third kind of event.
constexpr unsigned interestRead = 1;
constexpr unsigned interestWrite = 2;
constexpr unsigned interestReadAlt1 = 4;
constexpr unsigned interestReadAlt2 = 8;
constexpr unsigned interestOther = 16;

// The event side of one thread: registered handlers, their queued events and the
// thread's timers. Construction makes it the thread's current manager, destruction
// brings the previous one back; managers of a thread nest.
//
// Does not wait for descriptors. A waiting loop derives from it: it learns in
// interestChanged() what to watch, waits for at most getTimers().getTimeout(),
// queues the handlers that became ready and calls processEvents().
class FdManager : private plat::Timer::Callback, private plat::NonCopyable {
 public:
  FdManager();
  ~FdManager() override;
  static FdManager* current();  // null: the thread has none

  // Handlers are borrowed until removed.
  void addHandler(FdHandler* handler);
  // Also withdraws its interest and drops its queued events.
  void removeHandler(FdHandler* handler);
  // What the handler waits for from now on. Drops queued events of the kinds that
  // are not wanted any more. Returns what interestChanged() answers.
  bool setInterest(FdHandler* handler, unsigned interest);

  void queueReadable(FdHandler* handler);
  void queueWritable(FdHandler* handler);
  void queueOther(FdHandler* handler);
  // Withdraws a queued writable event; with `dispatching` also one that a processEvents()
  // under way has still to come to.
  void dropWritable(FdHandler* handler, bool dispatching);
  // Has the queues processed on the next pass of the timers, without waiting.
  // Timers are the current manager's: call it only while no other one is nested inside.
  void dispatchSoon();
  // Runs the timers, then the queued events: the third kind, readable, writable.
  // An event that is queued again while its kind is dispatched waits for the next
  // call.
  void processEvents();

  plat::TimerManager& getTimers() { return timers; }

 private:
  bool timerExpired(plat::Timer* timer) override;

 protected:
  // Hook for the waiting loop. False: it cannot watch for all of that.
  virtual bool interestChanged(FdHandler* handler, unsigned interest);
  // Hook, called when processEvents() is done.
  virtual void eventsProcessed() {}

 private:
  // Handlers that have an event of one kind, and those of them that a processEvents() under
  // way has still to call.
  struct Events {
    void drop(FdHandler* handler);
    void dispatch(void (FdHandler::*event)());

    FdHandlerSet queue, dispatching;
  };

  std::vector<FdHandler*> handlers;  // in the order of registration
  Events readableEvents, writableEvents, otherEvents;
  plat::TimerManager timers;
  plat::Timer dispatchTimer;
  FdManager* previous;
};

}  // namespace io
