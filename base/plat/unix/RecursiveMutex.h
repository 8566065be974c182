#pragma once

#include <pthread.h>

#include "base/plat/NonCopyable.h"

namespace plat {

// The only mutex of the system; use it with std::lock_guard. A platform that
// refuses the recursive type gets an ordinary mutex and one warning, for which
// std::recursive_mutex has no place.
class RecursiveMutex : private NonCopyable {
 public:
  RecursiveMutex();
  ~RecursiveMutex();
  void lock();
  void unlock();

 private:
  pthread_mutex_t mutex;
};

}  // namespace plat
