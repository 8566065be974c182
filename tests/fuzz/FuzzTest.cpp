// Every fuzz target over its corpus, and over inputs made at random of that and of its
// dictionary: the same ones in every run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#define TARGET(name) extern "C" int fuzz_##name(const uint8_t* data, size_t size);
QOLT_FUZZ_TARGETS
#undef TARGET

namespace {

constexpr int randomInputs = 3000;

// What a target finds ends the program: then the input is written, for `xxd -r -p`.
std::string current;

void writeInput(int) {
  constexpr char digits[] = "0123456789abcdef";
  std::string hex = "\nThe input is ";
  for (unsigned char byte : current) hex += {digits[byte >> 4], digits[byte & 15]};
  hex += '\n';
  if (write(STDERR_FILENO, hex.data(), hex.size()) < 0) _exit(1);
}

class Inputs {
 public:
  explicit Inputs(const std::string& target) {
    const std::filesystem::path folder = QOLT_FUZZ_FOLDER;
    if (std::filesystem::exists(folder / "corpus" / target)) {
      for (const auto& entry : std::filesystem::directory_iterator(folder / "corpus" / target)) {
        std::ostringstream bytes;
        bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        corpus.push_back(bytes.str());
      }
    }
    std::sort(corpus.begin(), corpus.end());  // a folder has no order
    // A line is a quoted string, in which \xAB is a byte.
    std::ifstream dictionary(folder / (target + ".dict"));
    for (std::string line; std::getline(dictionary, line);) {
      std::string word;
      for (size_t i = 1; i + 1 < line.size(); i++) {
        const bool code = line.compare(i, 2, "\\x") == 0;
        word += code ? static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16)) : line[i];
        if (code) i += 3;
      }
      if (!word.empty()) words.push_back(word);
    }
    words.insert(words.end(), {"\xff", "0", "a", " ", std::string(1, '\0'), "\n"});
  }

  const std::vector<std::string>& samples() const { return corpus; }

  std::string next() {
    std::string input = corpus.empty() || below(4) == 0 ? noise(below(40)) : one(corpus);
    for (size_t edits = below(6); edits > 0; edits--) {
      const size_t at = below(input.size() + 1), count = below(below(2) ? 4 : input.size() + 1);
      switch (below(4)) {
        case 0:
          input.erase(at, count);
          break;
        case 1:
          input.insert(at, input.substr(below(input.size() + 1), count));
          break;
        case 2:
          input.replace(at, count, noise(count));
          break;
        default:
          input.insert(at, one(words));
          break;
      }
    }
    // Where the target takes its numbers from.
    return input + noise(below(12));
  }

 private:
  size_t below(size_t limit) { return random() % limit; }
  const std::string& one(const std::vector<std::string>& all) { return all[below(all.size())]; }
  std::string noise(size_t size) {
    const bool printable = below(2);
    std::string bytes;
    while (bytes.size() < size) {
      bytes += static_cast<char>(printable ? ' ' + below('~' - ' ' + 1) : below(256));
    }
    return bytes;
  }

  std::vector<std::string> corpus, words;
  std::mt19937 random;
};

void run(const char* name, int (*target)(const uint8_t* data, size_t size)) {
  Inputs inputs(name);
  const auto previous = std::signal(SIGABRT, writeInput);
  const auto take = [&](std::string input) {
    current = std::move(input);
    target(reinterpret_cast<const uint8_t*>(current.data()), current.size());
  };
  for (const std::string& sample : inputs.samples()) take(sample);
  for (int i = 0; i < randomInputs; i++) take(inputs.next());
  std::signal(SIGABRT, previous);
}

#define TARGET(name)         \
  TEST(Fuzz, name) {         \
    run(#name, fuzz_##name); \
  }
QOLT_FUZZ_TARGETS

}  // namespace
