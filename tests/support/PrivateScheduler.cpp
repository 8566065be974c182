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

// From what lp says.
int jobId(const std::string& queue, const Result& lp) {
  int id = 0;
  EXPECT_EQ(sscanf(lp.out.c_str(), ("request id is " + queue + "-%d").c_str(), &id), 1)
      << lp.out << lp.err;
  return id;
}

}  // namespace

std::string PrivateScheduler::missing() {
  for (const char* file : {"/usr/sbin/cupsd", "/usr/bin/lp", "/usr/bin/lpstat", "/usr/bin/cancel",
                           "/usr/sbin/lpadmin", "/usr/sbin/lpinfo", "/usr/sbin/cupsenable",
                           "/usr/sbin/cupsfilter", "/usr/lib/cups/filter/pdftopdf",
                           "/usr/lib/cups/filter/pdftops", "/usr/lib/cups/filter/texttopdf",
                           "/usr/lib/cups/filter/imagetopdf", "/usr/lib/cups/filter/gstoraster",
                           "/usr/lib/cups/filter/bannertopdf", "/usr/bin/pdftops", "/usr/bin/gs"}) {
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

Command PrivateScheduler::clientCommand(std::vector<std::string> arguments) const {
  Command command(std::move(arguments));
  std::ifstream variables(scratch / "environment");
  for (std::string line; std::getline(variables, line);) {
    size_t equals = line.find('=');
    command.env(line.substr(0, equals), line.substr(equals + 1));
  }
  return command;
}

void PrivateScheduler::addQueue(const std::string& name, const std::string& uri,
                                const std::string& ppd, const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"/usr/sbin/lpadmin", "-p", name, "-v", uri, "-P", ppd};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back("-E");
  auto result = client(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
}

int PrivateScheduler::print(const std::string& queue, const std::vector<std::string>& documents,
                            const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"/usr/bin/lp", "-d", queue};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), documents.begin(), documents.end());
  return jobId(queue, client(arguments));
}

std::vector<int> PrivateScheduler::printTogether(const std::vector<Job>& jobs) {
  std::vector<std::unique_ptr<Process>> clients;
  for (const Job& job : jobs) {
    clients.push_back(
        std::make_unique<Process>(clientCommand({"/usr/bin/lp", "-d", job.queue, job.document})));
  }
  std::vector<int> ids;
  for (size_t i = 0; i < jobs.size(); i++) ids.push_back(jobId(jobs[i].queue, clients[i]->wait()));
  return ids;
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
