#pragma once

#include "base/plat/String.h"

namespace plat {

// Lexical operations on paths: nothing looks at the file system. Null counts as
// empty.

bool isAbsolute(const char* path);
// Single separators, no "." and no ".." behind a component. What leads above the
// root is dropped, what leads above a relative start is kept. No separator at the
// end but for "/"; an empty result is ".". Behind a symbolic link the result may
// be another file than the path. Both outputs may be null.
String normalise(const char* path, bool* wasAbsolute = nullptr, bool* changed = nullptr);
// One separator in between, unless the first part ends with one.
String join(const char* first, const char* second);
// As POSIX dirname and basename: separators at the end do not count, "." is the
// directory of a bare name and the name of an empty path.
String dirName(const char* path);
String baseName(const char* path);

}  // namespace plat
