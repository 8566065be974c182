#include "base/plat/DynamicFn.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"

using namespace plat;
using Lines = std::vector<std::string>;

TEST(DynamicFn, candidatesAreTriedInOrderUntilOneHasAFunction) {
  // Steps: "!file" is not there, "?function" is not in it, "=file" has the function "cos".
  const struct {
    const char* libraries;
    const char* functions;
    bool exactNames;
    Lines steps;
  } rows[] = {
      {"qa,qb[1,2],/q/a.so", "cos", false, {"!libqa.so", "!libqb.so.1", "!libqb.so.2", "!/q/a.so"}},
      {"m[6],qa", "q,cos,sin", false, {"?q", "=libm.so.6"}},
      {"m[99,6]", "cos", false, {"!libm.so.99", "=libm.so.6"}},
      {"qa[1]ignored,m[6]", "cos", false, {"!libqa.so.1", "=libm.so.6"}},
      {"z[1],m[6]", "cos", false, {"?cos", "=libm.so.6"}},
      {"/q[1,2],m[6]", "cos", false, {"!/q", "=libm.so.6"}},
      {"m[6],libm.so.6", "cos", true, {"!m[6]", "=libm.so.6"}},
      {"m[6]", "qa,qb", false, {"?qa", "?qb"}},
      {nullptr, "cos", false, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.libraries ? row.libraries : "(null)");
    CapturedLog captured("DynamicFn:captured:110");
    const DynamicFn cosine(row.libraries, row.functions, row.exactNames);
    Lines expected;
    bool found = false;
    for (const std::string& step : row.steps) {
      const std::string name = step.substr(1);
      found = step[0] == '=';
      const char* text = found            ? "found 'cos' in '"
                         : step[0] == '!' ? " [DynFnOpen("
                                          : "  [DynFnFind(";
      expected.push_back("110 DynamicFn " + (text + name) + (found ? "'" : ") failed]"));
    }
    EXPECT_EQ(captured.lines, expected);
    const auto function = reinterpret_cast<double (*)(double)>(cosine.get());
    EXPECT_EQ(function ? function(0.0) : 0.0, found ? 1.0 : 0.0);
  }
}

TEST(DynamicFn, libraryStaysLoadedOnlyWhileAFunctionOfItIsHeld) {
  const char* fileName = "libBrokenLocale.so.1";  // of the C library; nobody uses it
  auto isLoaded = [&] {
    void* library = dlopen(fileName, RTLD_LAZY | RTLD_NOLOAD);
    if (library) dlclose(library);
    return library != nullptr;
  };
  for (const char* function : {"no_such_function", "__ctype_get_mb_cur_max"}) {
    const DynamicFn first(fileName, function, true), second(fileName, function, true);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(isLoaded(), first.get() != nullptr);
  }
  EXPECT_FALSE(isLoaded());
}
