#include "base/plat/unix/RecursiveMutex.h"

#include <cstdio>

#include "base/plat/Assertion.h"

namespace plat {

namespace {

struct RecursiveType {
  RecursiveType() {
    int err = pthread_mutexattr_init(&attributes);
    PLAT_ASSERT(err == 0);
    if (pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) != 0) {
      fputs("WARNING: system libpthread has no recursive mutexes; deadlock may result.", stderr);
    }
  }

  // Never destroyed: mutexes are made as late as the end of the process.
  pthread_mutexattr_t attributes;
};

const pthread_mutexattr_t* sharedAttributes() {
  static RecursiveType type;
  return &type.attributes;
}

}  // namespace

RecursiveMutex::RecursiveMutex() {
  int err = pthread_mutex_init(&mutex, sharedAttributes());
  PLAT_ASSERT(err == 0);
}

RecursiveMutex::~RecursiveMutex() {
  pthread_mutex_destroy(&mutex);
}

void RecursiveMutex::lock() {
  int err = pthread_mutex_lock(&mutex);
  PLAT_ASSERT(err == 0);
}

void RecursiveMutex::unlock() {
  int err = pthread_mutex_unlock(&mutex);
  PLAT_ASSERT(err == 0);
}

}  // namespace plat
