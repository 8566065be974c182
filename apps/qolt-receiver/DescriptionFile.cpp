#include "apps/qolt-receiver/DescriptionFile.h"

#include "base/plat/Exception.h"

namespace receiver {

namespace {

constexpr int maxSize = 1 << 20;  // bytes

// Cuts the last line off, and its line feed. What stands behind the title is the backend's own.
std::string_view takeLastLine(std::string_view& text) {
  if (text.empty() || text.back() != '\n') throw plat::Exception("bad description: cut off");
  text.remove_suffix(1);
  size_t begin = text.rfind('\n') + 1;  // npos + 1 is 0
  std::string_view line = text.substr(begin);
  text = text.substr(0, begin);
  return line;
}

std::string behind(std::string_view prefix, std::string_view line) {
  if (!line.starts_with(prefix)) {
    throw plat::ExceptionFmt("bad description: no \"%.*s\"", static_cast<int>(prefix.size()),
                             prefix.data());
  }
  return std::string(line.substr(prefix.size()));
}

}  // namespace

DescriptionFile DescriptionFile::parse(std::string_view text) {
  if (text.find('\0') != text.npos) throw plat::Exception("bad description: a zero byte");

  DescriptionFile result;
  std::vector<std::string_view> files;
  std::string_view line = takeLastLine(text);
  for (; line.starts_with("File"); line = takeLastLine(text)) {
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
  std::string format = behind("[", takeLastLine(text));
  if (format.empty() || format.back() != ']') {
    throw plat::Exception("bad description: no \"]\"");
  }
  format.pop_back();
  result.queue = behind("DeviceName=", takeLastLine(text));
  if (!behind("[Device]", takeLastLine(text)).empty()) {
    throw plat::Exception("bad description: text behind \"[Device]\"");
  }
  result.title = behind("[Document]\nName=", text);
  if (result.title.empty()) throw plat::Exception("bad description: no \"Name\"");
  result.title.pop_back();
  result.format = job::findFormat(format.c_str());
  if (!result.format) {
    throw plat::ExceptionFmt("unknown document format \"%s\"", format.c_str());
  }
  return result;
}

DescriptionFile DescriptionFile::read(plat::FilePtr& file) {
  const plat::MBuf<unsigned char> text = file.readAll(maxSize);
  return parse({reinterpret_cast<const char*>(text.data()), static_cast<size_t>(text.size())});
}

}  // namespace receiver
