#include "base/io/FdManager.h"

#include <algorithm>
#include <functional>

#include "base/io/FdHandler.h"

namespace io {

static thread_local FdManager* thrInst = nullptr;

void FdHandlerSet::insert(FdHandler* handler) {
  auto place = std::lower_bound(handlers.begin(), handlers.end(), handler, std::less<>());
  if (place == handlers.end() || *place != handler) handlers.insert(place, handler);
}

void FdHandlerSet::erase(FdHandler* handler) {
  auto place = std::lower_bound(handlers.begin(), handlers.end(), handler, std::less<>());
  if (place != handlers.end() && *place == handler) handlers.erase(place);
}

FdHandler* FdHandlerSet::takeLast() {
  FdHandler* handler = handlers.back();
  handlers.pop_back();
  return handler;
}

void FdHandlerSet::takeAll(FdHandlerSet& other) {
  for (FdHandler* handler : other.handlers) insert(handler);
  other.handlers.clear();
}

FdManager::FdManager() : timers(true), dispatchTimer(this), previous(thrInst) {
  thrInst = this;
}

FdManager::~FdManager() {
  while (!handlers.empty()) {
    FdHandler* handler = handlers.back();
    removeHandler(handler);
    handler->fdManagerGone();
  }
  thrInst = previous;
}

FdManager* FdManager::current() {
  return thrInst;
}

void FdManager::addHandler(FdHandler* handler) {
  if (std::find(handlers.begin(), handlers.end(), handler) == handlers.end()) {
    handlers.push_back(handler);
  }
}

void FdManager::removeHandler(FdHandler* handler) {
  if (std::erase(handlers, handler) != 0) setInterest(handler, 0);
}

bool FdManager::setInterest(FdHandler* handler, unsigned interest) {
  if (!(interest & (interestRead | interestReadAlt1 | interestReadAlt2)))
    readableEvents.drop(handler);
  if (!(interest & interestWrite)) writableEvents.drop(handler);
  if (!(interest & interestOther)) otherEvents.drop(handler);
  return interestChanged(handler, interest);
}

void FdManager::queueReadable(FdHandler* handler) {
  readableEvents.queue.insert(handler);
}

void FdManager::queueWritable(FdHandler* handler) {
  writableEvents.queue.insert(handler);
}

void FdManager::queueOther(FdHandler* handler) {
  otherEvents.queue.insert(handler);
}

void FdManager::dropWritable(FdHandler* handler, bool dispatching) {
  writableEvents.queue.erase(handler);
  if (dispatching) writableEvents.dispatching.erase(handler);
}

void FdManager::dispatchSoon() {
  dispatchTimer.start(0);
}

void FdManager::processEvents() {
  timers.processTimers();
  otherEvents.dispatch(&FdHandler::fdOther);
  readableEvents.dispatch(&FdHandler::fdReadable);
  writableEvents.dispatch(&FdHandler::fdWritable);
  eventsProcessed();
}

void FdManager::Events::drop(FdHandler* handler) {
  queue.erase(handler);
  dispatching.erase(handler);
}

void FdManager::Events::dispatch(void (FdHandler::*event)()) {
  // Not empty when a handler dispatches events itself, or threw.
  dispatching.takeAll(queue);
  while (!dispatching.isEmpty()) (dispatching.takeLast()->*event)();
}

bool FdManager::timerExpired(plat::Timer*) {
  return false;
}

bool FdManager::interestChanged(FdHandler*, unsigned interest) {
  return !(interest & interestOther);
}

}  // namespace io
