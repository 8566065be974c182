#include <pwd.h>
#include <sys/stat.h>

#include <map>
#include <random>
#include <set>
#include <sstream>

#include "base/rdr/FileInStream.h"
#include "libs/pagefile/PageFileReader.h"
#include "tests/support/cupsimage/library.h"
#include "tests/support/rasterWriter.h"
#include "tests/system/SchedulerTest.h"

namespace fs = std::filesystem;
using test::Account;
using test::Command;
using test::FakeServer;
using test::PrivateScheduler;

namespace {

// A document that no other one equals.
std::string randomDocument(uint32_t seed, size_t bytes = 300000) {
  std::minstd_rand random(seed);
  std::string text = "%PDF-1.4\n";
  while (text.size() < bytes) text += static_cast<char>(random() >> 8);
  return text;
}

// Each page is one grey, 0 (black) to 9.
std::string greyPages(const std::string& greys) {
  std::vector<std::string> objects = {"<</Type/Catalog/Pages 2 0 R>>", ""};
  std::string kids;
  for (char grey : greys) {
    std::string content = std::string("0.") + grey + " g 0 0 595 842 re f";
    kids += std::to_string(objects.size() + 1) + " 0 R ";
    objects.push_back("<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents " +
                      std::to_string(objects.size() + 2) + " 0 R>>");
    objects.push_back("<</Length " + std::to_string(content.size()) + ">>stream\n" + content +
                      "\nendstream");
  }
  objects[1] = "<</Type/Pages/Count " + std::to_string(greys.size()) + "/Kids[" + kids + "]>>";

  std::string text = "%PDF-1.4\n", table;
  for (size_t i = 0; i < objects.size(); i++) {
    char entry[32];
    snprintf(entry, sizeof(entry), "%010zu 00000 n \n", text.size());
    table += entry;
    text += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::string size = std::to_string(objects.size() + 1), start = std::to_string(text.size());
  return text + "xref\n0 " + size + "\n0000000000 65535 f \n" + table +
         "trailer<</Root 1 0 R/Size " + size + ">>\nstartxref\n" + start + "\n%%EOF\n";
}

// What greyPages() made, or "-" for a banner, which is white there.
char greyOf(unsigned value) {
  unsigned tenths = (value * 10 + 127) / 255;
  return tenths > 9 ? '-' : static_cast<char>('0' + tenths);
}

std::string greysOfPageFiles(const std::vector<std::string>& paths) {
  std::string greys;
  for (const std::string& path : paths) {
    rdr::FileInStream file(path.c_str(), 0);
    pagefile::PageFileReader reader(file);
    greys += greyOf(reader.nextBand()->pixels[20 * reader.header().width + 20] & 0xff);
  }
  return greys;
}

// Of one PostScript or PDF document, or of PostScript documents behind each other.
std::string greysOfDocument(const std::string& path) {
  test::Result result = Command({"/usr/bin/gs", "-q", "-dBATCH", "-dNOPAUSE", "-dSAFER", "-r20",
                                 "-sDEVICE=pgmraw", "-o", "-", path})
                            .run();
  EXPECT_EQ(result.status, 0) << result.err;
  std::istringstream pictures(result.out);
  std::string greys, line;
  while (std::getline(pictures, line)) {
    EXPECT_EQ(line, "P5");
    size_t width = 0, height = 0;
    unsigned maximum = 0;
    while (pictures.peek() == '#') std::getline(pictures, line);
    pictures >> width >> height >> maximum;
    std::string pixels(width * height, '\0');
    if (!pictures.ignore() || !pictures.read(pixels.data(), static_cast<long>(pixels.size()))) {
      ADD_FAILURE() << "no picture";
      break;
    }
    greys += greyOf(static_cast<uint8_t>(pixels[5 * width + 5]));
  }
  return greys;
}

}  // namespace

// Queues as an administrator sets them up, and what users do with them.
class Queue : public SchedulerTest {
 protected:
  std::string saved(const std::string& name, const std::string& text) const {
    test::writeFile(files / name, text);
    return files / name;
  }
  static std::string path(int id, const std::string& suffix) {
    return "/tmp/qolt-" + std::to_string(id) + suffix;
  }
  static std::string announced(int id) { return message(path(id, ".ini")); }
  // In the order of the description.
  static std::vector<std::string> documentsOf(int id) {
    std::istringstream description(test::readFile(path(id, ".ini")));
    std::vector<std::string> paths;
    for (std::string line; std::getline(description, line);) {
      if (line.starts_with("File")) paths.push_back(line.substr(line.find('=') + 1));
    }
    return paths;
  }
  // Each of them once, in any order.
  static void expectAnnouncements(FakeServer& server, std::set<std::string> expected) {
    while (!expected.empty()) {
      const std::string message = server.receive();
      ASSERT_EQ(expected.erase(message), 1u) << message;
    }
  }
  std::string pending(const std::string& queue) const {
    return cups->client({"/usr/bin/lpstat", "-W", "not-completed", "-o", queue}).out;
  }
  std::vector<int> printTogether(const std::vector<PrivateScheduler::Job>& all) {
    std::vector<int> ids = cups->printTogether(all);
    for (int id : ids) jobs.push_back(std::to_string(id));
    return ids;
  }
};

TEST_F(Queue, jobsSentTogetherReachTheirAccountsOnceAndWhole) {
  const struct {
    const char* queue;
    Account account;
    int jobs;
  } receiving[] = {
      {"busy", account, 20},
      {"second", test::unprivilegedAccount(1), 3},
      {"third", test::unprivilegedAccount(2), 3},
  };
  std::vector<std::unique_ptr<FakeServer>> servers;
  std::vector<PrivateScheduler::Job> all;
  std::vector<std::string> texts;
  for (const auto& to : receiving) {
    if (!to.account.found) GTEST_SKIP() << "needs three unprivileged accounts";
    servers.push_back(std::make_unique<FakeServer>(to.account, endpoint));
    cups->addQueue(to.queue, "qolt:/PDF/" + std::to_string(to.account.uid) + "@" + endpoint,
                   asIsPpd());
    for (int i = 0; i < to.jobs; i++) {
      std::string name = std::string(to.queue) + std::to_string(i);
      texts.push_back(randomDocument(static_cast<uint32_t>(texts.size() + 1)));
      all.push_back({to.queue, saved(name, texts.back())});
    }
  }

  const std::vector<int> ids = printTogether(all);
  size_t next = 0;
  for (size_t i = 0; i < servers.size(); i++) {
    SCOPED_TRACE(receiving[i].queue);
    const size_t first = next;
    std::set<std::string> expected;
    for (int n = 0; n < receiving[i].jobs; n++) expected.insert(announced(ids[next++]));
    expectAnnouncements(*servers[i], expected);
    for (size_t k = first; k < next; k++) {
      const std::string document = path(ids[k], ".in");
      EXPECT_EQ(documentsOf(ids[k]), std::vector<std::string>{document});
      EXPECT_TRUE(test::readFile(document) == texts[k]) << all[k].document;
      for (const char* suffix : {".in", ".ini"}) {
        struct stat status;
        ASSERT_EQ(stat(path(ids[k], suffix).c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, receiving[i].account.uid);
        EXPECT_EQ(status.st_gid, receiving[i].account.gid);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
      }
    }
  }
  for (const auto& to : receiving) {
    EXPECT_TRUE(test::eventually([&] { return pending(to.queue).empty(); })) << pending(to.queue);
  }
  for (auto& server : servers) EXPECT_EQ(server->receiveAtOnce(), "");
}

class QueueOf : public Queue, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Of, QueueOf, testing::Values("PDF", "PS", "ZRLE"),
                         [](const auto& format) { return format.param; });

// Several files of one job come as documents behind each other.
TEST_P(QueueOf, copiesFilesAndBannersArriveInTheirOrder) {
  const std::string format = GetParam();
  if (format == "ZRLE" && !test::hasRealLibrary()) {
    GTEST_SKIP() << "libcupsimage.so.2 is not installed";
  }
  const std::map<std::string, const char*> ppds = {
      {"PDF", "qolt-pdf.ppd"}, {"PS", "qolt-ps.ppd"}, {"ZRLE", "qolt-raster.ppd"}};
  cups->addQueue("queue", uri(format), packaged(ppds.at(format)));
  FakeServer server(account, endpoint);
  const std::string two = saved("two", greyPages("12")), one = saved("one", greyPages("3"));
  const struct {
    std::vector<std::string> documents, options;
    std::string greys;
  } cases[] = {
      {{two}, {"-n", "3", "-o", "Collate=True", "-o", "Resolution=150dpi"}, "121212"},
      {{two, one}, {"-o", "job-sheets=standard,secret", "-o", "Resolution=150dpi"}, "-123-"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.greys);
    int id = print("queue", c.documents, c.options);
    ASSERT_EQ(server.receive(), announced(id)) << cups->waitForLog(id, "");
    const std::vector<std::string> documents = documentsOf(id);
    if (format == "ZRLE") {
      EXPECT_EQ(greysOfPageFiles(documents), c.greys);
      continue;
    }
    ASSERT_EQ(documents.size(), 1u);
    std::string text = test::readFile(documents[0]), greys;
    const std::string start = format == "PDF" ? "%PDF-" : "%!PS-Adobe-";
    size_t at = text.find(start);
    EXPECT_EQ(at, 0u);
    while (at != text.npos) {
      size_t next = text.find("\n" + start, at);
      greys += greysOfDocument(saved("document", text.substr(at, next - at)));
      at = next == text.npos ? next : next + 1;
    }
    EXPECT_EQ(greys, c.greys);
  }
}

TEST_F(Queue, titleArrivesAsItWasGiven) {
  cups->addQueue("queue", uri("PDF"), asIsPpd());
  FakeServer server(account, endpoint);
  const std::string document = saved("document", randomDocument(1, 100));
  std::string umlauts;
  while (umlauts.size() < 254) umlauts += "ü";
  for (const std::string& title : {
           std::string("Ünïcödé „quoted“ – ½ €"),
           std::string("\"double\" 'single' `back` $HOME $(id) \\ ; & | < > * ? ~ #"),
           std::string("../../etc/passwd and 100% of %s %n %d"),
           std::string("  = [PDF] File1=/etc/shadow "),
           umlauts,                // as many bytes as CUPS takes
           std::string(255, 'x'),  // the same
       }) {
    SCOPED_TRACE(title);
    int id = print("queue", {document}, {"-t", title});
    ASSERT_EQ(server.receive(), announced(id)) << cups->waitForLog(id, "");
    EXPECT_EQ(test::readFile(path(id, ".ini")), "[Document]\nName=" + title +
                                                    "\n[Device]\nDeviceName=queue\n[PDF]\n"
                                                    "Count=1\nFile0=" +
                                                    path(id, ".in") + "\n");
  }
}

TEST_F(Queue, heldJobIsPrintedWhenItIsReleased) {
  cups->addQueue("queue", uri("PDF"), asIsPpd());
  FakeServer server(account, endpoint);
  int held = print("queue", {saved("held", randomDocument(1))}, {"-H", "hold"});
  int other = print("queue", {saved("other", randomDocument(2))});
  EXPECT_EQ(server.receive(), announced(other));
  EXPECT_EQ(server.receiveAtOnce(), "");
  EXPECT_FALSE(fs::exists(path(held, ".in")));
  test::Result resumed = cups->client({"/usr/bin/lp", "-i", std::to_string(held), "-H", "resume"});
  EXPECT_EQ(resumed.status, 0) << resumed.err;
  EXPECT_EQ(server.receive(), announced(held));
  EXPECT_TRUE(test::readFile(path(held, ".in")) == randomDocument(1));
}

TEST_F(Queue, jobThatFailsFollowsTheErrorPolicyOfItsQueue) {
  struct Policy {
    const char* name;
    bool isKept, stopsTheQueue;
    int id = 0;
  } policies[] = {
      {"abort-job", false, false},
      {"stop-printer", true, true},
      {"retry-job", true, false},
      {"retry-current-job", true, false},
  };
  const std::string text = randomDocument(1), document = saved("document", text);
  auto nameOf = [&](const Policy& policy) { return endpoint + policy.name; };
  for (Policy& policy : policies) {
    cups->addQueue(policy.name, "qolt:/PDF/" + std::to_string(account.uid) + "@" + nameOf(policy),
                   asIsPpd(), {"-o", std::string("printer-error-policy=") + policy.name});
    policy.id = print(policy.name, {document});
  }
  for (const Policy& policy : policies) {
    SCOPED_TRACE(policy.name);
    std::string lines = cups->waitForLog(policy.id, "Backend returned status 1");
    EXPECT_NE(lines.find("qolt: connect: No such file or directory"), lines.npos) << lines;
    // Unless it is just being tried again.
    for (const char* suffix : {".in", ".ini"}) {
      EXPECT_TRUE(test::eventually([&] { return !fs::exists(path(policy.id, suffix)); }));
    }
    if (policy.stopsTheQueue) {
      EXPECT_TRUE(test::eventually([&] {
        return cups->client({"/usr/bin/lpstat", "-p", policy.name}).out.find("disabled") !=
               std::string::npos;
      }));
    }
    EXPECT_TRUE(test::eventually([&] { return pending(policy.name).empty() != policy.isKept; }));

    FakeServer server(account, nameOf(policy));
    if (policy.stopsTheQueue) cups->client({"/usr/sbin/cupsenable", policy.name});
    std::set<std::string> expected = {announced(print(policy.name, {document}))};
    if (policy.isKept) expected.insert(announced(policy.id));
    expectAnnouncements(server, expected);
    EXPECT_TRUE(test::eventually([&] { return pending(policy.name).empty(); }));
    EXPECT_EQ(server.receiveAtOnce(), "");
    if (policy.isKept) {
      EXPECT_TRUE(test::readFile(path(policy.id, ".in")) == text);
    }
  }
}

TEST_F(Queue, accountWithoutAnEntryGetsNothing) {
  uid_t uid = 61000;
  while (getpwuid(uid)) ++uid;
  FakeServer server({"", uid, uid, true}, endpoint);
  const std::string number = std::to_string(uid);
  cups->addQueue("queue", "qolt:/PDF/" + number + "@" + endpoint, asIsPpd());
  int id = print("queue", {saved("document", randomDocument(1))});
  std::string lines = cups->waitForLog(id, "Backend returned status 1");
  EXPECT_NE(lines.find("qolt: getpwuid(" + number + "): account not found\n"), lines.npos) << lines;
  EXPECT_TRUE(jobFiles().empty());
  EXPECT_EQ(server.receiveAtOnce(), "");
}

// A raster queue whose documents say how many times a stream is to be repeated.
class RepeatingQueue : public Queue {
 protected:
  void SetUp() override {
    Queue::SetUp();
    if (IsSkipped()) return;
    if (!test::hasRealLibrary()) GTEST_SKIP() << "libcupsimage.so.2 is not installed";
  }
  void addQueueOf(const std::string& stream) {
    std::string loop = R"(#!/bin/sh
read -r times <"$6"
while [ "$times" -gt 0 ]; do
  cat ${0%repeat}stream || exit
  times=$((times - 1))
done
)";
    saved("stream", stream);
    std::string script = saved("repeat", loop);
    ASSERT_EQ(chmod(script.c_str(), 0755), 0);
    std::string filter = "*cupsFilter2: \"text/plain application/vnd.cups-raster 0 ";
    cups->addQueue("repeating", uri("ZRLE"), withFilter("qolt-raster.ppd", filter + script + "\""));
  }
};

TEST_F(RepeatingQueue, jobCancelledWhileItConvertsLeavesItsPagesAndTheNextOneIsPrinted) {
  addQueueOf(test::rasterStream("3SaR", {test::randomPage(300, 300)}));
  FakeServer server(account, endpoint);
  // It would not end.
  int id = print("repeating", {saved("endless", "1000000000\n")});
  ASSERT_TRUE(test::eventually([&] { return fs::exists(path(id, "-2.zrle")); }))
      << cups->waitForLog(id, "");
  EXPECT_EQ(cups->client({"/usr/bin/cancel", std::to_string(id)}).status, 0);

  int next = print("repeating", {saved("three", "3\n")});
  ASSERT_EQ(server.receive(), announced(next)) << cups->waitForLog(next, "");
  EXPECT_EQ(documentsOf(next).size(), 3u);
  EXPECT_EQ(greysOfPageFiles(documentsOf(next)).size(), 3u);
  EXPECT_EQ(server.receiveAtOnce(), "");
  int pages = 0;
  for (const std::string& name : jobFiles()) {
    if (name.starts_with(path(next, ""))) continue;
    EXPECT_TRUE(name.starts_with(path(id, "-")) && name.ends_with(".zrle")) << name;
    ++pages;
  }
  EXPECT_GE(pages, 3);
}

TEST_F(RepeatingQueue, fiveHundredPagesTakeNoMoreMemoryThanTen) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  // A few lines of ink on white.
  test::RasterPage page = test::randomPage(413, 12);
  page.height = 585;
  page.lines.resize(size_t{page.bytesPerLine} * page.height, '\xff');
  const std::vector<test::RasterPage> ten(10, page);
  addQueueOf(test::rasterStream("3SaR", ten));
  auto peakOf = [&](int pages) -> uint64_t {
    // The job waits until its memory has been read.
    test::BusyServer server(account, endpoint);
    int id = print("repeating", {saved("times", std::to_string(pages / 10) + "\n")});
    std::string lines = cups->waitForLog(id, "qolt: connecting to socket");
    EXPECT_EQ(documentsOf(id).size(), static_cast<size_t>(pages));
    int pid = 0;
    const std::string backend = "backend/qolt (PID ";
    size_t at = lines.find(backend);
    if (at != lines.npos) pid = std::stoi(lines.substr(at + backend.size()));
    uint64_t peak = test::peakMemory(pid);
    EXPECT_GT(peak, 0u) << lines;
    cups->client({"/usr/bin/cancel", std::to_string(id)});
    EXPECT_TRUE(test::eventually([&] { return !fs::exists(path(id, ".ini")); }));
    return peak;
  };
  const uint64_t few = peakOf(10), many = peakOf(500);
  EXPECT_LT(many, few + page.lines.size());
  RecordProperty("peakKiBOf10Pages", std::to_string(few / 1024));
  RecordProperty("peakKiBOf500Pages", std::to_string(many / 1024));
}
