#include "base/plat/path.h"

#include "base/plat/Splitter.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = fuzz::bytes(data, size);
  const char* path = bytes.c_str();
  bool absolute, changed;
  const plat::String normal = plat::normalise(path, &absolute, &changed);
  PLAT_ASSERT(absolute == plat::isAbsolute(normal.get()));
  PLAT_ASSERT(changed == !(normal == path));
  PLAT_ASSERT(plat::normalise(normal.get()) == normal);

  // ".." leads out of a relative path at its start only.
  plat::String copy(normal.get());
  plat::Splitter components(copy.data());
  bool mayLeadOut = !absolute;
  while (const char* component = components.next('/', true)) {
    const bool leadsOut = !plat::strCompare(component, "..");
    PLAT_ASSERT(!leadsOut || mayLeadOut);
    mayLeadOut = leadsOut;
  }

  const plat::String base = plat::baseName(path);
  PLAT_ASSERT(base == "/" || !plat::contains(base.get(), nullptr, '/'));
  const plat::String joined = plat::join(plat::dirName(path).get(), base.get());
  PLAT_ASSERT(plat::normalise(joined.get()) == normal);
  return 0;
}
