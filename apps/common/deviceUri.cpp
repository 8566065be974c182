#include "apps/common/deviceUri.h"

#include "base/plat/Exception.h"
#include "base/plat/NumUtil.h"
#include "base/plat/Splitter.h"

static constexpr char scheme[] = "qolt:/";
static constexpr char userScheme[] = "qolt-user:/";

bool parseDeviceUri(const char* uri, plat::String* format, uint32_t* uid, plat::String* name) {
  if (!uri || !plat::startsWith(uri, scheme)) return false;

  plat::String copy(uri);
  plat::Splitter splitter(copy.data());
  splitter.next('/');
  const char* formatToken = splitter.next('/');
  const char* uidToken = splitter.next('@');
  const char* nameToken = splitter.next('/');
  if (!nameToken) return false;

  if (uid) {
    try {
      *uid = *uidToken == '-' ? static_cast<uint32_t>(plat::parseInt(uidToken, 10))
                              : plat::parseUInt(uidToken, 10);
    } catch (const plat::Exception&) {
      return false;
    }
  }
  if (format) format->set(formatToken);
  if (name) name->set(nameToken);
  return true;
}

bool parseUserUri(const char* uri, const job::Format** format, plat::String* name) {
  if (!uri || !plat::startsWith(uri, userScheme)) return false;
  plat::String fields(uri + sizeof userScheme - 1);
  plat::Splitter splitter(fields.data());
  *format = job::findFormat(splitter.next('/'));
  name->set(splitter.next('/'));
  return *format && !name->isEmpty() && !splitter.rest();
}
