#include "base/plat/path.h"

#include <libgen.h>

#include <filesystem>

#include "fuzz/fuzz.h"

// As the C++ library has it, which keeps separators at the end.
static std::string normalForm(const std::string& path) {
  std::string normal = std::filesystem::path(path).lexically_normal().string();
  while (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal.empty() ? "." : normal;
}

// As the C library has it; to that "//" may be another root.
static std::string part(char* (*function)(char*), std::string path) {
  const std::string result = function(path.data());
  return result == "//" ? "/" : result;
}

static void check(const std::string& path) {
  const char* text = path.c_str();
  bool absolute, changed;
  const plat::String normal = plat::normalise(text, &absolute, &changed);
  PLAT_ASSERT(normal.get() == normalForm(path));
  PLAT_ASSERT(absolute == (path[0] == '/') && absolute == plat::isAbsolute(text));
  PLAT_ASSERT(changed == (normal.get() != path));

  const plat::String dir = plat::dirName(text), base = plat::baseName(text);
  PLAT_ASSERT(dir.get() == part(dirname, path) && base.get() == part(basename, path));
  const plat::String joined = plat::join(dir.get(), base.get());
  PLAT_ASSERT(joined.get() == dir.get() + std::string(dir == "/" ? "" : "/") + base.get());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::text(fuzz::bytes(data, size));
  check(path);
  check(fuzz::folded(path, "/.a"));
  check(fuzz::folded(path, "/.a/.b.."));
  return 0;
}
