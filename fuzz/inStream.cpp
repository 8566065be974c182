#include "base/rdr/InStream.h"

#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

namespace {

// A text may hold NULs; each part between them is text of its own.
bool isValid(const std::string& text) {
  for (size_t at = 0; at <= text.size(); at += fuzz::text(text.substr(at)).size() + 1) {
    if (!plat::isValidUtf8(text.c_str() + at)) return false;
  }
  return true;
}

std::string readOne(rdr::InStream& in, int way, int maxLength, bool validate) {
  std::string text;
  bool hadNul = false;
  switch (way) {
    case 0:
      text = in.readStdString(maxLength, validate);
      PLAT_ASSERT(validate || text.size() <= static_cast<size_t>(maxLength));
      break;
    case 1:
      text = in.readStdStringU8(validate);
      break;
    case 2:
      text = in.readString(maxLength, validate).get();
      break;
    case 3:
      in.readLine(text, maxLength, &hadNul, validate);
      PLAT_ASSERT(hadNul == (text.find('\0') != text.npos));
      PLAT_ASSERT(text.find('\n') == text.npos && text.find('\r') == text.npos);
      break;
    default: {
      const uint32_t range = in.readU16();
      const uint32_t value = in.readBoundedU32(range);
      PLAT_ASSERT(range == 0 || value < range);
      return std::to_string(value);
    }
  }
  PLAT_ASSERT(!validate || isValid(text));
  return text;
}

// Everything that is read, and what ended it. `wait` is called where the source has run dry.
template <class Wait>
std::string readAll(rdr::InStream& in, const std::string& ways, int maxLength, Wait wait) {
  std::string all;
  size_t next = 0;
  const std::string end = fuzz::refusal([&] {
    while (next < ways.size()) {
      const auto way = static_cast<uint8_t>(ways[next]);
      try {
        all += readOne(in, way >> 1 & 7, maxLength, way & 1) + "|";
        in.checkpoint();
        next++;
      } catch (const rdr::BlockException&) {
        wait();
      }
    }
  });
  return all + end;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int maxLength = input.number(0, 300);
  const size_t arrivals = input.number<size_t>(1, 20);
  const std::string ways = input.bytes(input.number(1, 10));
  const std::string bytes = input.rest();

  rdr::MemInStream whole(bytes.data(), static_cast<int>(bytes.size()));
  std::string first = readAll(whole, ways, maxLength, [] { PLAT_ASSERT(!"waits"); });
  fakes::ChunkedIn pieces(bytes, INT_MAX, static_cast<int>(bytes.size()) + 1);
  pieces.setNonBlocking(true);
  pieces.arrived = 0;
  std::string second = readAll(pieces, ways, maxLength, [&] { pieces.arrived += arrivals; });
  // The sources name themselves.
  for (std::string* text : {&first, &second}) {
    const size_t end = text->find("EndOfStream: ");
    if (end != text->npos) text->resize(end);
  }
  PLAT_ASSERT(first == second);
  return 0;
}
