#include <sys/stat.h>

#include <csignal>

#include "tests/support/PrivateScheduler.h"
#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

using test::Command;
using test::Process;
using test::Result;

namespace {

constexpr char packaging[] = QOLT_SOURCE_DIR "/packaging/";

// A backend that does nothing but store what CUPS hands it, under its device URI.
constexpr char storingBackend[] =
    "#!/bin/sh\n"
    "[ $# = 0 ] && exit 0\n"
    "umask 077\n"
    "cat ${6:+\"$6\"} > \"${DEVICE_URI#store:}.new\" && mv \"${DEVICE_URI#store:}.new\" "
    "\"${DEVICE_URI#store:}\"\n";

std::string page(int lines) {
  std::string text;
  for (int i = 0; i < lines; i++) text += "line " + std::to_string(i) + " of the document\n";
  return text;
}

// The filters put the time and the job into PostScript comments and the PDF trailer.
std::string sameEveryTime(const std::string& document) {
  std::istringstream in(document);
  std::string rest;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("%", 0) != 0 && line.find("/ID [") == line.npos) rest += line + "\n";
  }
  return rest;
}

}  // namespace

class Cups : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    std::string missing = test::PrivateScheduler::missing();
    if (!missing.empty()) GTEST_SKIP() << "needs " << missing;

    ASSERT_EQ(chown(output.path().c_str(), account.uid, account.gid), 0);
    test::writeFile(files / "store", storingBackend);
    // The document goes as it is, in the spooled file.
    std::string ppd = test::readFile(packaging + std::string("qolt-pdf.ppd"));
    size_t at = ppd.find("*cupsFilter:");
    ppd.replace(at, ppd.find('\n', at) - at,
                "*cupsFilter2: \"application/pdf application/pdf 0 -\"");
    test::writeFile(files / "named.ppd", ppd);
    cups = std::make_unique<test::PrivateScheduler>(std::vector<test::PrivateScheduler::Backend>{
        {"qolt", QOLT_BACKEND}, {"store", files / "store"}});
    cups->addQueue("pdf", uri("PDF"), packaging + std::string("qolt-pdf.ppd"));
    cups->addQueue("ps", uri("PS"), packaging + std::string("qolt-ps.ppd"));
    cups->addQueue("named", uri("PDF"), files / "named.ppd");
    cups->addQueue("store-pdf", "store:" + files / "stored",
                   packaging + std::string("qolt-pdf.ppd"));
    cups->addQueue("store-ps", "store:" + files / "stored", packaging + std::string("qolt-ps.ppd"));
    test::writeFile(files / "text", page(100));
    Command toPdf(
        {"/usr/sbin/cupsfilter", "-m", "application/pdf", "-i", "text/plain", files / "text"});
    document = files / "document.pdf";
    test::writeFile(document, toPdf.run().out);
    ASSERT_EQ(test::readFile(document).substr(0, 5), "%PDF-");
  }
  void TearDown() override {
    cups.reset();
    SystemTest::TearDown();
  }

  std::string stored(const std::string& queue) {
    std::filesystem::remove(files / "stored");
    cups->print(queue, document, {"-t", "Report"});
    EXPECT_TRUE(test::eventually([&] { return std::filesystem::exists(files / "stored"); }));
    return test::readFile(files / "stored");
  }
  // Prints and returns what arrives.
  std::string received(Process& server, const std::string& name, const std::string& queue,
                       std::vector<std::string> options) {
    options.insert(options.end(), {"-t", "Report"});
    int id = cups->print(queue, document, options);
    EXPECT_TRUE(server.waitFor("received " + output / name + "\n")) << cups->waitForLog(id, "");
    std::string lines = cups->waitForLog(id, "qolt: socket connected successfully");
    EXPECT_NE(lines.find("qolt: backend dropped privs to uid=" + std::to_string(account.uid)),
              lines.npos);
    EXPECT_FALSE(std::filesystem::exists("/tmp/qolt-" + std::to_string(id) + ".in"));
    return test::readFile(output / name);
  }

  test::ScratchFolder files, output;
  std::string document;
  std::unique_ptr<test::PrivateScheduler> cups;
};

TEST_F(Cups, schedulerListsTheDevice) {
  Result result = cups->client({"/usr/sbin/lpinfo", "-v"});
  EXPECT_NE(result.out.find("direct qolt:/\n"), std::string::npos) << result.out << result.err;
}

TEST_F(Cups, printedDocumentArrivesAsCupsHandsItOver) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string original = test::readFile(document);
  EXPECT_TRUE(received(server, "Report-0.pdf", "named", {}) == original);
  EXPECT_TRUE(received(server, "Report-0_2.pdf", "named", {"-o", "raw"}) == original);
  const std::string pdf = received(server, "Report-0_3.pdf", "pdf", {});
  EXPECT_EQ(pdf.substr(0, 5), "%PDF-");
  EXPECT_TRUE(sameEveryTime(pdf) == sameEveryTime(stored("store-pdf")));
  const std::string postScript = received(server, "Report-0.ps", "ps", {});
  EXPECT_EQ(postScript.substr(0, 4), "%!PS");
  EXPECT_TRUE(sameEveryTime(postScript) == sameEveryTime(stored("store-ps")));
}

TEST_F(Cups, jobWithoutAServerIsAborted) {
  int id = cups->print("named", document);
  std::string lines = cups->waitForLog(id, "Backend returned status 1");
  EXPECT_NE(lines.find("qolt: connect: "), lines.npos) << lines;
  EXPECT_FALSE(std::filesystem::exists("/tmp/qolt-" + std::to_string(id) + ".in"));
}

TEST_F(Cups, cancelledJobLeavesNothing) {
  test::FakeServer server(account, endpoint, 0);
  std::vector<int> queued;
  for (int fd; (fd = test::connectTo(socketPath, false)) >= 0;) queued.push_back(fd);
  int id = cups->print("named", document);
  cups->waitForLog(id, "qolt: connecting to socket");
  std::string prefix = "/tmp/qolt-" + std::to_string(id);
  EXPECT_TRUE(std::filesystem::exists(prefix + ".ini"));
  EXPECT_EQ(cups->client({"/usr/bin/cancel", std::to_string(id)}).status, 0);
  EXPECT_TRUE(test::eventually([&] { return !std::filesystem::exists(prefix + ".ini"); }));
  EXPECT_TRUE(test::eventually([&] { return !std::filesystem::exists(prefix + ".in"); }));
  for (int fd : queued) close(fd);
}
