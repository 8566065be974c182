#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Account.h"
#include "tests/support/Command.h"
#include "tests/support/FakeServer.h"
#include "tests/support/ScratchFolder.h"

// What every system test needs: root, an account, and names in /tmp that no other
// run uses.
class SystemTest : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    if (!account.found) GTEST_SKIP() << "needs an unprivileged account";
  }
  void TearDown() override {
    std::error_code ignored;
    for (const std::string& path : jobFiles()) std::filesystem::remove_all(path, ignored);
    rmdir(privateDir.c_str());  // unless something else uses it
  }

  std::string jobPath(const std::string& suffix) const { return "/tmp/qolt-" + job + suffix; }

  // Everything of the jobs of this test in /tmp, sorted.
  std::vector<std::string> jobFiles() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      std::string path = entry.path();
      for (const std::string& id : jobs) {
        std::string prefix = "/tmp/qolt-" + id;
        if (path.starts_with(prefix + ".") || path.starts_with(prefix + "-")) found.push_back(path);
      }
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  // 4 bytes of length, big-endian, and the path of the description file.
  static std::string message(const std::string& path) {
    return std::string(3, '\0') + static_cast<char>(path.size()) + path;
  }
  std::string message() const { return message(jobPath(".ini")); }

  static std::string description(const std::string& format, const std::vector<std::string>& files,
                                 const std::string& queue = "queue") {
    std::string text = "[Document]\nName=A title\n[Device]\nDeviceName=" + queue + "\n[" + format +
                       "]\nCount=" + std::to_string(files.size()) + "\n";
    for (size_t i = 0; i < files.size(); i++) {
      text += "File" + std::to_string(i) + "=" + files[i] + "\n";
    }
    return text;
  }

  std::string uri(const std::string& format) const {
    return "qolt:/" + format + "/" + std::to_string(account.uid) + "@" + endpoint;
  }

  // A job of the backend; with a document file it is the last argument.
  test::Command backend(const std::string& format, const std::string& document = "") const {
    std::vector<std::string> arguments = {QOLT_BACKEND, job, "user", "A title", "1", ""};
    if (!document.empty()) arguments.push_back(document);
    test::Command command(arguments);
    command.env("DEVICE_URI", uri(format)).env("PRINTER", "queue");
    return command;
  }

  test::Command receiver(const std::string& output,
                         const std::string& more = "--timeout=60") const {
    test::Command command({QOLT_RECEIVER, "--name=" + endpoint, "--output=" + output, more});
    command.as(account);
    return command;
  }

  const test::Account account = test::unprivilegedAccount();
  const test::Account stranger = test::unprivilegedAccount(1);
  const std::string endpoint = "test" + std::to_string(getpid());
  const std::string job = endpoint;
  std::vector<std::string> jobs = {job};
  const std::string privateDir = "/tmp/.qolt-" + std::to_string(account.uid);
  const std::string socketPath = privateDir + "/print." + endpoint;
};
