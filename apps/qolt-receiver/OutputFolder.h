#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "base/plat/String.h"
#include "base/plat/unix/OwnedFd.h"

namespace receiver {

// A file name without its extension for a document of a job: the title, made harmless
// (valid UTF-8, no slash, no control character, no leading dot or dash, 100 bytes at
// most, without the extension if it ends in it), "-" and the document's index.
std::string documentStem(const std::string& title, const char* extension, size_t index);

// Where the documents go: as "<stem>.<extension>" or, where that exists, as
// "<stem>_2.<extension>" and so on. Nothing is overwritten. Failures throw
// plat::Exception and leave the folder as it was.
class OutputFolder {
 public:
  // Throws plat::SystemException.
  explicit OutputFolder(const char* folderPath);

  // Moves the file that is open as sourceFd from sourcePath into the folder and returns
  // its new path. When it throws, the source is where it was.
  std::string moveIn(const char* sourcePath, int sourceFd, const std::string& stem,
                     const char* extension);
  // Makes a file, has it written and returns its path.
  std::string create(const std::string& stem, const char* extension,
                     const std::function<void(FILE*)>& write);

 private:
  std::string pathOf(const std::string& name) const;
  int tryCreate(const char* name);
  bool tryMove(const char* sourcePath, int sourceFd, const char* name);
  bool tryCopy(int sourceFd, const char* name);

  plat::String path;  // absolute
  plat::OwnedFd folder;
};

}  // namespace receiver
