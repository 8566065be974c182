#include <fcntl.h>
#include <unistd.h>

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
#include "base/plat/FilePtr.h"
#include "base/plat/file.h"
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
  bool help = false, version = false;
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
    } else if (!strcmp(argument, "--help") || !strcmp(argument, "-h")) {
      options.help = true;
    } else if (!strcmp(argument, "--version")) {
      options.version = true;
    } else {
      throw plat::ExceptionFmt("unknown argument \"%s\"; see --help", argument);
    }
  }
  if (options.files.empty() && !options.help && !options.version) {
    throw plat::Exception("no FILE; see --help");
  }
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

plat::FilePtr openPage(const char* name) {
  plat::FilePtr file;
  file.open(name, plat::FileMode::read);
  return file;
}

// A pipe's bytes are kept, as the page is read twice.
plat::FilePtr seekable(plat::FilePtr file) {
  if (lseek(fileno(file.get()), 0, SEEK_CUR) >= 0) return file;
  plat::FilePtr copy(tmpfile(), true);
  if (!copy.get()) throw plat::SystemException("tmpfile", errno);
  char block[65536];
  while (const size_t size = fread(block, 1, sizeof block, file.get())) {
    if (fwrite(block, 1, size, copy.get()) < size) throw plat::SystemException("fwrite", errno);
  }
  if (ferror(file.get())) throw plat::SystemException("fread", errno);
  plat::fileSeek(copy.get(), 0);
  return copy;
}

void show(const Options& options, size_t index) {
  plat::FilePtr file = openPage(options.files[index]);
  if (options.png) file = seekable(std::move(file));
  rdr::FileInStream in(file.get(), false);
  PageFileReader page(in);
  printHeader(page.header());
  png::PackedPage packed;
  try {
    if (options.png) {
      packed = png::packPage(page);
    } else {
      while (page.nextBand()) {
      }
    }
  } catch (const plat::Exception&) {
    printCounts(page.counts());
    throw;
  }
  printCounts(page.counts());
  if (!options.png) return;
  const std::string name = pngName(options, index);
  plat::OwnedFd fd(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (fd.get() < 0) throw plat::SystemExceptionFmt("open(%s)", errno, name.c_str());
  writeNewFile(std::move(fd), AT_FDCWD, name.c_str(),
               [&](FILE* out) { png::writePng(page.header(), packed, file.get(), out); });
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
  } else if (options.version) {
    puts("qolt-pagefile " QOLT_VERSION);
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
