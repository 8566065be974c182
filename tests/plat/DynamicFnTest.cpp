#include "base/plat/DynamicFn.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"

using namespace plat;
using Lines = std::vector<std::string>;

namespace {

bool isLoaded(const char* fileName) {
  void* library = dlopen(fileName, RTLD_LAZY | RTLD_NOLOAD);
  if (library) dlclose(library);
  return library != nullptr;
}

TEST(DynamicFn, candidatesAreTriedInOrderUntilOneHasAFunction) {
  struct {
    const char* libraries;
    const char* functions;
    bool exactNames;
    bool found;
    Lines log;
  } rows[] = {
      {"qa,qb[1,2],/q/libc.so",
       "cos",
       false,
       false,
       {" [DynFnOpen(libqa.so) failed]", " [DynFnOpen(libqb.so.1) failed]",
        " [DynFnOpen(libqb.so.2) failed]", " [DynFnOpen(/q/libc.so) failed]"}},
      {"m[6],qa",
       "q,cos,sin",
       false,
       true,
       {"  [DynFnFind(q) failed]", "found 'cos' in 'libm.so.6'"}},
      {"m[99,6]",
       "cos",
       false,
       true,
       {" [DynFnOpen(libm.so.99) failed]", "found 'cos' in 'libm.so.6'"}},
      {"qa[1]ignored,m[6]",
       "cos",
       false,
       true,
       {" [DynFnOpen(libqa.so.1) failed]", "found 'cos' in 'libm.so.6'"}},
      {"z[1],m[6]",
       "cos",
       false,
       true,
       {"  [DynFnFind(cos) failed]", "found 'cos' in 'libm.so.6'"}},
      {"/q[1,2],m[6]",
       "cos",
       false,
       true,
       {" [DynFnOpen(/q) failed]", "found 'cos' in 'libm.so.6'"}},
      {"m[6],libm.so.6",
       "cos",
       true,
       true,
       {" [DynFnOpen(m[6]) failed]", "found 'cos' in 'libm.so.6'"}},
      {"m[6]", "qa,qb", false, false, {"  [DynFnFind(qa) failed]", "  [DynFnFind(qb) failed]"}},
      {nullptr, "cos", false, false, {}},
  };
  for (auto& row : rows) {
    SCOPED_TRACE(row.libraries ? row.libraries : "(null)");
    CapturedLog captured("DynamicFn:captured:110");
    DynamicFn cosine(row.libraries, row.functions, row.exactNames);
    Lines lines;
    for (const std::string& line : row.log) lines.push_back("110 DynamicFn " + line);
    EXPECT_EQ(captured.lines, lines);
    ASSERT_EQ(cosine.get() != nullptr, row.found);
    if (row.found) {
      EXPECT_EQ(reinterpret_cast<double (*)(double)>(cosine.get())(0.0), 1.0);
    }
  }
}

TEST(DynamicFn, libraryStaysLoadedOnlyWhileAFunctionOfItIsHeld) {
  const char* fileName = "libBrokenLocale.so.1";  // of the C library; nobody uses it
  ASSERT_FALSE(isLoaded(fileName));
  {
    DynamicFn first(fileName, "__ctype_get_mb_cur_max", true);
    DynamicFn second(fileName, "__ctype_get_mb_cur_max", true);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_TRUE(isLoaded(fileName));
  }
  EXPECT_FALSE(isLoaded(fileName));
  DynamicFn missing(fileName, "no_such_function", true);
  EXPECT_FALSE(isLoaded(fileName));
}

}  // namespace
