#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "apps/qolt-receiver/CommandRunner.h"
#include "apps/qolt-receiver/HeldJobs.h"
#include "apps/qolt-receiver/JobWorker.h"
#include "apps/qolt-receiver/LogChannel.h"
#include "apps/qolt-receiver/Server.h"
#include "apps/qolt-receiver/Signals.h"
#include "apps/qolt-receiver/joinPages.h"
#include "apps/qolt-receiver/texts.h"
#include "base/io/unix/SelectManager.h"
#include "base/os/AppInfo.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Configuration.h"
#include "base/plat/Exception.h"
#include "base/plat/cli/commandLine.h"
#include "base/plat/cli/parameterListing.h"
#include "base/plat/logdests/logDests.h"
#include "base/plat/utf8.h"

namespace receiver {

namespace {

plat::StringParameter name("Name", nullptr, "receiver_param_name", "printq");
plat::StringParameter output("Output", nullptr, "receiver_param_output", ".");
plat::IntParameter timeoutS("Timeout", nullptr, 10, false, nullptr, 1, 3600, nullptr,
                            "receiver_param_timeout");
plat::BoolParameter join("Join", nullptr, false, false, nullptr, nullptr, "receiver_param_join");
plat::StringParameter command("Command", nullptr, "receiver_param_command", "");
plat::BoolParameter releaseHeld("ReleaseHeld", nullptr, true, false, nullptr, nullptr,
                                "receiver_param_release_held");
plat::StringParameter logServer("LogServer", nullptr, "receiver_param_log_server", "");

void printHelp(plat::HelpMode mode) {
  plat::printUsage(mode != plat::helpUsage, true);
  exit(0);
}

void serve() {
  umask(077);
  io::SelectManager loop;
  std::optional<LogChannel> logChannel;
  if (*logServer.getValue().get()) logChannel.emplace(logServer.getValue().get());
  CommandRunner commands(command.getValue().get());
  Signals signals([&](int number) {
    if (number == SIGCHLD) {
      commands.childEnded();
    } else {
      loop.stop();
    }
  });
  JobWorker worker(JobTaker(output.getValue().get(), join ? joinPages : nullptr),
                   [&](const std::string& path) { commands.run(path); });
  Server server(name.getValue().get(), timeoutS,
                [&](plat::String path) { worker.add(std::move(path)); });
  printf("listening on %s\n", server.path());
  std::optional<HeldJobs> heldJobs;
  if (releaseHeld) heldJobs.emplace(name.getValue().get());
  loop.run();
}

}  // namespace

}  // namespace receiver

int main(int argc, char** argv) {
  os::AppInfo::set("print", "Quenfor", "qolt", nullptr, nullptr);
  receiver::addTexts();
  setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    plat::Configuration& parameters = plat::Configuration::global();
    // Unless told otherwise, what goes wrong is seen.
    parameters.setParam("Log", "*:stderr:0", 0);
    char** words = argv + (argc > 0);
    plat::parseCommandLine(parameters, words, receiver::printHelp);
    plat::startLogging();
    plat::logParams(parameters);
    receiver::serve();
  } catch (const plat::Exception& problem) {
    fprintf(stderr, "qolt-receiver: %s\n", plat::escapeUtf8(problem.message, '~').get());
    return 1;
  }
  return 0;
}
