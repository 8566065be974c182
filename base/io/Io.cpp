#include "base/io/Io.h"

#include "base/plat/Assertion.h"
#include "base/rdr/BufferedInStream.h"
#include "base/rdr/OutStream.h"

namespace io {

static rdr::BufferedInStream& bufferedInput(rdr::InStream* stream) {
  auto* buffered = dynamic_cast<rdr::BufferedInStream*>(stream);
  PLAT_ASSERT(buffered);
  return *buffered;
}

Io::Io() = default;
Io::~Io() = default;

void Io::markReadable() {
  plat::assertionFailed(
      plat::AssertionFail("Io::markReadable() not implemented for this Io", __FILE__, __LINE__));
}

void Io::writeState(rdr::OutStream& destination) {
  PLAT_ASSERT(flags.size() < 256);
  destination.writeU8(static_cast<uint8_t>(flags.size()));
  for (const plat::String& flag : flags) destination.writeStringU8(flag.orEmpty());
  bufferedInput(in()).writeTo(destination);
}

void Io::readState(rdr::InStream& source) {
  int count = source.readU8();
  for (int i = 0; i < count; i++) flags.insert(source.readStringU8(true).get());
  bufferedInput(in()).readFrom(source);
}

}  // namespace io
