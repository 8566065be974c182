#pragma once

#include <string>
#include <vector>

#include "apps/qolt-receiver/Document.h"

namespace receiver {

// The command that is run for a document, without a shell.
//
// Words are separated by blanks. Between '...' everything is itself; between "..." and outside of
// quotes a backslash makes the character behind it ordinary. In any word, quoted or not,
//   %f  is the path of the document      %t  the title of its job
//   %j  the id of its job                %q  the queue that it was printed to
//   %%  a percent sign
// What stands for it is text of that word, whatever it holds.
class CommandLine {
 public:
  // An empty text is no command. Throws plat::Exception.
  explicit CommandLine(const std::string& text);

  bool isEmpty() const { return words.empty(); }
  // As it was written: nothing is put in its place. Precondition, here and below: not empty.
  const std::string& program() const { return words.front(); }
  bool hasFile() const { return hasFile_; }  // "%f"
  std::vector<std::string> wordsFor(const Document& document) const;

 private:
  void checkPlaceholders(const std::string& word);

  bool hasFile_ = false;
  std::vector<std::string> words;  // without quotes; "%" and a letter is still to be replaced
};

// Throws plat::SystemException when there is no such program, in PATH or, with a slash, where it
// says.
void checkProgram(const std::string& program);

}  // namespace receiver
