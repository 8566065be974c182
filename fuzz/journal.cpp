// What a receiver that was killed has left in its journal.
#include "apps/qolt-receiver/Journal.h"
#include "fuzz/fuzz.h"

using receiver::TakenJob;

static std::string linesOf(const std::list<TakenJob>& jobs) {
  std::string lines;
  for (const TakenJob& job : jobs) lines += receiver::journalLines(job);
  return lines;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Once it is written anew it stays as it is.
  const std::string lines = linesOf(receiver::parseJournal(fuzz::bytes(data, size)));
  PLAT_ASSERT(linesOf(receiver::parseJournal(lines)) == lines);

  // A job comes back as it was, whatever it is made of, and not from less than all of its lines.
  fuzz::Input input(data, size);
  TakenJob job;
  job.parts.resize(input.number<size_t>(1, 3));
  for (TakenJob::Part& part : job.parts) {
    receiver::Document& document = part.document;
    document.number = static_cast<uint64_t>(&part - job.parts.data() + 1);
    document.forCommand = input.flag();
    document.path = fuzz::text(input.text(10));
    document.jobId = fuzz::text(input.text(10));
    document.queue = fuzz::text(input.text(10));
    part.name = document.title = fuzz::text(input.text(10));
  }
  job.description = fuzz::text(input.text(10));
  job.identity = fuzz::text(input.rest());
  const std::string text = receiver::journalLines(job);
  const std::list<TakenJob> read = receiver::parseJournal(text);
  PLAT_ASSERT(read.size() == 1 && read.front().parts.size() == job.parts.size());
  PLAT_ASSERT(read.front().description == job.description && linesOf(read) == text);
  PLAT_ASSERT(read.front().identity == job.identity);
  for (size_t i = 0; i < job.parts.size(); i++) {
    const TakenJob::Part &one = job.parts[i], &other = read.front().parts[i];
    PLAT_ASSERT(one.name == other.name && one.document.path == other.document.path);
    PLAT_ASSERT(one.document.title == other.document.title);
  }
  const size_t cut = input.number<size_t>(0, text.size() - 1);
  PLAT_ASSERT(receiver::parseJournal(text.substr(0, cut)).empty());

  // Other work goes on from it, behind that of another job: the name of a document, and its end.
  std::string later = "document 9 part path id title queue\njob d i\n" + text + "moved 1 %41\n";
  PLAT_ASSERT(receiver::parseJournal(later).front().parts[0].document.path == "path");
  PLAT_ASSERT(receiver::parseJournal(later).back().parts[0].document.path == "A");
  size_t commands = 0;
  for (const TakenJob::Part& part : job.parts) {
    commands += part.document.forCommand;
    later += "done " + std::to_string(part.document.number) + "\n";
  }
  PLAT_ASSERT(receiver::parseJournal(later).size() == (commands > 0 ? 1 : 2));
  return 0;
}
