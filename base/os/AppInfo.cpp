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

const char* read(const plat::String& field, bool emptyIfUnset, const char* assertion) {
  if (!emptyIfUnset && field.isNull()) {
    plat::assertionFailed(plat::AssertionFail(assertion, __FILE__, __LINE__));
  }
  return field.orEmpty();
}

}  // namespace

void AppInfo::set(const char* app, const char* company, const char* pathComp,
                  const char* displayName, const char* detail) {
  setApp(app);
  identity().company.set(company);
  identity().pathComp.set(pathComp);
  identity().displayName.set(displayName);
  identity().detail.set(detail);
}

void AppInfo::setApp(const char* app) {
  PLAT_ASSERT(app);
  identity().app.set(app);
}

void AppInfo::setGroup(const char* group) {
  PLAT_ASSERT(group);
  identity().group.set(group);
}

const char* AppInfo::getApp(bool emptyIfUnset) {
  return read(identity().app, emptyIfUnset, "emptyIfUnset || app");
}

const char* AppInfo::getGroup(bool emptyIfUnset) {
  return read(identity().group, emptyIfUnset, "emptyIfUnset || group");
}

const char* AppInfo::getCompany(bool emptyIfUnset) {
  return read(identity().company, emptyIfUnset, "emptyIfUnset || company");
}

const char* AppInfo::getPathComp(bool emptyIfUnset) {
  return read(identity().pathComp, emptyIfUnset, "emptyIfUnset || pathComp");
}

const char* AppInfo::getDisplayName(bool emptyIfUnset) {
  const char* displayName = identity().displayName.get();
  return displayName ? displayName : getApp(emptyIfUnset);
}

const char* AppInfo::getDetail(bool emptyIfUnset) {
  return read(identity().detail, emptyIfUnset, "emptyIfUnset || detail");
}

}  // namespace os
