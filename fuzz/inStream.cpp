#include "base/rdr/InStream.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "base/plat/utf8.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

namespace {

// A text may hold NULs; each part between them is text of its own.
std::string repaired(const std::string& text) {
  std::string all;
  for (size_t at = 0; at <= text.size();) {
    const std::string part = fuzz::text(text.substr(at));
    const char* begin = part.c_str();
    all += plat::isValidUtf8(begin) ? part : plat::fixUtf8(begin, begin + part.size()).get();
    at += part.size() + 1;
    if (at <= text.size()) all += '\0';
  }
  return all;
}

enum Way {
  u8,
  s8,
  u16,
  s16,
  u32,
  s32,
  findNul,
  bytesOrCopy,
  itemsOrCopy,
  items,
  skip,
  text,
  cText,
  text8,
  cText8,
  line,
  bounded,
  reposition,
  checkpoint,
  rewindAgain,
  block,
  ways
};

struct Read {
  Way way;
  int size, count, maxLength, position;
  uint32_t range;
  bool validate;
};

// Does it, and says what came.
std::string perform(rdr::InStream& in, Read& read) {
  char buffer[32] = {};
  const auto taken = [&](const void* data, int length) {
    return std::string(static_cast<const char*>(data), static_cast<size_t>(length));
  };
  switch (read.way) {
    case u8:
      return std::to_string(in.readU8());
    case s8:
      return std::to_string(in.readS8());
    case u16:
      return std::to_string(in.readU16());
    case s16:
      return std::to_string(in.readS16());
    case u32:
      return std::to_string(in.readU32());
    case s32:
      return std::to_string(in.readS32());
    case findNul: {
      const int nul = in.readBytesFindNul(buffer, read.size);
      return taken(buffer, std::max(read.size, 0)) + std::to_string(nul);
    }
    case bytesOrCopy:
      return taken(in.getBytes(buffer, std::max(read.size, 0)), std::max(read.size, 0));
    case itemsOrCopy:
    case items: {
      const int wanted = read.count;
      const uint8_t* data = read.way == items ? in.getItems(read.size, &read.count, false)
                                              : in.getItemsOrCopy(buffer, read.size, &read.count);
      if (!data) throw rdr::BlockException();
      PLAT_ASSERT(read.count >= 1 && read.count <= wanted);
      return taken(data, read.size * read.count);
    }
    case skip:
      in.skip(read.size);
      return "";
    case text:
      return in.readStdString(read.maxLength, read.validate);
    case cText:
      return in.readString(read.maxLength, read.validate).get();
    case text8:
      return in.readStdStringU8(read.validate);
    case cText8:
      return in.readStringU8(read.validate).get();
    case line: {
      std::string got = "old";
      bool hadNul = true;
      const bool valid = in.readLine(got, read.maxLength, &hadNul, read.validate);
      return got + (hadNul ? "nul" : "") + (valid ? "" : "repaired");
    }
    case bounded:
      return std::to_string(in.readBoundedU32(read.range));
    case reposition:
      in.reposition(read.position);
      return "";
    default:
      return "";
  }
}

// The same by the bytes alone: what should come, or the name of what should be thrown.
struct Expected {
  Expected(const std::string& from, const Read& read) : left(from) {
    const auto size = static_cast<size_t>(std::max(read.size, 0));
    switch (read.way) {
      case u8:
        result = std::to_string(static_cast<uint8_t>(number(1)));
        break;
      case s8:
        result = std::to_string(static_cast<int8_t>(number(1)));
        break;
      case u16:
        result = std::to_string(static_cast<uint16_t>(number(2)));
        break;
      case s16:
        result = std::to_string(static_cast<int16_t>(number(2)));
        break;
      case u32:
        result = std::to_string(number(4));
        break;
      case s32:
        result = std::to_string(static_cast<int32_t>(number(4)));
        break;
      case findNul: {
        result = take(size);
        const size_t nul = result.find('\0');
        result += nul == result.npos ? "-1" : std::to_string(nul);
        break;
      }
      case bytesOrCopy:
        result = take(size);
        break;
      case itemsOrCopy:
      case items:
        result = take(size * static_cast<size_t>(read.count));
        break;
      case skip:
      case reposition:
        take(size);
        break;
      case text:
      case cText:
      case text8:
      case cText8: {
        const bool wide = read.way == text || read.way == cText;
        const uint32_t length = number(wide ? 4 : 1);
        if (failure.empty() && wide && length > static_cast<uint32_t>(read.maxLength)) {
          failure = "StringTooLongException";
          break;
        }
        result = take(length);
        if (read.validate) result = repaired(result);
        if (read.way == cText || read.way == cText8) result = fuzz::text(result);
        break;
      }
      case line:
        readLine(read);
        break;
      case bounded: {
        // As many values as make every remainder equally likely.
        const uint64_t fair = read.range ? (uint64_t{1} << 32) % read.range : 0;
        uint32_t value = number(4);
        for (int i = 1; i < 9 && value < fair && failure.empty(); i++) value = number(4);
        result = std::to_string(read.range ? value % read.range : value);
        break;
      }
      default:
        break;
    }
    if (!failure.empty()) result.clear();
  }

  std::string take(size_t size) {
    if (left.size() < size) failure = "EndOfStream";
    const std::string taken = left.substr(0, size);
    left.erase(0, size);
    return taken;
  }
  uint32_t number(size_t size) {
    uint32_t value = 0;
    for (const char byte : take(size)) value = value << 8 | static_cast<uint8_t>(byte);
    return value;
  }
  void readLine(const Read& read) {
    const auto most = static_cast<size_t>(read.maxLength ? read.maxLength : 0x40000);
    while (result.size() <= most) {
      if (left.empty()) {
        if (result.empty()) failure = "EndOfStream";
        break;
      }
      const std::string byte = take(1);
      if (byte == "\n") break;
      if (byte != "\r") result += byte;
    }
    if (result.size() > most) failure = "StringTooLongException";
    const std::string valid = read.validate ? repaired(result) : result;
    const bool same = valid == result;
    result = valid + (result.find('\0') != result.npos ? "nul" : "") + (same ? "" : "repaired");
  }

  std::string left;  // behind it
  std::string result, failure;
};

std::string nameOf(const std::string& refusal) {
  return refusal.substr(0, refusal.find(':'));
}

bool isAsserted(const std::string& text, const std::function<void()>& misuse) {
  return fakes::thrownBy(misuse).find(": Assertion '" + text + "' failed") != text.npos;
}

void checkMisuse(rdr::InStream& in) {
  int none = 0;
  PLAT_ASSERT(isAsserted("*nItems > 0", [&] { in.getItems(1, &none, true); }));
  PLAT_ASSERT(isAsserted("nUnread() >= n", [&] { in.getSpan(in.nUnread() + 1); }));
  PLAT_ASSERT(isAsserted("n >= 0", [&] { in.getSpan(-1); }));
  PLAT_ASSERT(isAsserted("len >= 0", [&] { in.getBytes(nullptr, -1); }));
  PLAT_ASSERT(isAsserted("p >= ptr && p <= end", [&] { in.setPtr(in.getEnd() + 1); }));
  PLAT_ASSERT(isAsserted("p >= ptr && p <= end", [&] { in.setPtr(in.getPtr() - 1); }));
  in.setPtr(in.getEnd());
  PLAT_ASSERT(in.nUnread() == 0);
}

// A stream with a buffer of 8 bytes, of which some are taken, is given a block.
void checkBlock(fuzz::Input& input) {
  const int buffered = input.number(1, 8), taken = input.number(0, buffered);
  const bool rewindable = input.flag();
  const int room = 8 - buffered + (rewindable ? 0 : taken);
  const int length = input.number(0, 10), missing = input.number(0, 2) / 2;
  fakes::ChunkedIn in(fakes::letters(0, buffered), 8, 8);
  in.overrun(true, 1);
  in.skip(taken);
  in.setRewindable(rewindable);
  std::string block = std::string("\0\0\0", 3) + static_cast<char>(length);
  block += fakes::letters(buffered, length);
  block.resize(block.size() - static_cast<size_t>(missing));
  rdr::MemInStream source(block.data(), static_cast<int>(block.size()));
  const std::string refusal = fuzz::refusal([&] { in.readFrom(source); });
  const bool fits = length <= room && missing == 0;
  PLAT_ASSERT(refusal.empty() == fits);
  PLAT_ASSERT((refusal == ": Too much data for InStream buffer") == (length > room));
  const int left = buffered - taken + (fits ? length : 0);
  PLAT_ASSERT(in.nUnread() == left);
  PLAT_ASSERT(fakes::readText(in, static_cast<size_t>(left)) == fakes::letters(taken, left));
}

// Reads until the stream throws.
void check(rdr::InStream& in, fakes::ChunkedIn* chunked, const std::string& bytes, int bufSize,
           size_t arrivals, fuzz::Input& input) {
  size_t at = 0, kept = 0;
  for (std::string failure; failure.empty();) {
    Read read{};
    read.way = input.number(u8, block);
    read.size = input.number(-1, 18);
    read.count = input.number(1, 4);
    read.validate = input.flag();
    if (read.way == text || read.way == cText || read.way == line) {
      read.maxLength = input.number(0, 300);
    }
    if (read.way == bounded) read.range = input.anyNumber<uint32_t>();
    if (read.way == itemsOrCopy || read.way == items) read.size = std::max(read.size % 6, 1);
    if (read.way == items) read.size = std::min(read.size, bufSize);
    if (read.way == reposition && !in.isRewindable()) read.way = skip;
    if (read.way == reposition) {
      at = kept;
      read.position = static_cast<int>(kept) + read.size;
      if (read.size < 0) {
        PLAT_ASSERT(fuzz::refusal([&] { in.reposition(read.position); }) ==
                    ": Can't reposition before checkpoint");
        in.rewind();
        continue;
      }
    }

    if (read.way == checkpoint) {
      PLAT_ASSERT(in.checkpoint() == static_cast<int>(at));
      kept = at;
    } else if (read.way == rewindAgain) {
      const std::string refusal = fuzz::refusal([&] { in.rewind(); });
      PLAT_ASSERT(refusal ==
                  (in.isRewindable() ? "" : ": Attempt to rewind a non-rewindable stream"));
      if (in.isRewindable()) at = kept;
    } else if (read.way == block) {
      rdr::MemOutStream copy;
      in.writeTo(copy);
      const std::string rest = fakes::bytesOf(copy);
      PLAT_ASSERT(Expected(rest, {u32, 0, 0, 0, 0, 0, false}).result ==
                  std::to_string(rest.size() - 4));
      PLAT_ASSERT(static_cast<int>(rest.size()) == in.nUnread() + 4);
      PLAT_ASSERT(bytes.compare(at, rest.size() - 4, rest, 4) == 0);
    } else {
      bool blocked = false;
      std::string result;
      failure = nameOf(fuzz::refusal([&] {
        try {
          result = perform(in, read);
        } catch (const rdr::BlockException&) {
          blocked = true;
        }
      }));
      if (blocked) {
        PLAT_ASSERT(arrivals > 0);
        at = kept;
        chunked->arrived += arrivals;
      } else {
        const Expected expected(bytes.substr(at), read);
        PLAT_ASSERT(failure == expected.failure);
        PLAT_ASSERT(!failure.empty() || result == expected.result);
        at = bytes.size() - expected.left.size();
      }
    }
    PLAT_ASSERT(!chunked || !in.atEnd());
    PLAT_ASSERT(failure == "EndOfStream" || in.pos() == static_cast<int>(at));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  fuzz::Input again = input;
  checkBlock(again);
  const std::string bytes = input.bytes(input.left() / 2);
  const auto length = static_cast<int>(bytes.size());
  const bool rewindable = input.flag();
  const size_t arrivals = rewindable ? input.number<size_t>(0, 9) : 0;
  const int window = input.number(0, 20);
  if (window == 0) {
    rdr::MemInStream in(bytes.data(), length);
    check(in, nullptr, bytes, INT_MAX, 0, input);
    in.skip(in.nUnread());
    PLAT_ASSERT(in.atEnd() && in.pos() == length);
    PLAT_ASSERT(fuzz::refusal([&] { in.readU8(); }) ==
                "EndOfStream: End of in-memory input stream");
    return 0;
  }
  const int bufSize = rewindable ? length + 1 : input.number(1, 20);
  fakes::ChunkedIn in(bytes, window, bufSize);
  in.setRewindable(rewindable);
  if (arrivals > 0) {
    in.setNonBlocking(true);
    in.arrived = 0;
  }
  check(in, &in, bytes, bufSize, arrivals, input);
  checkMisuse(in);
  return 0;
}
