#pragma once

namespace os {

// The identity of the process. Set at start-up, before anything names a directory
// or a socket; from then on read by any thread. Texts are copied; a getter's
// result is valid until that text is changed.
class AppInfo {
 public:
  AppInfo() = delete;

  // Null leaves a text unset, app excepted, which must not be null.
  static void set(const char* app, const char* company, const char* pathComp,
                  const char* displayName = nullptr, const char* detail = nullptr);
  static void setApp(const char* app);
  static void setGroup(const char* group);

  // Never null: an unset text is empty with emptyIfUnset, otherwise an assertion
  // failure.
  static const char* getApp(bool emptyIfUnset);  // first component of socket names
  static const char* getGroup(bool emptyIfUnset);
  static const char* getCompany(bool emptyIfUnset);
  static const char* getPathComp(bool emptyIfUnset);     // names private directories
  static const char* getDisplayName(bool emptyIfUnset);  // app when unset
  static const char* getDetail(bool emptyIfUnset);
};

}  // namespace os
