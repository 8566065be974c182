#pragma once

#include <memory>

#include "tests/support/PrivateScheduler.h"
#include "tests/support/eventually.h"
#include "tests/system/SystemTest.h"

// System tests with a CUPS scheduler of their own, which knows the product's backend and
// one that does nothing but store what CUPS hands it.
class SchedulerTest : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (IsSkipped()) return;
    std::string missing = test::PrivateScheduler::missing();
    if (!missing.empty()) GTEST_SKIP() << "needs " << missing;

    test::writeFile(files / "store",
                    "#!/bin/sh\n"
                    "[ $# = 0 ] && exit 0\n"
                    "umask 077\n"
                    "file=${DEVICE_URI#store:}\n"
                    "cat ${6:+\"$6\"} > \"$file.new\" && mv \"$file.new\" \"$file\"\n");
    cups = std::make_unique<test::PrivateScheduler>(std::vector<test::PrivateScheduler::Backend>{
        {"qolt", QOLT_BACKEND}, {"store", files / "store"}});
  }
  void TearDown() override {
    cups.reset();
    SystemTest::TearDown();
  }

  static std::string packaged(const std::string& ppd) { return QOLT_BINARY_DIR "/ppd/" + ppd; }

  // A copy of a PPD file whose cupsFilter line is another.
  std::string withFilter(const std::string& ppd, const std::string& line) {
    std::string text = test::readFile(packaged(ppd)), path = files / "filter-" + ppd;
    size_t at = text.find("*cupsFilter:");
    test::writeFile(path, text.replace(at, text.find('\n', at) - at, line));
    return path;
  }
  // PDF documents go as they are, in the spooled file.
  std::string asIsPpd() {
    return withFilter("qolt-pdf.ppd", "*cupsFilter2: \"application/pdf application/pdf 0 -\"");
  }

  // And its twin, which stores: "store-" and the name.
  void addQueue(const std::string& name, const std::string& format, const std::string& ppd) {
    cups->addQueue(name, uri(format), ppd);
    cups->addQueue("store-" + name, "store:" + files / "stored", ppd);
  }

  // The job's files go with those of the test.
  int print(const std::string& queue, const std::vector<std::string>& documents,
            const std::vector<std::string>& options = {}) {
    int id = cups->print(queue, documents, options);
    jobs.push_back(std::to_string(id));
    return id;
  }

  // The file with what CUPS hands to the queue's twin.
  std::string stored(const std::string& queue, const std::vector<std::string>& documents,
                     const std::vector<std::string>& options = {}) {
    std::filesystem::remove(files / "stored");
    int id = print("store-" + queue, documents, options);
    EXPECT_TRUE(test::eventually([&] { return std::filesystem::exists(files / "stored"); }))
        << cups->waitForLog(id, "");
    return files / "stored";
  }

  static std::string text(int lines) {
    std::string all;
    for (int i = 0; i < lines; i++) all += "line " + std::to_string(i) + " of the document\n";
    return all;
  }

  test::ScratchFolder files;
  std::unique_ptr<test::PrivateScheduler> cups;
};
