#include "tests/support/PrivateScheduler.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "tests/support/eventually.h"

namespace test {

namespace {

// Sets up the folder and becomes the scheduler.
constexpr char starter[] = QOLT_SOURCE_DIR "/scripts/private-scheduler";

}  // namespace

std::string PrivateScheduler::missing() {
  for (const char* file : {"/usr/sbin/cupsd", "/usr/bin/lp", "/usr/bin/lpstat", "/usr/bin/cancel",
                           "/usr/sbin/lpadmin", "/usr/sbin/lpinfo", "/usr/sbin/cupsfilter",
                           "/usr/lib/cups/filter/pdftopdf", "/usr/lib/cups/filter/pdftops",
                           "/usr/lib/cups/filter/texttopdf", "/usr/lib/cups/filter/imagetopdf",
                           "/usr/lib/cups/filter/gstoraster", "/usr/bin/pdftops", "/usr/bin/gs"}) {
    if (access(file, X_OK) < 0) return file;
  }
  return "";
}

PrivateScheduler::PrivateScheduler(const std::vector<Backend>& backends) {
  std::vector<std::string> arguments = {"/bin/bash", starter, scratch.path()};
  for (const Backend& backend : backends) arguments.push_back(backend.name + "=" + backend.file);
  scheduler = std::make_unique<Process>(Command(arguments));
  bool running = eventually([this] {
    return client({"/usr/bin/lpstat", "-r"}).out.find("is running") != std::string::npos;
  });
  if (!running) throw std::runtime_error("the scheduler does not start\n" + log());
}

Result PrivateScheduler::client(std::vector<std::string> arguments) {
  Command command(std::move(arguments));
  std::ifstream variables(scratch / "environment");
  for (std::string line; std::getline(variables, line);) {
    size_t equals = line.find('=');
    command.env(line.substr(0, equals), line.substr(equals + 1));
  }
  return command.run();
}

void PrivateScheduler::addQueue(const std::string& name, const std::string& uri,
                                const std::string& ppd) {
  auto result = client({"/usr/sbin/lpadmin", "-p", name, "-v", uri, "-P", ppd, "-E"});
  EXPECT_EQ(result.status, 0) << result.err;
}

int PrivateScheduler::print(const std::string& queue, const std::vector<std::string>& documents,
                            const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"/usr/bin/lp", "-d", queue};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), documents.begin(), documents.end());
  auto result = client(arguments);
  int job = 0;
  EXPECT_EQ(sscanf(result.out.c_str(), ("request id is " + queue + "-%d").c_str(), &job), 1)
      << result.out << result.err;
  return job;
}

std::string PrivateScheduler::waitForLog(int job, const std::string& text) {
  std::string tag = "[Job " + std::to_string(job) + "]", lines;
  bool found = eventually([&] {
    std::istringstream all(log());
    lines.clear();
    for (std::string line; std::getline(all, line);) {
      if (line.find(tag) != line.npos) lines += line + "\n";
    }
    return lines.find(text) != lines.npos;
  });
  EXPECT_TRUE(found) << "no \"" << text << "\" in\n" << lines;
  return lines;
}

}  // namespace test
