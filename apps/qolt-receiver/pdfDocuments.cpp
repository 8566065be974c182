#include "apps/qolt-receiver/pdfDocuments.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "base/plat/Exception.h"

namespace receiver {

namespace {

constexpr size_t blockSize = 65536;
constexpr std::string_view documentStart = "%PDF-", documentEnd = "%%EOF";
// White space between two documents that is looked at; ISO 32000-1 section 7.2.2.
constexpr off_t maxGap = 1024;
constexpr std::string_view whiteSpace("\0\t\n\f\r ", 6);

// As many bytes as there are, up to the size.
size_t readAt(int fd, char* data, size_t size, off_t offset) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = pread(fd, data + done, size - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw plat::SystemException("pread", errno);
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return done;
}

bool isBehindADocument(int fd, off_t offset) {
  char before[maxGap];
  const off_t begin = std::max<off_t>(offset - maxGap, 0);
  std::string_view text(before, readAt(fd, before, static_cast<size_t>(offset - begin), begin));
  text = text.substr(0, text.find_last_not_of(whiteSpace) + 1);
  return text.ends_with(documentEnd);
}

}  // namespace

std::vector<off_t> pdfDocumentEnds(int fd) {
  struct stat status;
  if (fstat(fd, &status) < 0) throw plat::SystemException("fstat", errno);
  std::vector<off_t> ends;
  char block[blockSize];
  // Blocks overlap, so that no start lies across two.
  for (off_t offset = 0; offset < status.st_size; offset += blockSize - documentStart.size()) {
    const std::string_view text(block, readAt(fd, block, blockSize, offset));
    for (size_t at = text.find(documentStart); at != text.npos; at = text.find(documentStart, at)) {
      const off_t start = offset + static_cast<off_t>(at++);
      if ((ends.empty() || start > ends.back()) && isBehindADocument(fd, start)) {
        ends.push_back(start);
      }
    }
  }
  ends.push_back(status.st_size);
  return ends;
}

void copyRange(int fd, off_t begin, off_t end, FILE* out) {
  char block[blockSize];
  while (begin < end) {
    const size_t want = static_cast<size_t>(std::min<off_t>(end - begin, blockSize));
    if (readAt(fd, block, want, begin) < want) throw plat::Exception("a document became shorter");
    if (fwrite(block, 1, want, out) < want) throw plat::SystemException("fwrite", errno);
    begin += static_cast<off_t>(want);
  }
}

}  // namespace receiver
