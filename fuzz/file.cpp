// Files, their handles and their paths: what the system does with them, against plain texts.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <set>

#include "base/plat/FilePtr.h"
#include "base/plat/file.h"
#include "base/plat/unix/OwnedFd.h"
#include "fuzz/fuzz.h"
#include "tests/support/ScratchFolder.h"

namespace {

using plat::FileMode;

const test::ScratchFolder& folder() {
  const char* const memory = "/dev/shm";  // much faster
  static const test::ScratchFolder scratch(access(memory, W_OK) == 0 ? memory : "/tmp");
  return scratch;
}

std::string systemText(const std::string& text, int err) {
  const plat::SystemException e(text.c_str(), err);
  return std::string(e.name) + ": " + e.message;
}

// One file, opened again and again.
void checkHandles(fuzz::Input& input) {
  const std::string path = folder() / "file";
  unlink(path.c_str());
  const mode_t mask = umask(0);
  std::optional<std::string> content;
  mode_t permissions = 0;
  plat::FilePtr file;
  for (int steps = input.number(1, 6); steps > 0; steps--) {
    const auto mode = static_cast<FileMode>(input.number(0, 2));
    const bool writes = mode == FileMode::write, both = mode == FileMode::readWrite;
    const int flags = input.number(0, 63) & ~8;
    const bool makes = writes || (both && flags & (plat::openCreate | plat::openTruncate));
    const std::string refused = fuzz::refusal([&] { file.open(path.c_str(), mode, flags); });
    if (!content && !makes) {
      const std::string text = systemText("Error opening \"" + path + "\"", ENOENT);
      PLAT_ASSERT(!file.get() && refused == (flags & plat::openMayFail ? "" : text));
      continue;
    }
    PLAT_ASSERT(refused.empty() && fcntl(fileno(file.get()), F_GETFD) == FD_CLOEXEC);
    const bool appends = writes && flags & plat::openAppend;
    if (!content) permissions = flags & plat::openPrivate ? 0600 : 0664;
    if (!content || (writes && !appends) || (both && flags & plat::openTruncate)) content = "";
    if (mode != FileMode::read) {
      const std::string text = input.text(20);
      fwrite(text.data(), 1, text.size(), file.get());
      content->replace(appends ? content->size() : 0, text.size(), text);
      if (writes) file.flush();
    }
    if (!writes) {
      // Of this handle, with what it has still buffered.
      const int maximum = input.number(0, 40), length = static_cast<int>(content->size());
      std::string got;
      const std::string failure = fuzz::refusal([&] {
        plat::MBuf<unsigned char> bytes = file.readAll(maximum);
        got.assign(bytes.data(), bytes.data() + bytes.size());
      });
      if (length > maximum) {
        PLAT_ASSERT(failure == ": Error: file is too large (" + std::to_string(length) + " > " +
                                   std::to_string(maximum) + ")");
      } else if (length == 0) {
        PLAT_ASSERT(failure == systemText("Reading from file failed", 0));
      } else {
        PLAT_ASSERT(failure.empty() && got == content);
      }
    }
    struct stat info;
    PLAT_ASSERT(stat(path.c_str(), &info) == 0 && (info.st_mode & 07777) == permissions);
    PLAT_ASSERT(test::readFile(path) == content);
    PLAT_ASSERT(plat::fileGetSize(path.c_str()) == static_cast<plat::S64>(content->size()));
  }
  umask(mask);
}

// On a descriptor and on a file that buffers.
void checkPositions(fuzz::Input& input) {
  const std::string path = folder() / "positions";
  std::string content = input.text(30);
  test::writeFile(path, content);
  plat::FilePtr file;
  file.open(path.c_str(), FileMode::readWrite);
  const plat::OwnedFd fd(plat::fileOpenFd(path.c_str(), O_RDWR));
  plat::S64 position = 0;
  for (int steps = input.number(0, 6); steps > 0; steps--) {
    const int whence = input.number(0, 2), offset = input.number(-20, 20);
    const plat::S64 from = whence == SEEK_CUR ? position : whence == SEEK_END ? content.size() : 0;
    const bool ofFile = input.flag();
    auto seek = [&] {
      ofFile ? plat::fileSeek(file.get(), offset, whence)
             : plat::fileSeek(fd.get(), offset, whence);
    };
    if (!ofFile) lseek(fd.get(), position, SEEK_SET);
    if (ofFile) fseeko(file.get(), position, SEEK_SET);
    const std::string refused = fuzz::refusal(seek);
    PLAT_ASSERT(refused == (from + offset < 0 ? systemText("fileSeek", EINVAL) : ""));
    if (from + offset >= 0) position = from + offset;
    PLAT_ASSERT((ofFile ? plat::fileTell(file.get()) : plat::fileTell(fd.get())) == position);
    const int newSize = input.number(0, 40);
    if (ofFile && input.flag()) {
      fputc('x', file.get());
      if (content.size() <= static_cast<size_t>(position)) content.resize(position + 1);
      content[position++] = 'x';
      PLAT_ASSERT(plat::fileTell(file.get()) == position);
    }
    ofFile ? plat::fileTruncate(file.get(), newSize) : plat::fileTruncate(fd.get(), newSize);
    content.resize(newSize);
    PLAT_ASSERT(test::readFile(path) == content);
  }
}

// Names come, change and go.
void checkNames(fuzz::Input& input) {
  const test::ScratchFolder own(folder().path());
  std::set<std::string> files, folders;
  for (int steps = input.number(0, 8); steps > 0; steps--) {
    const std::string name(1, input.number('a', 'c')), other(1, input.number('a', 'c'));
    const std::string path = own / name, to = own / other;
    const bool isFile = files.count(name), isFolder = folders.count(name);
    std::string failure;
    int err = 0;
    switch (input.number(0, 3)) {
      case 0:
        PLAT_ASSERT(plat::mkDir(path.c_str(), false) == (!isFile && !isFolder));
        if (!isFile) folders.insert(name);
        break;
      case 1:
        if (!isFolder) test::writeFile(path, "");
        if (!isFolder) files.insert(name);
        break;
      case 2:
        failure = fuzz::refusal([&] { plat::fileRemove(path.c_str()); });
        err = isFolder ? EISDIR : isFile ? 0 : ENOENT;
        PLAT_ASSERT(failure == (err ? systemText("fileRemove(" + path + ")", err) : ""));
        files.erase(name);
        failure = fuzz::refusal([&] { plat::rmDir(path.c_str()); });
        err = isFolder ? 0 : ENOENT;
        PLAT_ASSERT(failure == (err ? systemText("rmDir(" + path + ")", err) : ""));
        folders.erase(name);
        break;
      default:
        if (!isFile || folders.count(other)) continue;
        plat::fileRename(path.c_str(), to.c_str());
        files.erase(name);
        files.insert(other);
    }
    for (const char* each : {"a", "b", "c"}) {
      const std::string at = own / each;
      PLAT_ASSERT(plat::fileExists(at.c_str()) == (files.count(each) || folders.count(each)));
      PLAT_ASSERT(!plat::fileExists((at + "/x").c_str()));
    }
  }
}

void checkCurrentDir() {
  const plat::String before = plat::currentDir();
  const test::ScratchFolder own(folder().path());
  plat::chDir(own.path().c_str());
  PLAT_ASSERT(plat::currentDir() == std::filesystem::current_path().c_str());
  plat::rmDir(own.path().c_str());
  PLAT_ASSERT(fuzz::refusal([] { plat::currentDir(); }) == systemText("getcwd", ENOENT));
  plat::chDir(before.get());
}

// A read returns one piece at most.
void checkReadFully(fuzz::Input& input) {
  int ends[2];
  PLAT_ASSERT(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0);
  plat::OwnedFd reader(ends[0]);
  std::string sent;
  {
    const plat::OwnedFd writer(ends[1]);
    for (int pieces = input.number(0, 5); pieces > 0; pieces--) {
      const std::string piece = input.text(9) + ".";
      PLAT_ASSERT(write(ends[1], piece.data(), piece.size()) > 0);
      sent += piece;
    }
  }
  std::string got(sent.size() + 2, 'x');
  plat::readFully(ends[0], got.data(), sent.size());
  PLAT_ASSERT(got == sent + "xx");
  PLAT_ASSERT(fuzz::refusal([&] { plat::readFully(ends[0], got.data(), 1); }) == ": End of file");
}

void checkUniqueName(fuzz::Input& input) {
  const std::string stem = input.flag() ? "a.b" : "ab", extension = input.flag() ? ".c" : "";
  const test::ScratchFolder own(folder().path());
  const size_t dot = (stem + extension).rfind('.');
  std::set<int> taken;
  for (int i = 0; i < 3; i++) taken.insert(input.number(0, 3));
  auto nameOf = [&](int counter) {
    std::string name = stem + extension;
    if (counter > 0) name.insert(std::min(dot, name.size()), "-" + std::to_string(counter));
    return own / name;
  };
  for (int counter : taken) test::writeFile(nameOf(counter), "");
  int free = 0;
  while (taken.count(free)) free++;
  const int limit = input.number(0, 4);
  const std::string failure = fuzz::refusal([&] {
    PLAT_ASSERT(plat::uniqueFileName(own.path().c_str(), (stem + extension).c_str(), "-", limit) ==
                nameOf(free).c_str());
  });
  PLAT_ASSERT(failure == (free > limit ? ": Too many files with same name" : ""));
}

void checkAbsolutePath(fuzz::Input& input) {
  const std::string root = folder().path();
  static const bool made = [&] {
    std::filesystem::create_directories(root + "/d/e");
    test::writeFile(root + "/d/f", "");
    std::filesystem::create_symlink("d", root + "/relative");
    std::filesystem::create_symlink(root + "/d/./e/", root + "/absolute");
    std::filesystem::create_symlink("relative/../d/e/..", root + "/nested");
    return true;
  }();
  const char* const names[] = {"d", "e",   "f",        ".",        "..",
                               "",  "...", "relative", "absolute", "nested"};
  std::string path = made ? root : "";
  for (int count = input.number(0, 6); count > 0; count--) {
    path += std::string("/") + names[input.number<size_t>(0, std::size(names) - 1)];
  }
  path += "/.";
  char expected[PATH_MAX];
  const bool good = realpath(path.c_str(), expected);
  const std::string text = good ? "" : systemText("realpath(" + path + ")", errno);
  const std::string failure =
      fuzz::refusal([&] { PLAT_ASSERT(plat::absolutePath(path.c_str()) == expected); });
  PLAT_ASSERT_DETAIL(failure == text, "%s not %s", failure.c_str(), text.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  switch (input.number(0, 9)) {
    case 0:
    case 1:
      checkPositions(input);
      break;
    case 2:
      checkUniqueName(input);
      break;
    case 3:
      checkNames(input);
      checkCurrentDir();
      break;
    case 4:
      checkReadFully(input);
      break;
    case 5:
    case 6:
      checkAbsolutePath(input);
      break;
    default:
      checkHandles(input);
  }
  return 0;
}
