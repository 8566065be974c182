#pragma once

#include <memory>

#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace plat {

// "Function %s not found in %s library".
class DynamicFnLoadFailed : public Exception {
 public:
  DynamicFnLoadFailed(const char* functions, const char* libraries);
};

// A function of a shared library that is looked for at run time, once, by the
// constructor. The library stays loaded as long as this lives.
class DynamicFn : private NonCopyable {
 public:
  // libraries: items separated by ",", the first that has the function is taken.
  //   foo          libfoo.so
  //   foo[2,1]     libfoo.so.2, libfoo.so.1
  //   /dir/foo.so  anything with a "/" is a file name as it is
  // exactNames: every item is a file name as it is.
  // functions: alternative names separated by ",", in order of preference.
  // Nothing is thrown when nothing is found; why is logged.
  DynamicFn(const char* libraries, const char* functions, bool exactNames = false);

  void* get() const { return fn; }  // null: not found

 private:
  struct Closer {
    void operator()(void* library) const;
  };

  bool tryItem(const char* item, char* versions, const char* functions, bool exactName);
  bool tryFile(const char* fileName, const char* functions);

  void* fn = nullptr;
  std::unique_ptr<void, Closer> handle;  // null: not found
};

}  // namespace plat
