// The command of the receiver, as somebody writes it, and what stands for a document in it.
#include "apps/qolt-receiver/CommandLine.h"
#include "fuzz/fuzz.h"

using receiver::CommandLine;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  receiver::Document document;
  document.path = fuzz::text(input.text(20));
  document.title = fuzz::text(input.text(20));
  document.jobId = "%f";
  const std::string text = fuzz::text(input.rest());
  fuzz::isRefused([&] {
    const CommandLine line(text);
    if (!line.isEmpty()) PLAT_ASSERT(line.wordsFor(document)[0] == line.program());
  });

  // Any words, quoted, are these words; and a value stays within its word.
  std::string quoted, percent;
  for (const char c : text) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    percent += c == '\'' ? "'\\''" : c == '%' ? "%%" : std::string(1, c);
  }
  const CommandLine line("'" + quoted + "' '" + percent + "%f' \"%t\" %j%q");
  PLAT_ASSERT(line.program() == text && line.hasFile());
  PLAT_ASSERT((line.wordsFor(document) ==
               std::vector<std::string>{text, text + document.path, document.title, "%f"}));
  PLAT_ASSERT(!CommandLine("x '" + percent + "'").hasFile());
  return 0;
}
