#include "base/io/MsgIpc.h"

#include <vector>

#include "fuzz/MemoryIo.h"
#include "fuzz/fuzz.h"

namespace {

struct Options {
  bool answersBadNames, takesTurns, dropsOnNonLetterName, readsUnknownNames;
};

// Keeps what it reads: a string, or with the name "c" the body as it is, piece by piece.
struct Reader : io::MsgIpc::Reader, io::MsgIpc::Filter {
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc*) override {
    if (plat::strCompare(name, "c") == 0) {
      while (!in.atEnd()) {
        int count = INT_MAX;
        const uint8_t* items = in.getItems(1, &count, true);
        pieces.append(reinterpret_cast<const char*>(items), static_cast<size_t>(count));
        in.checkpoint();
      }
    } else {
      pieces = in.readStdString(200);
    }
    read.push_back(std::string(name) + ":" + pieces);
    pieces.clear();
    return true;
  }
  bool isAllowed(io::MsgIpc*, const char* name, bool) override {
    return plat::strCompare(name, "refused") != 0;
  }
  void ipcFailed(io::MsgIpc*, const plat::Exception& e) override { read.push_back(e.message); }

  std::string pieces;
  std::vector<std::string> read;
};

void prepare(io::MsgIpc& ipc, Reader& reader, const Options& options) {
  ipc.registerReader("t", &reader);
  ipc.registerReader("c", &reader);
  ipc.registerReader("refused", &reader);
  if (options.readsUnknownNames) ipc.registerReader(nullptr, &reader);
  ipc.setAnswerBadNames(options.answersBadNames);
  ipc.setTakeTurns(options.takesTurns);
  ipc.setDropOnNonLetterName(options.dropsOnNonLetterName);
}

// Whatever ends the reading by events; the last two entries are what was sent and not
// read.
std::vector<std::string> readByEvents(const std::string& bytes, const Options& options,
                                      size_t arrivals) {
  Reader reader;
  io::MsgIpc ipc(&reader, "fuzz", false, false);
  prepare(ipc, reader, options);
  auto connection = std::make_unique<fuzz::MemoryIo>(bytes, 300);
  connection->input().arrived = 0;
  ipc.acceptIo(connection.get());
  while (connection->readable()) {
    PLAT_ASSERT(connection->input().arrived <= bytes.size() + arrivals);
    connection->input().arrived += arrivals;
  }
  PLAT_ASSERT(!ipc.isConnected());
  reader.read.push_back(connection->sent());
  return reader.read;
}

// Until the input ends, or a bad message could not be skipped. Every message takes its
// header's two bytes at least.
void readBlocking(const std::string& bytes, const Options& options) {
  Reader reader;
  io::MsgIpc ipc(&reader, "fuzz", true, false);
  prepare(ipc, reader, options);
  ipc.acceptIo(new fuzz::MemoryIo(bytes, 300));
  std::string problem;
  for (size_t messages = 0; ipc.isConnected() && problem.find("EndOfStream") != 0 &&
                            problem.find("not in state startMsg") == problem.npos;
       messages++) {
    PLAT_ASSERT(messages <= bytes.size() / 2 + 1);
    problem = fuzz::refusal([&] { ipc.readMessage(messages % 4 == 3 ? "c" : nullptr); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const Options options{input.flag(), input.flag(), input.flag(), input.flag()};
  const size_t arrivals = input.number<size_t>(1, 40);
  const std::string bytes = input.rest();
  PLAT_ASSERT(readByEvents(bytes, options, arrivals) ==
              readByEvents(bytes, options, bytes.size() + 1));
  readBlocking(bytes, options);
  return 0;
}
