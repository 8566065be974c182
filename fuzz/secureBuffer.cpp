// The texts and buffers that wipe what they held, against those of the standard library.
#include <cstring>
#include <vector>

#include "base/plat/MBuf.h"
#include "base/plat/SecureString.h"
#include "fuzz/fuzz.h"

static int sign(int order) {
  return (order > 0) - (order < 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string a = input.text(40), b = input.flag() ? a : input.text(40);
  std::string near = a;
  const size_t at = input.number<size_t>(0, a.size());
  if (at < near.size()) near[at] ^= static_cast<char>(1 << input.number(0, 7));
  for (const std::string& other : {b, near}) {
    const size_t length = std::min(a.size(), other.size());
    PLAT_ASSERT(plat::secureCompare(a.data(), other.data(), length) ==
                !memcmp(a.data(), other.data(), length));
    const int order = plat::secureStrCmp(a.c_str(), other.c_str());
    PLAT_ASSERT(sign(order) == sign(strcmp(a.c_str(), other.c_str())));
  }
  near = a;
  const size_t end = input.number(at, a.size());
  plat::secureWipe(near.data() + at, end - at);
  PLAT_ASSERT(near == a.substr(0, at) + std::string(end - at, '\0') + a.substr(end));

  const int length = input.number(-1, 45);
  plat::SecureString text(a.c_str());
  text.assign(text.get(), length);
  PLAT_ASSERT(text.get() ==
              fuzz::text(a).substr(0, length < 0 ? a.npos : static_cast<size_t>(length)));
  plat::SecureString other(b.c_str());
  other = std::move(text);
  PLAT_ASSERT(!text.get() && other.get());

  std::vector<short> model;
  plat::MBuf<short> buffer;
  while (input.left() > 0) {
    const int newSize = input.number(0, 20);
    model.resize(static_cast<size_t>(newSize));
    buffer.resize(newSize);
    if (newSize > 0) model.back() = buffer.data()[newSize - 1] = input.anyNumber<short>();
    if (input.flag()) buffer = plat::MBuf<short>(buffer);
    plat::MBuf<short>& same = buffer;
    if (input.flag()) buffer = std::move(same);
    PLAT_ASSERT(buffer.size() == newSize && !buffer.data() == model.empty());
    PLAT_ASSERT(buffer == plat::MBuf<short>(model.data(), newSize));
    if (newSize > 0) model[0]++;
    PLAT_ASSERT((buffer == plat::MBuf<short>(model.data(), newSize)) == (newSize == 0));
    if (newSize > 0) model[0]--;
    PLAT_ASSERT(!(buffer == plat::MBuf<short>(newSize + 1)));
  }
  return 0;
}
