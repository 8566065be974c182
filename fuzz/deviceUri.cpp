#include "apps/common/deviceUri.h"

#include <cstring>

#include "base/plat/DString.h"
#include "fuzz/fuzz.h"

static void checkUserUri(const std::string& text) {
  const job::Format* format;
  plat::String name;
  if (!parseUserUri(text.c_str(), &format, &name)) return;
  // There is one way to write it, and the other backend understands what is made of it.
  PLAT_ASSERT(text == std::string("qolt-user:/") + format->name + "/" + name.get());
  const std::string device = std::string("qolt:/") + format->name + "/1000@" + name.get();
  plat::String formatName, sameName;
  uint32_t uid;
  PLAT_ASSERT(parseDeviceUri(device.c_str(), &formatName, &uid, &sameName));
  PLAT_ASSERT(formatName == format->name && uid == 1000 && sameName == name);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::text(fuzz::bytes(data, size));
  checkUserUri(text);
  checkUserUri("qolt-user:/ZRLE/" + text);

  plat::String format, name;
  uint32_t uid;
  if (!parseDeviceUri(text.c_str(), &format, &uid, &name)) return 0;
  PLAT_ASSERT(!strchr(format.get(), '/'));
  PLAT_ASSERT(!strchr(name.get(), '/'));

  plat::DString uri;
  uri.appendFormat("qolt:/%s/%u@%s", format.get(), uid, name.get());
  plat::String formatAgain, nameAgain;
  uint32_t uidAgain;
  PLAT_ASSERT(parseDeviceUri(uri.get(), &formatAgain, &uidAgain, &nameAgain));
  PLAT_ASSERT(formatAgain == format && uidAgain == uid && nameAgain == name);
  return 0;
}
