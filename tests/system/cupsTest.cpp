#include <sys/stat.h>

#include <csignal>

#include "tests/system/SchedulerTest.h"

using test::Command;
using test::Process;
using test::Result;

namespace {

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

class Cups : public SchedulerTest {
 protected:
  void SetUp() override {
    SchedulerTest::SetUp();
    if (IsSkipped()) return;

    ASSERT_EQ(chown(output.path().c_str(), account.uid, account.gid), 0);
    addQueue("pdf", "PDF", packaged("qolt-pdf.ppd"));
    addQueue("ps", "PS", packaged("qolt-ps.ppd"));
    addQueue("named", "PDF", asIsPpd());
    test::writeFile(files / "text", text(100));
    Command toPdf(
        {"/usr/sbin/cupsfilter", "-m", "application/pdf", "-i", "text/plain", files / "text"});
    document = files / "document.pdf";
    test::writeFile(document, toPdf.run().out);
    ASSERT_EQ(test::readFile(document).substr(0, 5), "%PDF-");
  }

  std::string handedOver(const std::string& queue) {
    return test::readFile(stored(queue, {document}, {"-t", "Report"}));
  }
  // Prints and returns what arrives.
  std::string received(Process& server, const std::string& name, const std::string& queue,
                       std::vector<std::string> options) {
    options.insert(options.end(), {"-t", "Report"});
    int id = print(queue, {document}, options);
    EXPECT_TRUE(server.waitFor("received " + output / name + "\n")) << cups->waitForLog(id, "");
    std::string lines = cups->waitForLog(id, "qolt: socket connected successfully");
    EXPECT_NE(lines.find("qolt: backend dropped privs to uid=" + std::to_string(account.uid)),
              lines.npos);
    EXPECT_FALSE(std::filesystem::exists("/tmp/qolt-" + std::to_string(id) + ".in"));
    return test::readFile(output / name);
  }

  test::ScratchFolder output;
  std::string document;
};

TEST_F(Cups, schedulerListsTheDevice) {
  Result result = cups->client({"/usr/sbin/lpinfo", "-l", "-v"});
  EXPECT_NE(result.out.find("uri = qolt:/\n"
                            "        class = direct\n"
                            "        info = QOLT Remote Printer\n"
                            "        make-and-model = QOLT Printer\n"),
            std::string::npos)
      << result.out << result.err;
}

TEST_F(Cups, printedDocumentArrivesAsCupsHandsItOver) {
  Process server(receiver(output.path()));
  ASSERT_TRUE(server.waitFor("listening on"));
  const std::string original = test::readFile(document);
  EXPECT_TRUE(received(server, "Report-0.pdf", "named", {}) == original);
  EXPECT_TRUE(received(server, "Report-0_2.pdf", "named", {"-o", "raw"}) == original);
  const std::string pdf = received(server, "Report-0_3.pdf", "pdf", {});
  EXPECT_EQ(pdf.substr(0, 5), "%PDF-");
  EXPECT_TRUE(sameEveryTime(pdf) == sameEveryTime(handedOver("pdf")));
  const std::string postScript = received(server, "Report-0.ps", "ps", {});
  EXPECT_EQ(postScript.substr(0, 4), "%!PS");
  EXPECT_TRUE(sameEveryTime(postScript) == sameEveryTime(handedOver("ps")));
}

TEST_F(Cups, cancelledJobLeavesNothing) {
  test::BusyServer server(account, endpoint);
  int id = print("named", {document});
  cups->waitForLog(id, "qolt: connecting to socket");
  std::string prefix = "/tmp/qolt-" + std::to_string(id);
  EXPECT_TRUE(std::filesystem::exists(prefix + ".ini"));
  EXPECT_EQ(cups->client({"/usr/bin/cancel", std::to_string(id)}).status, 0);
  EXPECT_TRUE(test::eventually([&] { return !std::filesystem::exists(prefix + ".ini"); }));
  EXPECT_TRUE(test::eventually([&] { return !std::filesystem::exists(prefix + ".in"); }));
}
