#include "base/plat/path.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "base/plat/DString.h"

namespace plat {

// The path without the separators at its end, "/" itself excepted.
static std::string_view withoutTail(const char* path) {
  std::string_view view(orEmpty(path));
  while (view.size() > 1 && view.back() == '/') view.remove_suffix(1);
  return view;
}

static String toString(std::string_view view) {
  return String(view.data(), static_cast<int>(view.size()));
}

bool isAbsolute(const char* path) {
  return path && path[0] == '/';
}

String normalise(const char* path, bool* wasAbsolute, bool* changed) {
  std::string_view rest(orEmpty(path));
  bool absolute = isAbsolute(path);
  std::vector<std::string_view> kept;
  while (!rest.empty()) {
    size_t length = std::min(rest.find('/'), rest.size());
    std::string_view component = rest.substr(0, length);
    rest.remove_prefix(std::min(length + 1, rest.size()));
    if (component.empty() || component == ".") continue;
    if (component != ".." || (kept.empty() ? !absolute : kept.back() == "..")) {
      kept.push_back(component);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }

  DString result;
  for (std::string_view component : kept) {
    if (absolute || result.length() > 0) result.append("/");
    result.append(component.data(), static_cast<int>(component.size()));
  }
  if (kept.empty()) result.append(absolute ? "/" : ".");
  if (wasAbsolute) *wasAbsolute = absolute;
  if (changed) *changed = strCompare(result.get(), path) != 0;
  return result.release();
}

String join(const char* first, const char* second) {
  DString joined(orEmpty(first));
  if (!endsWith(first, "/")) joined.append("/");
  joined.append(second);
  return joined.release();
}

String dirName(const char* path) {
  std::string_view view = withoutTail(path);
  size_t slash = view.rfind('/');
  if (slash == view.npos) return String(".");
  while (slash > 0 && view[slash - 1] == '/') slash--;
  return toString(view.substr(0, slash > 0 ? slash : 1));
}

String baseName(const char* path) {
  std::string_view view = withoutTail(path);
  if (view.empty()) return String(".");
  if (view == "/") return toString(view);
  return toString(view.substr(view.rfind('/') + 1));
}

}  // namespace plat
