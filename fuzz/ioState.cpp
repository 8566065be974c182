#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "fuzz/MemoryIo.h"
#include "fuzz/fuzz.h"

// What one connection takes in another can take over from it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rdr::MemInStream state(data, static_cast<int>(size));
  fuzz::MemoryIo first("", 300), second("", 300);
  if (fuzz::isRefused([&] { first.readState(state); })) return 0;
  rdr::MemOutStream written;
  first.writeState(written);
  rdr::MemInStream again(written.data(), written.length());
  second.readState(again);
  PLAT_ASSERT(again.atEnd());
  for (const plat::String& flag : first.getFlags()) {
    // A longer one, as the repair of bad UTF-8 makes it, is cut.
    PLAT_ASSERT(flag.length() > 255 || second.getFlags().contains(flag.get()));
  }
  PLAT_ASSERT(second.input().nUnread() == first.input().nUnread());
  PLAT_ASSERT(memcmp(second.input().getPtr(), first.input().getPtr(),
                     static_cast<size_t>(first.input().nUnread())) == 0);
  return 0;
}
