#pragma once

#include <string>

#include "base/plat/String.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

// A file name without its extension for a document of a job: the title, made harmless
// (valid UTF-8, no slash, no control character, no leading dot or dash, 100 bytes at
// most, without the extension if it ends in it), "-" and the document's index.
std::string documentStem(const std::string& title, const char* extension, size_t index);

// Where the documents go.
class OutputFolder {
 public:
  // Throws plat::SystemException.
  explicit OutputFolder(const char* folderPath);

  // Moves the file that is open as sourceFd from sourcePath into the folder, as
  // "<stem>.<extension>" or, where that exists, as "<stem>_2.<extension>" and so on;
  // nothing is overwritten. Returns the new path. Throws plat::Exception; then the
  // source is where it was.
  std::string moveIn(const char* sourcePath, int sourceFd, const std::string& stem,
                     const char* extension);

 private:
  bool tryMove(const char* sourcePath, int sourceFd, const char* name);
  bool tryCopy(int sourceFd, const char* name);

  plat::String path;  // absolute
  plat::OwnedFd folder;
};

}  // namespace receiver
