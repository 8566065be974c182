#include <vector>

#include "base/rdr/Exceptions.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/OutStreamV4.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

namespace {

// The complete messages, by the format.
std::vector<std::string> messagesIn(const std::string& wire) {
  std::vector<std::string> messages;
  std::string message;
  for (size_t at = 0; wire.size() - at >= 2;) {
    const unsigned head = static_cast<uint8_t>(wire[at]) << 8 | static_cast<uint8_t>(wire[at + 1]);
    const size_t length = head & 0x7fff;
    at += 2;
    if (wire.size() - at < length) break;
    message += wire.substr(at, length);
    at += length;
    if (head & 0x8000) {
      messages.push_back(message);
      message.clear();
    }
  }
  return messages;
}

// Each knows which frame is the first of its message.
class CheckedOut : public rdr::OutStreamV4 {
 public:
  using OutStreamV4::OutStreamV4;
  bool atFirst = true;

 protected:
  void writeHeader(int length, bool last, bool first) override {
    PLAT_ASSERT(first == atFirst);
    PLAT_ASSERT((last || length > 0) && length <= largestFrame);
    atFirst = last;
    OutStreamV4::writeHeader(length, last, first);
  }
};

class CheckedIn : public rdr::InStreamV4 {
 public:
  using InStreamV4::InStreamV4;

 protected:
  void readHeader(int* size, bool* last, bool first) override {
    PLAT_ASSERT(first == !inMsg());
    InStreamV4::readHeader(size, last, first);
  }
};

struct Collected : rdr::FramedInStream::Sink {
  std::string bytes;
  void write(const uint8_t* data, int length) override {
    bytes += fuzz::bytes(data, static_cast<size_t>(length));
  }
};

// Writes them in pieces that the input chooses.
void checkWriter(const std::vector<std::string>& messages, fuzz::Input& choices) {
  rdr::MemOutStream wire(messages.back().size() > 1000 ? 50000 : choices.number(0, 40));
  CheckedOut out(&wire);
  int written = 0;
  for (const std::string& message : messages) {
    out.startMsg();
    for (size_t at = 0; at < message.size();) {
      const size_t most = message.size() > 1000 ? message.size() : 50;
      const std::string piece =
          message.substr(at, most > 50 ? most : choices.number<size_t>(1, 50));
      const int way = choices.number(0, 3);
      if (way == 1 && piece.size() >= 4) {
        uint32_t item;
        memcpy(&item, piece.data(), 4);
        out.writeU32(be32toh(item));
        at += 4;
      } else {
        fakes::writeText(out, piece);
        at += piece.size();
      }
      PLAT_ASSERT(out.length() == written + static_cast<int>(at));
      if (way == 2) out.flush();
      if (way == 3) {
        const int items = out.overrun(3, 7);
        PLAT_ASSERT(items >= 1 && items <= 7 && out.nFree() >= 3 * items);
      }
    }
    out.endMsg(false);
    written += static_cast<int>(message.size());
    PLAT_ASSERT(out.length() == written);
  }
  PLAT_ASSERT(messagesIn(fakes::bytesOf(wire)) == messages);
}

// Reads the messages in the ways that the input chooses, and holds what comes against
// what should.
class Reader {
 public:
  Reader(const std::string& wire, fuzz::Input& choices)
      : input(choices),
        expected(messagesIn(wire)),
        arrivals(choices.number<size_t>(0, 9)),
        source(wire, choices.number(1, 20),
               arrivals > 0 ? static_cast<int>(wire.size()) + 2 : choices.number(2, 40)),
        in(&source) {
    rewindable = arrivals > 0 && choices.flag();
    if (arrivals > 0) {
      source.setNonBlocking(true);
      source.arrived = 0;
    } else {
      source.setRewindable(false);
    }
    in.setRewindable(rewindable);
  }

  void run() {
    const std::string end = fuzz::refusal([&] {
      for (;;) step();
    });
    PLAT_ASSERT(end.starts_with("EndOfStream"));
    PLAT_ASSERT(complete == expected.size());
  }

 private:
  void step() {
    try {
      if (!in.startMsg(arrivals == 0)) throw rdr::BlockException();
      readPiece();
      PLAT_ASSERT(in.pos() == static_cast<int>(before + at));
    } catch (const rdr::BlockException&) {
      PLAT_ASSERT(arrivals > 0);
      at = rewindable ? checkpoint : static_cast<size_t>(in.pos()) - before;
      source.arrived += arrivals;
    } catch (const rdr::EndOfMsg&) {
      PLAT_ASSERT(at + wanted > message().size());
      in.skipMsg();
      endMessage();
    }
  }

  // What the current message should be; the last may be cut off.
  const std::string& message() const {
    static const std::string none;
    return complete < expected.size() ? expected[complete] : none;
  }
  bool isComplete() const { return complete < expected.size(); }

  void took(const uint8_t* bytes, size_t count) {
    if (isComplete()) {
      PLAT_ASSERT(count <= message().size() - at);
      PLAT_ASSERT(message().compare(at, count, reinterpret_cast<const char*>(bytes), count) == 0);
    }
    at += count;
  }

  void endMessage() {
    PLAT_ASSERT(isComplete());
    in.endMsg();
    before += message().size();
    at = checkpoint = 0;
    complete++;
  }

  void readPiece() {
    const int way = input.number(0, 7);
    int count = input.number(1, 12);
    wanted = static_cast<size_t>(count);
    uint8_t buffer[12];
    switch (way) {
      case 7:
        in.readBytes(buffer, count);
        took(buffer, wanted);
        break;
      case 1: {
        wanted = 1;
        const uint8_t* items = in.getItems(1, &count, true);
        took(items, static_cast<size_t>(count));
        break;
      }
      case 2:
        took(in.getBytes(buffer, count), wanted);
        break;
      case 3:
        in.skip(count);
        at += wanted;
        break;
      case 4:
        in.checkpoint();
        checkpoint = at;
        break;
      case 5:
        if (rewindable) {
          in.rewind();
          at = checkpoint;
        }
        break;
      case 6:
        if (arrivals == 0) {
          Collected left;
          in.copyMsg(left);
          took(reinterpret_cast<const uint8_t*>(left.bytes.data()), left.bytes.size());
          PLAT_ASSERT(!isComplete() || at == message().size());
          endMessage();
        }
        break;
      default:
        // Without choices left the message is read to its end.
        if (in.atEnd()) {
          PLAT_ASSERT(!isComplete() || at == message().size());
          endMessage();
        } else if (in.nUnread() > 0) {
          const rdr::InStream::Span span = in.getSpan(in.nUnread());
          took(span.data, static_cast<size_t>(span.length));
        } else {
          wanted = 1;
          buffer[0] = in.readU8();
          took(buffer, 1);
        }
    }
  }

  fuzz::Input& input;
  const std::vector<std::string> expected;
  const size_t arrivals;  // bytes at a time; 0: the source waits
  bool rewindable;        // otherwise goes on where it is, though what a read took is gone
  fakes::ChunkedIn source;
  CheckedIn in;
  size_t complete = 0;    // messages
  size_t before = 0;      // data bytes in them
  size_t at = 0;          // in the current message
  size_t checkpoint = 0;  // in the current message
  size_t wanted = 0;      // by the current read
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string wire = input.bytes(input.left() / 2);
  Reader(wire, input).run();
  std::vector<std::string> messages = messagesIn(wire);
  // Now and then more than a frame can hold.
  messages.push_back(fakes::patternBytes(input.number(0, 99) == 1 ? 32767 : 5));
  checkWriter(messages, input);
  return 0;
}
