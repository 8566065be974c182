#include <pwd.h>

#include <map>

#include "tests/support/PrivateScheduler.h"
#include "tests/support/ThrowAwayRoot.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

namespace fs = std::filesystem;
using test::Command;
using test::Process;
using test::Result;

class Package : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    for (const char* program : {"/usr/bin/cpack", "/usr/bin/dpkg", "/usr/bin/dpkg-shlibdeps"}) {
      if (access(program, X_OK) < 0) GTEST_SKIP() << "needs " << program;
    }
    // Compressed faster than what is handed out.
    runs({"/usr/bin/cpack", "--config", QOLT_BINARY_DIR "/CPackConfig.cmake", "-D",
          "CPACK_DEBIAN_COMPRESSION_TYPE=gzip", "-B", scratch / "package"});
    for (const auto& entry : fs::directory_iterator(scratch / "package")) {
      if (entry.path().extension() == ".deb") package = entry.path();
    }
    ASSERT_NE(package, "");
  }

  static Result succeeds(const Command& command) {
    Result result = command.run();
    EXPECT_EQ(result.status, 0) << command.arguments.back() << "\n" << result.out << result.err;
    return result;
  }
  static Result runs(const std::vector<std::string>& arguments) {
    return succeeds(Command(arguments));
  }

  // The same with an earlier version.
  std::string earlierPackage() const {
    const std::string folder = scratch / "earlier", control = folder + "/DEBIAN/control";
    runs({"/usr/bin/dpkg-deb", "-R", package, folder});
    std::string text = test::readFile(control);
    const size_t version = text.find("\nVersion: ") + 10;
    text.replace(version, text.find('\n', version) - version, "0~earlier");
    test::writeFile(control, text);
    runs({"/usr/bin/dpkg-deb", "-Znone", "-b", folder, scratch / "earlier.deb"});
    return scratch / "earlier.deb";
  }

  // Where nothing better can be had: without a scheduler, and no package but this one.
  void comesAndGoesInAFolder() const {
    const std::string machine = scratch / "machine", dpkg = machine + "/var/lib/dpkg/";
    for (const char* part : {"info", "updates"}) fs::create_directories(dpkg + part);
    test::writeFile(dpkg + "status", "");
    auto files = [&] {
      std::vector<std::string> all;
      for (const auto& entry : fs::recursive_directory_iterator(machine)) {
        if (!entry.path().string().starts_with(dpkg)) all.push_back(entry.path());
      }
      return all;
    };
    const auto before = files();
    auto dpkgRuns = [&](const std::string& action, const std::string& what) {
      runs({"/usr/bin/dpkg", "--root=" + machine, "--log=/dev/null", "--force-depends",
            "--no-triggers", action, what});
    };
    dpkgRuns("-i", earlierPackage());
    dpkgRuns("-i", package);
    EXPECT_TRUE(fs::exists(machine + "/usr/lib/cups/backend/qolt"));
    dpkgRuns("-r", "qolt");
    dpkgRuns("--purge", "qolt");
    EXPECT_EQ(files(), before);
  }

  // The first command in docs/install.md that begins so, without its comment.
  static std::string documented(const std::string& start) {
    std::istringstream lines(test::readFile(QOLT_SOURCE_DIR "/docs/install.md"));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("    " + start)) return line.substr(4, line.find("  #") - 4);
    }
    ADD_FAILURE() << "docs/install.md has no \"" << start << "\"";
    return "false";
  }

  test::ScratchFolder scratch;
  std::string package;
};

TEST_F(Package, holdsWhatAnAdministratorExpects) {
  const std::string plain = "-rw-r--r--", program = "-rwxr-xr-x";
  const std::map<std::string, std::string> modes = {
      {"./usr/bin/qolt-pagefile", program},
      {"./usr/bin/qolt-receiver", program},
      {"./usr/lib/cups/backend/qolt", "-rwx------"},
      {"./usr/lib/systemd/user/qolt-receiver.service", plain},
      {"./usr/share/doc/qolt/changelog.gz", plain},
      {"./usr/share/doc/qolt/copyright", plain},
      {"./usr/share/lintian/overrides/qolt", plain},
      {"./usr/share/man/man1/qolt-pagefile.1.gz", plain},
      {"./usr/share/man/man1/qolt-receiver.1.gz", plain},
      {"./usr/share/man/man5/qolt-job.5.gz", plain},
      {"./usr/share/man/man8/qolt.8.gz", plain},
      {"./usr/share/ppd/qolt/qolt-pdf.ppd", plain},
      {"./usr/share/ppd/qolt/qolt-ps.ppd", plain},
      {"./usr/share/ppd/qolt/qolt-raster.ppd", plain},
  };
  std::map<std::string, std::string> found;
  std::istringstream contents(runs({"/usr/bin/dpkg-deb", "-c", package}).out);
  std::string mode, owner, size, day, time, path;
  while (contents >> mode >> owner >> size >> day >> time >> path) {
    EXPECT_EQ(owner, "root/root") << path;
    if (mode[0] == 'd') {
      EXPECT_EQ(mode, "drwxr-xr-x") << path;
    } else {
      found[path] = mode;
    }
  }
  EXPECT_EQ(found, modes);

  const std::string depends = runs({"/usr/bin/dpkg-deb", "-f", package, "Depends"}).out;
  for (const char* needed : {"cups-daemon", "libcupsimage2", "libc6 (", "libpng16", "zlib1g ("}) {
    EXPECT_NE(depends.find(needed), std::string::npos) << depends;
  }
  // No scripts.
  runs({"/usr/bin/dpkg-deb", "-e", package, scratch / "control"});
  for (const auto& entry : fs::directory_iterator(scratch / "control")) {
    EXPECT_TRUE(entry.path().filename() == "control" || entry.path().filename() == "md5sums");
  }
  const std::string checks[] = {"lintian --allow-root --fail-on error " + package,
                                "cupstestppd -q " QOLT_BINARY_DIR "/ppd/*.ppd"};
  for (const std::string& check : checks) {
    const std::string name = check.substr(0, check.find(' '));
    if (access(("/usr/bin/" + name).c_str(), X_OK) == 0) runs({"/bin/sh", "-c", check});
  }
}

TEST_F(Package, cleanMachineInstallsPrintsReceivesAndRemoves) {
  std::string missing = test::PrivateScheduler::missing();
  if (!missing.empty()) GTEST_SKIP() << "needs " << missing;
  if (!test::hasRealLibrary()) GTEST_SKIP() << "needs libcupsimage2";
  test::ThrowAwayRoot root;
  if (!root.problem().empty()) {
    comesAndGoesInAFolder();
    GTEST_SKIP() << "needs a root to throw away: " << root.problem();
  }

  // Who the documented URIs speak of.
  constexpr uid_t uid = 1000;
  passwd* entry = getpwuid(uid);
  test::Account receiving{"", uid, entry ? entry->pw_gid : uid, true};
  if (!entry) {
    std::ofstream(root / "/etc/passwd", std::ios::app) << "qolt:x:1000:1000::/tmp/home:/bin/sh\n";
  }
  const std::string home = "/tmp/home";
  fs::create_directory(root / home);
  ASSERT_EQ(chown((root / home).c_str(), receiving.uid, receiving.gid), 0);
  fs::copy_file(QOLT_SOURCE_DIR "/packaging/demo/test-page.pdf", root / home + "/letter.pdf");
  fs::copy_file(earlierPackage(), root / "/tmp/earlier.deb");
  fs::copy_file(package, root / "/tmp/qolt.deb");
  test::writeFile(root / "/etc/cups/cupsd.conf",
                  "LogLevel debug\nListen /run/cups/cups.sock\nBrowsing No\n"
                  "<Location />\n  Order allow,deny\n</Location>\n");
  std::ofstream(root / "/etc/cups/cups-files.conf", std::ios::app)
      << "PassEnv ASAN_OPTIONS\nPassEnv UBSAN_OPTIONS\n";

  Process scheduler(root.command({"/usr/sbin/cupsd", "-f"}));
  ASSERT_TRUE(test::eventually(
      [&] { return root.shell("lpstat -r").run().out.find("is running") != std::string::npos; }));
  succeeds(root.shell("lpadmin -p bystander -v socket://127.0.0.1 -m raw -E"));

  auto changes = [&] {
    auto all = root.changes();
    std::erase_if(all, [](const std::string& path) {
      // What dpkg keeps, and the scheduler.
      for (const char* kept : {"/var/lib/dpkg/", "/var/log/", "/etc/cups/", "/run/cups",
                               "/var/cache/cups/", "/var/spool/cups/"}) {
        if (path.starts_with(kept)) return true;
      }
      return false;
    });
    return all;
  };
  const auto before = changes();
  const std::string dpkg = "dpkg --no-triggers --force-unsafe-io ";
  for (const char* deb : {"/tmp/earlier.deb", "/tmp/qolt.deb"}) {
    succeeds(root.shell(dpkg + "-i " + deb));
  }
  EXPECT_NE(changes(), before);

  EXPECT_NE(root.shell("lpinfo -v").run().out.find("direct qolt:/\n"), std::string::npos);
  if (access("/usr/bin/systemd-analyze", X_OK) == 0) {
    succeeds(root.shell("systemd-analyze --user --man=no verify qolt-receiver.service")
                 .env("XDG_RUNTIME_DIR", home));
  }
  Process receiver(
      root.shell("exec " + documented("qolt-receiver ")).as(receiving).env("HOME", home));
  ASSERT_TRUE(receiver.waitFor("listening on /tmp/.qolt-1000/print.printq\n"));
  const struct {
    std::string queue, format, file, start;
  } cases[] = {{"office", "ZRLE", "letter.pdf-0.png", "\x89PNG"},
               {"office-pdf", "PDF", "letter-0.pdf", "%PDF-"},
               {"office-ps", "PS", "letter.pdf-0.ps", "%!PS-"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.queue);
    succeeds(root.shell(documented("lpadmin -p " + c.queue + " -v qolt:/" + c.format + "/")));
    std::string print = documented("lp -d office ");
    print.replace(print.find("office"), 6, c.queue);
    succeeds(root.shell("cd " + home + " && " + print));
    EXPECT_TRUE(receiver.waitFor("received " + home + "/" + c.file + "\n"))
        << test::readFile(root / "/var/log/cups/error_log");
    EXPECT_TRUE(test::readFile(root / home + "/" + c.file).starts_with(c.start));
  }
  const std::string log = test::readFile(root / "/var/log/cups/error_log");
  EXPECT_NE(log.find("[Job 1] qolt: socket connected successfully"), std::string::npos);

  const std::string queues = succeeds(root.shell("lpstat -v")).out;
  EXPECT_NE(queues.find("bystander"), std::string::npos);
  succeeds(root.shell(dpkg + "-r qolt"));
  succeeds(root.shell(dpkg + "--purge qolt"));
  EXPECT_EQ(changes(), before);
  EXPECT_EQ(succeeds(root.shell("lpstat -v")).out, queues);
}
