#include "base/plat/DynamicFn.h"

#include <dlfcn.h>

#include <cstring>
#include <mutex>

#include "base/plat/DString.h"
#include "base/plat/LogSrc.h"
#include "base/plat/Splitter.h"
#include "base/plat/unix/RecursiveMutex.h"

namespace plat {

static constinit LogSrc log("DynamicFn");
static const LogSrc::Listed listed(log);
static RecursiveMutex loaderMutex;

static String notFound(const char* functions, const char* libraries) {
  return strFormat("Function %s not found in %s library", orEmpty(functions), orEmpty(libraries));
}

DynamicFnLoadFailed::DynamicFnLoadFailed(const char* functions, const char* libraries)
    : Exception(notFound(functions, libraries).get(), "DynamicFnLoadFailed") {}

void DynamicFn::Closer::operator()(void* library) const {
  dlclose(library);
}

DynamicFn::DynamicFn(const char* libraries, const char* functions, bool exactNames) {
  String list(libraries);
  Splitter items(list.data());
  char separator;
  while (const char* item = items.nextAny(exactNames ? "," : ",[", &separator)) {
    char* versions = nullptr;
    if (separator == '[') {
      versions = items.next(']');
      items.next(',');
    }
    if (tryItem(item, versions, functions, exactNames || strchr(item, '/'))) return;
  }
}

bool DynamicFn::tryItem(const char* item, char* versions, const char* functions, bool exactName) {
  if (exactName) return tryFile(item, functions);
  if (!versions) return tryFile(strFormat("lib%s.so", item).get(), functions);
  Splitter list(versions);
  while (const char* version = list.next(',')) {
    if (tryFile(strFormat("lib%s.so.%s", item, version).get(), functions)) return true;
  }
  return false;
}

bool DynamicFn::tryFile(const char* fileName, const char* functions) {
  std::lock_guard lock(loaderMutex);
  handle.reset(dlopen(fileName, RTLD_LAZY | RTLD_GLOBAL));
  if (!handle) {
    log.debug2(" [DynFnOpen(%s) failed]", fileName);
    return false;
  }
  String list(functions);
  Splitter names(list.data());
  while (const char* name = names.next(',')) {
    fn = dlsym(handle.get(), name);
    if (fn) {
      log.debug2("found '%s' in '%s'", name, fileName);
      return true;
    }
    log.debug2("  [DynFnFind(%s) failed]", name);
  }
  handle.reset();
  return false;
}

}  // namespace plat
