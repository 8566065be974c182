#include "base/os/AppInfo.h"

#include "base/plat/Assertion.h"
#include "base/plat/String.h"

namespace os {

namespace {

struct Identity {
  plat::String app, group, company, pathComp, displayName, detail;
};

Identity& identity() {
  static Identity instance;
  return instance;
}

// An equal text stays where it is: it may be the very one, and others may hold it.
void assign(plat::String& field, const char* text) {
  if (!(field == text)) field.set(text);
}

}  // namespace

void AppInfo::set(const char* app, const char* company, const char* pathComp,
                  const char* displayName, const char* detail) {
  setApp(app);
  assign(identity().company, company);
  assign(identity().pathComp, pathComp);
  assign(identity().displayName, displayName);
  assign(identity().detail, detail);
}

void AppInfo::setApp(const char* app) {
  PLAT_ASSERT(app);
  assign(identity().app, app);
}

void AppInfo::setGroup(const char* group) {
  PLAT_ASSERT(group);
  assign(identity().group, group);
}

const char* AppInfo::getApp(bool emptyIfUnset) {
  const char* app = identity().app.get();
  PLAT_ASSERT(emptyIfUnset || app);
  return identity().app.orEmpty();
}

const char* AppInfo::getGroup(bool emptyIfUnset) {
  const char* group = identity().group.get();
  PLAT_ASSERT(emptyIfUnset || group);
  return identity().group.orEmpty();
}

const char* AppInfo::getCompany(bool emptyIfUnset) {
  const char* company = identity().company.get();
  PLAT_ASSERT(emptyIfUnset || company);
  return identity().company.orEmpty();
}

const char* AppInfo::getPathComp(bool emptyIfUnset) {
  const char* pathComp = identity().pathComp.get();
  PLAT_ASSERT(emptyIfUnset || pathComp);
  return identity().pathComp.orEmpty();
}

const char* AppInfo::getDisplayName(bool emptyIfUnset) {
  const char* displayName = identity().displayName.get();
  return displayName ? displayName : getApp(emptyIfUnset);
}

const char* AppInfo::getDetail(bool emptyIfUnset) {
  const char* detail = identity().detail.get();
  PLAT_ASSERT(emptyIfUnset || detail);
  return identity().detail.orEmpty();
}

}  // namespace os
