#include "tests/support/ThrowAwayRoot.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace test {

namespace {

// Empty, or the call that failed. Ends in the folder.
std::string makeRoot(const std::string& folder) {
  const std::string root = folder + "/root", upper = folder + "/upper", work = folder + "/work",
                    layers = "lowerdir=/,upperdir=" + upper + ",workdir=" + work;
  auto failed = [](const char* call) { return std::string(call) + ": " + strerror(errno); };
  if (unshare(CLONE_NEWNS | CLONE_NEWNET) < 0) return failed("unshare");
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) < 0 ||
      mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) < 0 || chdir(folder.c_str()) < 0) {
    return failed("mount");
  }
  for (const std::string& part : {root, upper, work}) fs::create_directory(part);
  if (mount("overlay", root.c_str(), "overlay", 0, layers.c_str()) < 0) return failed("overlay");
  for (const char* shared : {"/proc", "/dev"}) {
    if (mount(shared, (root + shared).c_str(), nullptr, MS_BIND | MS_REC, nullptr) < 0) {
      return failed(shared);
    }
  }
  if (mount("tmpfs", (root + "/tmp").c_str(), "tmpfs", 0, "mode=1777") < 0) return failed("/tmp");
  // Parts of the machine may lie on file systems of their own.
  return access((root + "/usr/bin/env").c_str(), X_OK) < 0 ? failed("/usr") : "";
}

[[noreturn]] void keepRoot(const std::string& folder, int told) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const std::string problem = makeRoot(folder);
  // A byte in front: nothing at all is a failure too.
  if (write(told, ("." + problem).c_str(), problem.size() + 1) < 0) _exit(1);
  close(told);
  for (;;) pause();
}

bool enter(const std::string& keeper, const std::string& root) {
  for (const char* space : {"/ns/mnt", "/ns/net"}) {
    int fd = open((keeper + space).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || setns(fd, 0) < 0) return false;
  }
  return chroot(root.c_str()) == 0 && chdir("/") == 0;
}

}  // namespace

ThrowAwayRoot::ThrowAwayRoot() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throw std::runtime_error("pipe2");
  keeper = fork();
  if (keeper < 0) throw std::runtime_error("fork");
  if (keeper == 0) keepRoot(scratch.path(), ends[1]);
  close(ends[1]);
  char block[256];
  std::string told;
  for (ssize_t n; (n = read(ends[0], block, sizeof(block))) > 0;) {
    told.append(block, static_cast<size_t>(n));
  }
  close(ends[0]);
  problem_ = told.empty() ? "it ended" : told.substr(1);
}

ThrowAwayRoot::~ThrowAwayRoot() {
  kill(keeper, SIGKILL);
  waitpid(keeper, nullptr, 0);
}

std::string ThrowAwayRoot::ofKeeper(const char* entry) const {
  return "/proc/" + std::to_string(keeper) + entry;
}

std::string ThrowAwayRoot::operator/(const std::string& path) const {
  return ofKeeper("/cwd/root") + path;
}

Command ThrowAwayRoot::command(const std::vector<std::string>& programAndArguments) const {
  return Command(programAndArguments).before([process = ofKeeper(""), root = scratch / "root"] {
    return enter(process, root);
  });
}

std::vector<std::string> ThrowAwayRoot::changes() const {
  const std::string upper = ofKeeper("/cwd/upper");
  std::vector<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(upper)) {
    std::string path = entry.path().string().substr(upper.size());
    if (!entry.is_directory() || entry.is_symlink() || !fs::exists(path)) found.push_back(path);
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace test
