#include "apps/qolt-receiver/Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/FilePtr.h"
#include "base/plat/LogSrc.h"
#include "base/plat/file.h"
#include "base/plat/percentEncode.h"
#include "base/plat/time.h"

namespace receiver {

static constinit plat::LogSrc log("Journal");
static const plat::LogSrc::Listed listed(log);

namespace {

constexpr int endingS = 30;                // that a receiver may take to end
constexpr off_t maxSize = off_t{1} << 28;  // bytes; of more commands than anybody waits for

std::string encoded(const std::string& text) {
  return plat::percentEncode(text.c_str(), false).orEmpty();
}

std::string line(const char* kind, std::initializer_list<std::string> words) {
  std::string text = kind;
  for (const std::string& word : words) text += " " + encoded(word);
  return text + "\n";
}

// Throws plat::Exception for a word that is none.
std::vector<std::string> wordsOf(std::string_view line) {
  std::vector<std::string> words;
  while (true) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string word(line.substr(0, end));
    if (word.find('\0') != word.npos) throw plat::Exception("a zero byte");
    words.push_back(plat::percentDecode(word.c_str(), false).orEmpty());
    if (end == line.size()) return words;
    line.remove_prefix(end + 1);
  }
}

uint64_t numberOf(const std::string& word) {
  uint64_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error != std::errc() || stop != end) throw plat::Exception("a bad number");
  return number;
}

plat::OwnedFd openFile(const std::string& path, int flags = 0) {
  return plat::OwnedFd(
      plat::fileOpenFd(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | flags));
}

// True as well where the file system cannot lock: there it is up to whoever starts receivers.
bool tryLock(int fd) {
  return flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// False once it has been replaced or removed.
bool isFileOf(const std::string& path, int fd) {
  try {
    return plat::fileIsSameAsFd(path.c_str(), fd);
  } catch (const plat::SystemException&) {
    return false;
  }
}

// One process at a time has a journal. Waits for that long, since one that ends has still to do
// with its jobs and commands.
plat::OwnedFd openJournal(const std::string& path, int patienceS) {
  const plat::Ticks deadline = plat::monotonicNow() + patienceS * plat::ticksPerSecond;
  while (true) {
    plat::OwnedFd file = openFile(path);
    for (bool isFirst = true; !tryLock(file.get()); isFirst = false) {
      if (plat::monotonicNow() >= deadline) {
        throw plat::ExceptionFmt("another receiver has %s", path.c_str());
      }
      if (isFirst) log.error("waiting for the receiver that still has %s", path.c_str());
      plat::sleep(100 * plat::ticksPerMs);
    }
    if (isFileOf(path, file.get())) return file;
  }
}

// All lines or none. Throws plat::SystemException.
void writeLines(int fd, const std::string& path, const std::string& lines, bool isUrgent) {
  const off_t size = lseek(fd, 0, SEEK_END);
  const auto fail = [&](const char* call, int error) {
    if (ftruncate(fd, size) < 0) log.error("ftruncate(%s) failed", path.c_str());
    throw plat::SystemExceptionFmt("%s(%s)", error, call, path.c_str());
  };
  for (size_t done = 0; done < lines.size();) {
    const ssize_t n = write(fd, lines.data() + done, lines.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) fail("write", errno);
    done += static_cast<size_t>(n);
  }
  if (isUrgent && fdatasync(fd) < 0) fail("fdatasync", errno);
}

struct Reader {
  std::list<TakenJob> jobs;
  TakenJob next;

  void take(const std::vector<std::string>& words) {
    const std::string& kind = words[0];
    if ((kind == "document" || kind == "file") && words.size() == 7) {
      next.parts.push_back(
          {words[2],
           {numberOf(words[1]), words[3], words[4], words[5], words[6], kind == "document"}});
    } else if (kind == "job" && words.size() == 3) {
      next.description = words[1];
      next.identity = words[2];
      jobs.push_back(std::exchange(next, {}));
    } else if (kind == "moved" && words.size() == 3) {
      change(numberOf(words[1]), [&](Document& document) { document.path = words[2]; });
    } else if (kind == "done" && words.size() == 2) {
      change(numberOf(words[1]), [](Document& document) { document.forCommand = false; });
    } else {
      throw plat::Exception("an unknown line");
    }
  }

  template <class Change>
  void change(uint64_t number, Change apply) {
    for (auto job = jobs.begin(); job != jobs.end(); ++job) {
      for (TakenJob::Part& part : job->parts) {
        if (part.document.number != number) continue;
        const bool hadCommand = part.document.forCommand;
        apply(part.document);
        // Commands are run once the job is finished.
        if (hadCommand && !hasCommands(*job)) jobs.erase(job);
        return;
      }
    }
  }

  static bool hasCommands(const TakenJob& job) {
    return std::any_of(job.parts.begin(), job.parts.end(),
                       [](const TakenJob::Part& part) { return part.document.forCommand; });
  }
};

}  // namespace

std::list<TakenJob> parseJournal(std::string_view text) {
  Reader reader;
  try {
    for (size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
      reader.take(wordsOf(text.substr(0, end)));
      text.remove_prefix(end + 1);
    }
  } catch (const plat::Exception& problem) {
    log.error("the journal ends with %s", problem.message);
  }
  return std::move(reader.jobs);
}

std::string journalLines(const TakenJob& job) {
  std::string lines;
  for (const TakenJob::Part& part : job.parts) {
    const Document& document = part.document;
    lines += line(document.forCommand ? "document" : "file",
                  {std::to_string(document.number), part.name, document.path, document.jobId,
                   document.title, document.queue});
  }
  return lines + line("job", {job.description, job.identity});
}

Journal::Journal(const std::string& newPath) : path(newPath), file(openJournal(path, endingS)) {
  struct stat status;
  if (fstat(file.get(), &status) < 0)
    throw plat::SystemExceptionFmt("fstat(%s)", errno, path.c_str());
  if (status.st_size > maxSize) throw plat::ExceptionFmt("%s is too long", path.c_str());
  std::string text(static_cast<size_t>(status.st_size), '\0');
  plat::readFully(file.get(), text.data(), text.size());
  taken = parseJournal(text);

  // Without what counts for nothing, which would swallow the lines that are yet to come.
  std::string lines;
  for (const TakenJob& job : taken) {
    lines += journalLines(job);
    for (const TakenJob::Part& part : job.parts) {
      lastNumber = std::max(lastNumber, part.document.number);
    }
  }
  if (lines == text) return;
  const std::string newName = path + ".new";
  unlink(newName.c_str());
  plat::OwnedFd newFile = openFile(newName, O_EXCL);
  tryLock(newFile.get());
  writeLines(newFile.get(), newName, lines, true);
  plat::fileRename(newName.c_str(), path.c_str());
  file = std::move(newFile);  // whoever waits for the old one finds that it has been replaced
}

Journal::~Journal() {
  if (taken.empty() && left.empty() && isFileOf(path, file.get())) unlink(path.c_str());
}

TakenJob& Journal::add(TakenJob job) {
  const std::lock_guard lock(mutex);
  for (TakenJob::Part& part : job.parts) part.document.number = ++lastNumber;
  append(journalLines(job), true);
  return taken.emplace_back(std::move(job));
}

std::vector<TakenJob*> Journal::jobs() {
  const std::lock_guard lock(mutex);
  std::vector<TakenJob*> result;
  for (TakenJob& job : taken) result.push_back(&job);
  return result;
}

void Journal::move(Document& document, const std::string& newPath) {
  const std::lock_guard lock(mutex);
  append(line("moved", {std::to_string(document.number), newPath}), true);
  document.path = newPath;
}

std::vector<Document> Journal::finish(TakenJob& job) {
  const std::lock_guard lock(mutex);
  std::vector<Document> documents;
  for (const TakenJob::Part& part : job.parts) {
    if (!part.document.forCommand) continue;
    documents.push_back(part.document);
    left.insert(part.document.number);
  }
  taken.remove_if([&](const TakenJob& other) { return &other == &job; });
  emptyIfNothingIsLeft();
  return documents;
}

void Journal::done(uint64_t number) {
  const std::lock_guard lock(mutex);
  left.erase(number);
  try {
    append(line("done", {std::to_string(number)}), false);
  } catch (const plat::Exception& problem) {
    log.error("%s", problem.message);
  }
  emptyIfNothingIsLeft();
}

void Journal::append(const std::string& lines, bool isUrgent) {
  // Somebody may have removed it, most likely with the documents that it was about.
  if (!isFileOf(path, file.get())) file = openJournal(path, 0);
  writeLines(file.get(), path, lines, isUrgent);
}

void Journal::emptyIfNothingIsLeft() {
  if (!taken.empty() || !left.empty()) return;
  if (ftruncate(file.get(), 0) < 0) log.error("ftruncate(%s) failed", path.c_str());
}

}  // namespace receiver
