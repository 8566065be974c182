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

// Where the documents go. One is written as a part first, a hidden file, and gets its name when
// it is whole and on the disk. Nothing is overwritten. Failures throw plat::Exception.
class OutputFolder {
 public:
  // `owner` tells the hidden files apart of those who share a folder. Throws
  // plat::SystemException.
  OutputFolder(const char* folderPath, const std::string& owner);

  // Goes on in the folder that has its path now: somebody may have removed it and made another.
  void openAgain();

  // The name of a hidden file of this owner.
  std::string hiddenName(const std::string& suffix) const { return prefix + suffix; }
  std::string pathOf(const std::string& name) const;

  // Makes a part, has it written and returns its name. When it throws there is none.
  std::string addPart(const std::function<void(FILE*)>& write);
  // Whether something has that name.
  bool has(const std::string& name) const;
  void removePart(const std::string& name);
  // Those that nobody knows any more.
  void removeParts();

  // The path for a document: "<stem>.<extension>" or, where that exists,
  // "<stem>_2.<extension>" and so on.
  std::string freePath(const std::string& stem, const char* extension) const;
  // Likewise for one that was to have that path, which is no longer free.
  std::string freePathLike(const std::string& takenPath) const;
  // Gives a part its path. False when something else has it by now.
  bool publish(const std::string& part, const std::string& newPath);
  // Has the names on the disk as well.
  void sync();

 private:
  plat::String path;  // absolute
  plat::OwnedFd folder;
  std::string prefix;
  unsigned lastPart = 0;
};

}  // namespace receiver
