#pragma once

#include <set>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

// The paths of the files that a job leaves behind only when it succeeds: whatever is
// still held at destruction is unlinked, in byte order. An entry that cannot be
// unlinked is skipped.
class TempFileSet : private plat::NonCopyable {
 public:
  TempFileSet() = default;
  ~TempFileSet();

  // From now on SIGTERM, with which CUPS cancels a job, unlinks the held files and
  // ends the process with status 1; once the set is destroyed it only ends the process.
  // One set at a time.
  void unlinkOnSigterm();
  // The job can no longer be cancelled: SIGTERM, also one held back now, does nothing more.
  void setDelivered();

  void insert(const char* path);  // a copy; a path is held once
  void insert(const std::vector<plat::String>& list);
  void erase(const char* path);  // the file stays

 private:
  static void terminated(int signal);
  void unlinkAll() const;  // async-signal-safe

  std::set<plat::String, plat::LessString> paths;  // changes only while SIGTERM is held back
};
