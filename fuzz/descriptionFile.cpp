#include "apps/qolt-receiver/DescriptionFile.h"

#include <cstring>

#include "apps/cups-qolt/jobFiles.h"
#include "fuzz/fuzz.h"

using receiver::DescriptionFile;

// What the backend writes is what the receiver reads.
static void checkRoundTrip(const std::string& title, const std::string& queue,
                           const std::vector<plat::String>& documents) {
  const plat::String text = describeJob(title.c_str(), queue.c_str(), "ZRLE", documents);
  const DescriptionFile read = DescriptionFile::parse(text.get());
  PLAT_ASSERT(read.title == title && !strcmp(read.format->name, "ZRLE"));
  PLAT_ASSERT(read.documents.size() == documents.size());
  for (size_t i = 0; i < documents.size(); i++) {
    PLAT_ASSERT(documents[i] == read.documents[i].c_str());
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::bytes(data, size);
  fuzz::isRefused([&] {
    const DescriptionFile read = DescriptionFile::parse(text);
    // What was read, written again, is the text but for the name of the queue.
    std::string tail = std::string("[") + read.format->name +
                       "]\nCount=" + std::to_string(read.documents.size()) + "\n";
    for (size_t i = 0; i < read.documents.size(); i++) {
      tail += "File" + std::to_string(i) + "=" + read.documents[i] + "\n";
    }
    const std::string head = "[Document]\nName=" + read.title + "\n[Device]\nDeviceName=";
    PLAT_ASSERT(text.starts_with(head) && text.ends_with(tail));
    PLAT_ASSERT(head.size() + tail.size() < text.size());
  });

  fuzz::Input input(data, size);
  std::vector<plat::String> documents(input.number<size_t>(0, 3));
  for (plat::String& document : documents) {
    document.set(input.text(20).c_str());
    if (strchr(document.get(), '\n')) return 0;
  }
  const std::string queue = fuzz::text(input.text(20));
  if (queue.find('\n') != queue.npos) return 0;
  checkRoundTrip(fuzz::text(input.rest()), queue, documents);
  return 0;
}
