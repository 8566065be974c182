#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/newFile.h"
#include "apps/common/writePng.h"
#include "apps/qolt-pagefile/pageReport.h"
#include "base/plat/Exception.h"
#include "base/plat/unix/OwnedFd.h"
#include "base/plat/utf8.h"
#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"

namespace pagefile {

namespace {

constexpr char usage[] =
    "Usage: qolt-pagefile [--png=OUT] FILE...\n"
    "Shows what is in page files (\"-\": standard input) and checks them whole.\n"
    "  --png=OUT  also writes the page as a PNG picture; nothing is overwritten. Of\n"
    "             several FILEs \"page.png\" becomes \"page-1.png\", \"page-2.png\", ...\n"
    "Exit status: 0, or 1 when a FILE is broken or something failed.\n";

struct Options {
  const char* png = nullptr;
  std::vector<const char*> files;
  bool help = false;
};

Options parseOptions(int argc, char** argv) {
  Options options;
  bool onlyFiles = false;
  for (int i = 1; i < argc; i++) {
    const char* argument = argv[i];
    if (onlyFiles || argument[0] != '-' || !strcmp(argument, "-")) {
      options.files.push_back(argument);
    } else if (!strcmp(argument, "--")) {
      onlyFiles = true;
    } else if (!strncmp(argument, "--png=", 6) && argument[6]) {
      options.png = argument + 6;
    } else if (!strcmp(argument, "--help")) {
      options.help = true;
    } else {
      throw plat::ExceptionFmt("unknown argument \"%s\"; see --help", argument);
    }
  }
  if (options.files.empty() && !options.help) throw plat::Exception("no FILE; see --help");
  return options;
}

// Of the file with this index.
std::string pngName(const Options& options, size_t index) {
  std::string name = options.png;
  if (options.files.size() == 1) return name;
  size_t base = name.rfind('/') + 1;  // 0 without a slash
  size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot <= base) dot = name.size();
  return name.insert(dot, "-" + std::to_string(index + 1));
}

void convert(PageFileReader& page, const Options& options, size_t index) {
  if (options.png) {
    const std::string name = pngName(options, index);
    plat::OwnedFd fd(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (fd.get() < 0) throw plat::SystemExceptionFmt("open(%s)", errno, name.c_str());
    writeNewFile(std::move(fd), AT_FDCWD, name.c_str(),
                 [&](FILE* out) { png::writePng(page, out); });
  } else {
    while (page.nextBand()) {
    }
  }
}

void show(const Options& options, size_t index) {
  rdr::FileInStream in(options.files[index], 0);
  PageFileReader page(in);
  printHeader(page.header());
  try {
    convert(page, options, index);
  } catch (const plat::Exception&) {
    printCounts(page.counts());
    throw;
  }
  printCounts(page.counts());
}

void report(const char* file, const plat::Exception& problem) {
  fflush(stdout);
  std::string text = file ? std::string(file) + ": " + problem.message : problem.message;
  fprintf(stderr, "qolt-pagefile: %s\n", plat::escapeUtf8(text.c_str(), '~').get());
}

// Goes on with the other files behind one that fails.
bool showAll(const Options& options) {
  bool allRight = true;
  for (size_t i = 0; i < options.files.size(); i++) {
    printf("%s\n", plat::escapeUtf8(options.files[i], '~').get());
    try {
      show(options, i);
    } catch (const plat::Exception& problem) {
      report(options.files[i], problem);
      allRight = false;
    }
  }
  return allRight;
}

bool run(int argc, char** argv) {
  Options options = parseOptions(argc, argv);
  bool allRight = true;
  if (options.help) {
    fputs(usage, stdout);
  } else {
    allRight = showAll(options);
  }
  if (fflush(stdout) != 0) throw plat::SystemException("writing to standard output", errno);
  return allRight;
}

}  // namespace

}  // namespace pagefile

int main(int argc, char** argv) {
  try {
    return pagefile::run(argc, argv) ? 0 : 1;
  } catch (const plat::Exception& problem) {
    pagefile::report(nullptr, problem);
    return 1;
  }
}
