#include "apps/cups-qolt/deviceUri.h"

#include <cstring>

#include "base/plat/DString.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  plat::String format, name;
  uint32_t uid;
  if (!parseDeviceUri(fuzz::bytes(data, size).c_str(), &format, &uid, &name)) return 0;
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
