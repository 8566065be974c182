#include "apps/qolt-receiver/CommandLine.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/plat/Exception.h"
#include "base/plat/Splitter.h"
#include "base/plat/path.h"

namespace receiver {

namespace {

constexpr char placeholders[] = "fjtq%";

std::string valueOf(char placeholder, const Document& document) {
  switch (placeholder) {
    case 'f':
      return document.path;
    case 'j':
      return document.jobId;
    case 't':
      return document.title;
    case 'q':
      return document.queue;
    default:
      return "%";
  }
}

// Why a program cannot be started, as exec() would say, or 0.
int startError(const char* path) {
  struct stat status;
  if (access(path, X_OK) < 0 || stat(path, &status) < 0) return errno;
  return S_ISREG(status.st_mode) ? 0 : EACCES;
}

}  // namespace

CommandLine::CommandLine(const std::string& text) {
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (size_t i = 0; i < text.size(); i++) {
    const char c = text[i];
    if (c == quote) {
      quote = 0;
    } else if (quote == 0 && (c == '\'' || c == '"')) {
      quote = c;
      inWord = true;
    } else if (quote == 0 && c == ' ') {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      if (c == '\\' && quote != '\'' && ++i == text.size()) {
        throw plat::Exception("Command: a backslash at the end");
      }
      word += text[i];
      inWord = true;
    }
  }
  if (quote) throw plat::ExceptionFmt("Command: no closing %c", quote);
  if (inWord) words.push_back(word);
  for (size_t i = 1; i < words.size(); i++) checkPlaceholders(words[i]);
}

void CommandLine::checkPlaceholders(const std::string& word) {
  for (size_t at = word.find('%'); at != word.npos; at = word.find('%', at + 2)) {
    if (at + 1 == word.size() || !strchr(placeholders, word[at + 1])) {
      throw plat::ExceptionFmt("Command: unknown \"%s\"; a percent sign is \"%%%%\"",
                               word.substr(at, 2).c_str());
    }
    hasFile_ = hasFile_ || word[at + 1] == 'f';
  }
}

std::vector<std::string> CommandLine::wordsFor(const Document& document) const {
  std::vector<std::string> result{program()};
  for (size_t i = 1; i < words.size(); i++) {
    std::string word;
    for (size_t at = 0; at < words[i].size(); at++) {
      if (words[i][at] == '%') {
        word += valueOf(words[i][++at], document);
      } else {
        word += words[i][at];
      }
    }
    result.push_back(word);
  }
  return result;
}

void checkProgram(const std::string& program) {
  if (program.empty()) throw plat::Exception("Command: no program");
  if (program.find('/') != program.npos) {
    const int error = startError(program.c_str());
    if (error) throw plat::SystemException(program.c_str(), error);
    return;
  }
  // The default is that of execvp().
  const char* path = getenv("PATH");
  plat::String folders(path ? path : "/bin:/usr/bin");
  plat::Splitter splitter(folders.data());
  while (const char* folder = splitter.next(':')) {
    if (startError(plat::join(*folder ? folder : ".", program.c_str()).get()) == 0) return;
  }
  throw plat::SystemException(program.c_str(), ENOENT);
}

}  // namespace receiver
