#include "apps/qolt-receiver/message.h"

#include "base/rdr/Exceptions.h"
#include "fuzz/fuzz.h"
#include "tests/support/streams.h"

// The path, or why there is none; the bytes arrive as many at a time.
static std::string read(const std::string& bytes, size_t arrivals) {
  fakes::ChunkedIn in(bytes, INT_MAX, 512);
  in.setNonBlocking(true);
  in.arrived = 0;
  std::string path;
  std::string problem;
  for (bool complete = false; !complete;) {
    PLAT_ASSERT(in.arrived <= bytes.size() + arrivals);
    problem = fuzz::refusal([&] {
      try {
        const plat::String text = receiver::readMessage(in);
        path = text.get();
        complete = true;
      } catch (const rdr::BlockException&) {
        in.arrived += arrivals;
      }
    });
    complete = complete || !problem.empty();
  }
  PLAT_ASSERT(path.size() <= size_t{receiver::maxPathLength});
  return path + problem;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const size_t arrivals = input.number<size_t>(1, 9);
  const std::string bytes = input.rest();
  PLAT_ASSERT(read(bytes, arrivals) == read(bytes, bytes.size() + 1));
  return 0;
}
