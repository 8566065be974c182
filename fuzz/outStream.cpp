// The output streams, written to in the ways that the input chooses: what arrives is held
// against what was written.
#include "base/rdr/OutStream.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "base/rdr/Exceptions.h"
#include "base/rdr/GatheringOutStream.h"
#include "base/rdr/StringWriter.h"
#include "base/rdr/ZlibOutStream.h"
#include "fuzz/fuzz.h"
#include "tests/support/Inflater.h"
#include "tests/support/streams.h"

namespace {

// Makes room for `window` bytes when asked, which must be for 6 where there are less.
class Windows : public rdr::OutStream {
 public:
  explicit Windows(int newWindow) : window(newWindow), block(200000) {
    ptr = block.data();
    end = ptr + 5;
  }
  int length() const override { return static_cast<int>(ptr - block.data()); }
  int freeSpace() const override { return INT_MAX; }
  bool shutdown() override { return true; }
  int overrun(int itemSize, int) override {
    PLAT_ASSERT(itemSize == 6 && nFree() < 6);
    end = ptr + window;
    return 1;
  }
  std::string bytes() const { return {block.begin(), block.begin() + length()}; }

 private:
  int window;
  std::vector<uint8_t> block;
};

class Writer {
 public:
  explicit Writer(fuzz::Input& choices)
      : input(choices),
        size(choices.number(8, 60)),
        most(choices.number(8, 200)),
        capacity(choices.number(0, 60)),
        limited(choices.number(0, 3) == 0),
        memory(capacity, limited ? most : 0),
        choked(size, most),
        windows(choices.number(6, 40)) {
    choked.window = input.number(1, 70);
    rdr::OutStream* below =
        input.flag() || limited ? static_cast<rdr::OutStream*>(&memory) : &choked;
    out = below;
    filter = limited ? 0 : input.number(0, 3);
    if (filter == 1) {
      auto made = std::make_unique<rdr::GatheringOutStream>(below, size);
      gathering = made.get();
      chain = std::move(made);
    }
    if (filter >= 2) {
      if (input.flag()) below = &windows;
      chain = std::make_unique<rdr::ZlibOutStream>(below, input.flag() ? size : 0,
                                                   input.number(-1, 9), filter == 3);
    }
    if (chain) out = chain.get();
  }

  void run() {
    for (int steps = 0; input.left() > 0 && steps < 200; steps++) step();
    choked.room = INT_MAX;
    out->flush();
    std::string arrived = out->innermost() == &choked    ? choked.delivered
                          : out->innermost() == &windows ? windows.bytes()
                                                         : fakes::bytesOf(memory);
    PLAT_ASSERT(out->pendingBytes() == 0);
    PLAT_ASSERT(out->shutdown() == (out->innermost() == &windows));
    if (filter >= 2 && !arrived.empty()) arrived = fakes::Inflater(filter == 3).take(arrived);
    PLAT_ASSERT(arrived == expected);
  }

 private:
  // What of a text is written whole or, at the limit of a memory stream, not at all.
  bool fits(size_t length) const {
    return !limited || expected.size() + length <= static_cast<size_t>(most);
  }

  std::string bigEndian(uint32_t value, int bytes) const {
    std::string text;
    while (bytes-- > 0) text += static_cast<char>(value >> 8 * bytes);
    return text;
  }

  void step() {
    std::string parts[2];
    const int way = input.number(0, 14);
    const int length = way == 4 || way == 12 ? input.number(0, 300) : input.number(0, 40);
    const std::string text = fakes::letters(static_cast<int>(expected.size()), length);
    const uint32_t value = input.anyNumber<uint16_t>() * 0x10201u;
    std::string refusal;
    switch (way) {
      case 0:
        parts[0] = bigEndian(value, 1);
        refusal = fuzz::refusal([&] {
          value & 1 ? out->writeU8(static_cast<uint8_t>(value))
                    : out->writeS8(static_cast<int8_t>(value));
        });
        break;
      case 1:
        parts[0] = bigEndian(value, 2);
        refusal = fuzz::refusal([&] {
          value & 1 ? out->writeU16(static_cast<uint16_t>(value))
                    : out->writeS16(static_cast<int16_t>(value));
        });
        break;
      case 2:
        parts[0] = bigEndian(value, 4);
        refusal = fuzz::refusal(
            [&] { value & 1 ? out->writeU32(value) : out->writeS32(static_cast<int32_t>(value)); });
        break;
      case 3: {
        const int longest = input.number(-1, 300);
        parts[1] = text.substr(0, static_cast<size_t>(longest));
        parts[0] = bigEndian(static_cast<uint32_t>(parts[1].size()), 4);
        refusal = fuzz::refusal([&] { out->writeString(text.c_str(), longest); });
        break;
      }
      case 4:
        parts[1] = text.substr(0, 255);
        parts[0] = bigEndian(static_cast<uint32_t>(parts[1].size()), 1);
        refusal = fuzz::refusal([&] { out->writeStringU8(text.c_str()); });
        break;
      case 5:
        out->flush();
        break;
      case 6:
        makeRoom();
        return;
      case 13:
        if (out == &choked) choked.room = input.number(0, 50);
        return;
      case 14:
        if (out == &memory) change(value);
        if (gathering) {
          const int kept = out->innermost()->length();
          if (value & 1) {
            const int piece = static_cast<int>(value >> 1 & 63);
            gathering->passOn(piece);
            PLAT_ASSERT(out->innermost()->length() ==
                        std::min(kept + piece, static_cast<int>(expected.size())));
            check();
            return;
          }
          lost += static_cast<int>(expected.size()) - kept;
          expected.resize(static_cast<size_t>(kept));
          gathering->drop();
          check();
        }
        return;
      case 7:
      case 8:
      case 9:
        if (out == &memory && !limited) {
          writeWithNul(text, value);
          return;
        }
        [[fallthrough]];
      default:
        parts[0] = text;
        refusal = fuzz::refusal([&] { fakes::writeText(*out, text); });
        break;
    }
    if (refusal == ": BufferedOutStream overrun: unable to write") {
      PLAT_ASSERT(out == &choked && choked.room == 0);
      const std::string all = expected + parts[0] + parts[1];
      expected = all.substr(0, static_cast<size_t>(out->length()));
      PLAT_ASSERT(expected.size() < all.size());
      PLAT_ASSERT(choked.freeSpace() < 4);
      check();
      return;
    }
    std::string full;
    for (const std::string& part : parts) {
      if (!part.empty() && !fits(part.size())) {
        full = "OutStreamFull: OutStream full";
        break;
      }
      expected += part;
    }
    PLAT_ASSERT(refusal == full);
    check();
  }

  // What only a memory stream can.
  void change(uint32_t value) {
    switch (value % 5) {
      case 0:
        expected.resize(expected.size() * (value >> 8 & 3) / 4);
        memory.truncate(static_cast<int>(expected.size()));
        break;
      case 1:
        most = static_cast<int>(value >> 8 & 127) - 1;
        limited = most > 0;
        memory.setMaxSize(most);
        break;
      case 2:
        memory.nulTerminate();
        if (expected.empty() || expected.back() != '\0') expected += '\0';
        break;
      case 3:
        PLAT_ASSERT(fuzz::text(expected) == memory.takeText().get());
        expected.clear();
        break;
      default: {
        const auto size_ = static_cast<size_t>(memory.length());
        uint8_t* taken = memory.takeBuffer();
        PLAT_ASSERT(fuzz::bytes(taken, size_) == expected);
        free(taken);
        expected.clear();
        break;
      }
    }
    check();
  }

  void makeRoom() {
    const int item = input.number(1, 70), items = input.number(1, 5);
    int got = 0;
    // Memory would grow to twice its size each time, up to all that there is.
    if (out == &memory && memory.nFree() >= item) return;
    const std::string refusal = fuzz::refusal([&] { got = out->overrun(item, items); });
    if (refusal == ": BufferedOutStream overrun: unable to write") {
      PLAT_ASSERT(out == &choked && choked.room == 0 && choked.freeSpace() < item);
      return;
    }
    if (!refusal.empty()) {
      if (limited) {
        PLAT_ASSERT(!fits(static_cast<size_t>(item)));
      } else {
        PLAT_ASSERT(item > (chain ? size : chokedMost));
        const std::string exceeded = filter == 1   ? ": GatheringOutStream overrun: max itemSize"
                                     : filter >= 2 ? ": ZlibOutStream overrun: max itemSize"
                                                   : ": BufferedOutStream overrun: buffer size";
        PLAT_ASSERT(refusal == exceeded + " exceeded");
      }
      return;
    }
    PLAT_ASSERT(got >= 1 && got <= items && out->nFree() >= got * item);
    PLAT_ASSERT(got == items || out->nFree() < (got + 1) * item);
    check();
  }

  void writeWithNul(const std::string& text, uint32_t value) {
    rdr::StringWriter writer(memory);
    const int count = static_cast<int>(value % 5) - 1;
    std::string added;
    switch (value >> 8 & 3) {
      case 0: {
        const int longest = static_cast<int>(value >> 16 & 255) - 1;
        added = text.substr(0, static_cast<size_t>(longest));
        writer.append(text.c_str(), longest);
        break;
      }
      case 1:
        added = "<" + text + ">";
        writer.appendf("<%s>", text.c_str());
        break;
      case 2:
        for (int i = 0; i < count; i++) added += static_cast<char>(value >> 16 & 127);
        writer.appendChars(value >> 16 & 127, count);
        break;
      default:
        for (int i = 0; i < count; i++) added += "\xe2\x82\xac";
        writer.appendChars(0x20ac, count);
        break;
    }
    expected += added;
    PLAT_ASSERT(count < 1 && (value >> 9 & 1) ? true : *memory.getPtr() == 0);
    check();
  }

  void check() {
    PLAT_ASSERT(out->length() == lost + static_cast<int>(expected.size()));
    if (out == &memory) {
      PLAT_ASSERT(fakes::bytesOf(memory) == expected);
      PLAT_ASSERT(out->freeSpace() == (limited ? std::max(most - out->length(), 0) : INT_MAX));
    }
    if (chain)
      PLAT_ASSERT(out->freeSpace() == out->innermost()->freeSpace() / (filter == 1 ? 1 : 2));
    if (gathering) {
      PLAT_ASSERT(gathering->isEmpty() ==
                  (out->innermost()->length() == static_cast<int>(expected.size())));
    }
    if (limited) PLAT_ASSERT(out->nFree() <= out->freeSpace());
    PLAT_ASSERT(choked.freeSpace() + choked.pendingBytes() == chokedMost);
    PLAT_ASSERT(static_cast<int>(choked.delivered.size()) + choked.pendingBytes() ==
                choked.length());
    if (out == &choked) PLAT_ASSERT(expected.starts_with(choked.delivered));
  }

  fuzz::Input& input;
  const int size;
  int most;
  const int chokedMost = std::max(size, most), capacity;
  bool limited;  // the memory stream, by most
  rdr::MemOutStream memory;
  fakes::ChokedOut choked;
  Windows windows;
  std::unique_ptr<rdr::OutStream> chain;
  rdr::OutStream* out;
  int filter = 0;
  rdr::GatheringOutStream* gathering = nullptr;
  int lost = 0;  // bytes that were dropped
  std::string expected;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Writer(input).run();
  return 0;
}
