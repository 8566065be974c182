#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "fuzz/MemoryIo.h"
#include "fuzz/fuzz.h"

// The state as it is documented, put together anew.
static std::string stateOf(fuzz::MemoryIo& io) {
  std::string bytes(1, static_cast<char>(io.getFlags().size()));
  for (const plat::String& flag : io.getFlags()) {
    const std::string text = std::string(flag.orEmpty()).substr(0, 255);
    bytes += static_cast<char>(text.size()) + text;
  }
  const int unread = io.input().nUnread();
  for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(unread >> shift);
  return bytes.append(reinterpret_cast<const char*>(io.input().getPtr()), unread);
}

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
  PLAT_ASSERT(fakes::bytesOf(written) == stateOf(first));
  for (const plat::String& flag : first.getFlags()) {
    // A longer one, as the repair of bad UTF-8 makes it, is cut.
    PLAT_ASSERT(flag.length() > 255 || second.getFlags().contains(flag.get()));
  }
  PLAT_ASSERT(second.input().nUnread() == first.input().nUnread());
  PLAT_ASSERT(memcmp(second.input().getPtr(), first.input().getPtr(),
                     static_cast<size_t>(first.input().nUnread())) == 0);
  return 0;
}
