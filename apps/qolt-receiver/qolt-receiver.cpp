#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "apps/common/standardStreams.h"
#include "apps/qolt-receiver/CommandLine.h"
#include "apps/qolt-receiver/CommandRunner.h"
#include "apps/qolt-receiver/Endpoint.h"
#include "apps/qolt-receiver/HeldJobs.h"
#include "apps/qolt-receiver/JobWorker.h"
#include "apps/qolt-receiver/Journal.h"
#include "apps/qolt-receiver/LogChannel.h"
#include "apps/qolt-receiver/OutputFolder.h"
#include "apps/qolt-receiver/Server.h"
#include "apps/qolt-receiver/Signals.h"
#include "apps/qolt-receiver/joinPages.h"
#include "apps/qolt-receiver/texts.h"
#include "base/io/unix/SelectManager.h"
#include "base/loc/Localize.h"
#include "base/os/AppInfo.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Configuration.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
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
plat::IntParameter parallel("Parallel", nullptr, 1, false, nullptr, 1, 8, nullptr,
                            "receiver_param_parallel");
plat::BoolParameter usesStdin("Stdin", nullptr, false, false, nullptr, nullptr,
                              "receiver_param_stdin");
plat::BoolParameter removesDocument("Delete", nullptr, false, false, nullptr, nullptr,
                                    "receiver_param_delete");
plat::BoolParameter takeOver("TakeOver", nullptr, true, false, nullptr, nullptr,
                             "receiver_param_take_over");
plat::IntParameter orphanHours("OrphanHours", nullptr, 24, false, nullptr, 0, 87600, nullptr,
                               "receiver_param_orphan_hours");
plat::BoolParameter releaseHeld("ReleaseHeld", nullptr, true, false, nullptr, nullptr,
                                "receiver_param_release_held");
plat::StringParameter logServer("LogServer", nullptr, "receiver_param_log_server", "");

void printHelp(plat::HelpMode mode) {
  plat::printUsage(mode != plat::helpUsage, true);
  exit(0);
}

// What can be seen to be wrong before anything is received.
void checkParameters(const CommandLine& commandLine) {
  if (!plat::LogSrc::isSpecRight()) {
    throw plat::Exception("Log: not SOURCE:DESTINATION:LEVEL[,...]");
  }
  if (!loc::Localize::instance().hasLocale()) throw plat::Exception("Locale: no such language");
  if (!commandLine.isEmpty()) checkProgram(commandLine.program());
}

void serve() {
  const CommandLine commandLine(command.getValue().get());
  checkParameters(commandLine);
  umask(077);
  io::SelectManager loop;
  std::optional<LogChannel> logChannel;
  if (*logServer.getValue().get()) logChannel.emplace(logServer.getValue().get());

  // First: what follows is only for one at a time.
  const char* endpointName = name.getValue().get();
  auto endpoint = std::make_unique<Endpoint>(endpointName);
  const std::string path = endpoint->path();
  OutputFolder folder(output.getValue().get(), endpointName);
  Journal journal(folder.pathOf(folder.hiddenName("journal")));
  CommandRunner commands(commandLine, {parallel, usesStdin, removesDocument}, journal);
  Signals signals([&](int number) {
    if (number == SIGCHLD) {
      commands.childEnded();
    } else {
      loop.stop();
    }
  });
  JobWorker worker(
      JobTaker(std::move(folder), journal, join ? joinPages : nullptr, !commandLine.isEmpty()),
      journal.jobs(), {takeOver, orphanHours},
      [&](const Document& document) { commands.run(document); });
  const Server server(std::move(endpoint), endpointName, timeoutS,
                      [&](plat::String job) { worker.add(std::move(job)); });
  printf("listening on %s\n", path.c_str());
  std::optional<HeldJobs> heldJobs;
  if (releaseHeld) heldJobs.emplace(endpointName);
  loop.run();
}

}  // namespace

}  // namespace receiver

int main(int argc, char** argv) {
  job::occupyStandardStreams();
  os::AppInfo::set("print", "Quenfor", "qolt", nullptr, nullptr);
  receiver::addTexts();
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc == 2 && !strcmp(argv[1], "--version")) {
    puts("qolt-receiver " QOLT_VERSION);
    return 0;
  }
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
