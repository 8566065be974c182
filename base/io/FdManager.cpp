#include "base/io/FdManager.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "base/io/FdHandler.h"

namespace io {

static thread_local FdManager* thrInst = nullptr;

bool FdHandlerSet::insert(FdHandler* handler) {
  auto place = std::lower_bound(handlers.begin(), handlers.end(), handler, std::less<>());
  if (place != handlers.end() && *place == handler) return false;
  handlers.insert(place, handler);
  return true;
}

bool FdHandlerSet::erase(FdHandler* handler) {
  auto place = std::lower_bound(handlers.begin(), handlers.end(), handler, std::less<>());
  if (place == handlers.end() || *place != handler) return false;
  handlers.erase(place);
  return true;
}

FdHandler* FdHandlerSet::takeLast() {
  FdHandler* handler = handlers.back();
  handlers.pop_back();
  return handler;
}

void FdHandlerSet::takeAll(FdHandlerSet& other) {
  // Not empty when a handler dispatches events itself, or threw.
  if (!handlers.empty()) {
    std::vector<FdHandler*> both;
    std::set_union(handlers.begin(), handlers.end(), other.handlers.begin(), other.handlers.end(),
                   std::back_inserter(both), std::less<>());
    other.handlers.swap(both);
  }
  handlers.swap(other.handlers);
  other.handlers.clear();
}

FdManager::FdManager() : timers(true), dispatchTimer(this), previous(thrInst) {
  thrInst = this;
}

FdManager::~FdManager() {
  while (!registrationOrder.empty()) {
    FdHandler* handler = registrationOrder.back();
    removeHandler(handler);
    handler->fdManagerGone();
  }
  thrInst = previous;
}

FdManager* FdManager::current() {
  return thrInst;
}

void FdManager::addHandler(FdHandler* handler) {
  if (handlers.insert(handler)) registrationOrder.push_back(handler);
}

void FdManager::removeHandler(FdHandler* handler) {
  if (!handlers.erase(handler)) return;
  std::erase(registrationOrder, handler);
  setInterest(handler, false, false, false, false, false);
}

bool FdManager::setInterest(FdHandler* handler, bool read, bool write, bool readAlt1, bool readAlt2,
                            bool other) {
  if (!read && !readAlt1 && !readAlt2) {
    readableQueue.erase(handler);
    dispatchingReadable.erase(handler);
  }
  if (!write) dropWritable(handler, true);
  if (!other) {
    otherQueue.erase(handler);
    dispatchingOther.erase(handler);
  }
  return interestChanged(handler, read, write, readAlt1, readAlt2, other);
}

void FdManager::queueReadable(FdHandler* handler) {
  readableQueue.insert(handler);
}

void FdManager::queueWritable(FdHandler* handler) {
  writableQueue.insert(handler);
}

void FdManager::queueOther(FdHandler* handler) {
  otherQueue.insert(handler);
}

void FdManager::dropWritable(FdHandler* handler, bool dispatching) {
  writableQueue.erase(handler);
  if (dispatching) dispatchingWritable.erase(handler);
}

void FdManager::dispatchSoon() {
  dispatchTimer.start(0);
}

void FdManager::processEvents() {
  timers.processTimers();
  dispatch(otherQueue, dispatchingOther, &FdHandler::fdOther);
  dispatch(readableQueue, dispatchingReadable, &FdHandler::fdReadable);
  dispatch(writableQueue, dispatchingWritable, &FdHandler::fdWritable);
  eventsProcessed();
}

void FdManager::dispatch(FdHandlerSet& events, FdHandlerSet& dispatching,
                         void (FdHandler::*event)()) {
  dispatching.takeAll(events);
  while (!dispatching.isEmpty()) (dispatching.takeLast()->*event)();
}

bool FdManager::timerExpired(plat::Timer*) {
  return false;
}

bool FdManager::interestChanged(FdHandler*, bool, bool, bool, bool, bool wantsOther) {
  return !wantsOther;
}

}  // namespace io
