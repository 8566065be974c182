#include "apps/qolt-receiver/DescriptionFile.h"

#include "base/plat/Exception.h"

namespace receiver {

namespace {

// Cuts lines off the end of a text: what stands behind the title is the backend's own.
class LinesFromEnd {
 public:
  explicit LinesFromEnd(std::string_view rest) : text(rest) {}

  // The last line without its line feed.
  std::string_view next() {
    if (text.empty() || text.back() != '\n') throw plat::Exception("bad description: cut off");
    text.remove_suffix(1);
    size_t begin = text.rfind('\n') + 1;  // npos + 1 is 0
    std::string_view line = text.substr(begin);
    text = text.substr(0, begin);
    return line;
  }
  std::string_view rest() const { return text; }

 private:
  std::string_view text;
};

std::string behind(std::string_view prefix, std::string_view line) {
  if (line.substr(0, prefix.size()) != prefix) {
    throw plat::ExceptionFmt("bad description: no \"%.*s\"", static_cast<int>(prefix.size()),
                             prefix.data());
  }
  return std::string(line.substr(prefix.size()));
}

void expect(std::string_view wanted, std::string_view line) {
  if (!behind(wanted, line).empty()) {
    throw plat::ExceptionFmt("bad description: text behind \"%.*s\"",
                             static_cast<int>(wanted.size()), wanted.data());
  }
}

}  // namespace

DescriptionFile DescriptionFile::parse(std::string_view text) {
  if (text.find('\0') != text.npos) throw plat::Exception("bad description: a zero byte");

  DescriptionFile result;
  LinesFromEnd lines(text);
  std::vector<std::string_view> files;
  std::string_view line = lines.next();
  for (; line.substr(0, 4) == "File"; line = lines.next()) {
    if (files.size() == maxDocuments) throw plat::Exception("bad description: too many documents");
    files.push_back(line);
  }
  if (behind("Count=", line) != std::to_string(files.size())) {
    throw plat::ExceptionFmt("bad description: \"Count\" is not %zu", files.size());
  }
  for (size_t i = 0; i < files.size(); i++) {
    result.documents.push_back(
        behind("File" + std::to_string(i) + "=", files[files.size() - 1 - i]));
  }
  std::string format = behind("[", lines.next());
  if (format.empty() || format.back() != ']') {
    throw plat::Exception("bad description: no \"]\"");
  }
  format.pop_back();
  behind("DeviceName=", lines.next());
  expect("[Device]", lines.next());

  std::string head = behind("[Document]\nName=", lines.rest());
  if (head.empty()) throw plat::Exception("bad description: no \"Name\"");
  head.pop_back();
  result.title = head;
  result.format = job::findFormat(format.c_str());
  if (!result.format) {
    throw plat::ExceptionFmt("unknown document format \"%s\"", format.c_str());
  }
  return result;
}

}  // namespace receiver
