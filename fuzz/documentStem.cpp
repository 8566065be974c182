// The title of a job on its way into a file name.
#include "apps/qolt-receiver/OutputFolder.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const size_t index = input.anyNumber<size_t>();
  const std::string title = fuzz::text(input.rest());
  const std::string stem = receiver::documentStem(title, "pdf", index);
  const std::string end = "-" + std::to_string(index);
  PLAT_ASSERT(stem.size() > end.size() && stem.size() <= 100 + end.size());
  PLAT_ASSERT(stem.ends_with(end));
  PLAT_ASSERT(stem[0] != '.' && stem[0] != '-');
  PLAT_ASSERT(plat::isValidUtf8(stem.c_str()));
  for (const char c : stem) {
    PLAT_ASSERT(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && c != '/');
  }
  return 0;
}
