#include "base/plat/LogDest.h"
#include "base/plat/LogSrc.h"
#include "fuzz/fuzz.h"

namespace {

struct CountingDest : plat::LogDest {
  using LogDest::LogDest;
  void write(int, const char*, const char*) override { count++; }
  int count = 0;
};

CountingDest file("file"), mem("mem");
constinit plat::LogSrc fdIo("FdIo"), ipc("Ipc");
const plat::LogSrc::Listed fdIoListed(fdIo), ipcListed(ipc);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  plat::LogSrc::initLogging();
  plat::LogSrc::setLogSpec(fuzz::bytes(data, size).c_str());
  for (plat::LogSrc* source : {&fdIo, &ipc}) {
    const int level = source->getLevel();
    PLAT_ASSERT(level >= -1);
    // A source's level is that of its destination that takes most.
    for (int at : {int{plat::logError}, int{plat::logDebug}, level}) {
      const int before = file.count + mem.count;
      source->log(at, "text");
      PLAT_ASSERT((file.count + mem.count > before) == (at <= level && level >= 0));
    }
  }
  plat::LogSrc::setLogSpec(nullptr);
  PLAT_ASSERT(fdIo.getLevel() == -1);
  return 0;
}
