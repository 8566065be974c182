#include "base/plat/Timer.h"

#include "base/plat/TimerManager.h"

namespace plat {

Timer::Callback::~Callback() = default;

void Timer::start(int durationMs) {
  stop();
  TimerManager::current().start(this, durationMs);
}

void Timer::stop() {
  if (manager) manager->stop(this);
}

int Timer::getRemaining() const {
  return manager ? manager->getRemaining(*this) : -1;
}

}  // namespace plat
