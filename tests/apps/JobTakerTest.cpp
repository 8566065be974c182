#include "apps/qolt-receiver/JobTaker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "apps/qolt-receiver/Document.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/thrownBy.h"

using receiver::JobTaker;

namespace {

const std::string prefix = "/tmp/qolt-" + std::to_string(getpid());
const std::string page = prefix + "-0.zrle", description = prefix + ".ini";
bool isPrintedAgain;

void putJob(const char* text) {
  test::writeFile(page, text);
  test::writeFile(
      description,
      "[Document]\nName=page\n[Device]\nDeviceName=q\n[ZRLE]\nCount=1\nFile0=" + page + "\n");
}

void join(const std::vector<std::string>& pages, const std::string& title, FILE* document) {
  if (isPrintedAgain) unlink(description.c_str());
  fputs((title + test::readFile(pages[0])).c_str(), document);
}

}  // namespace

// The backend removes the description first, and then the pages one by one.
TEST(JobTaker, jobThatIsPrintedAgainWhileItIsReadIsTakenOnceAndWhole) {
  const test::ScratchFolder folder;
  receiver::Journal journal(folder / ".journal");
  JobTaker taker(receiver::OutputFolder(folder.path().c_str(), "q"), journal, join, true);
  putJob(" of the first");
  isPrintedAgain = true;
  EXPECT_EQ(fakes::thrownBy([&] { taker.take(description.c_str()); }),
            ": " + description + " is being printed once more");
  EXPECT_TRUE(journal.jobs().empty());

  isPrintedAgain = false;
  putJob(" of the second");
  const std::vector<receiver::Document> documents = taker.take(description.c_str());
  ASSERT_EQ(documents.size(), 1u);
  EXPECT_EQ(documents[0].path, folder / "page-0.pdf");
  EXPECT_EQ(test::readFile(documents[0].path), "page of the second");
  EXPECT_NE(access(page.c_str(), F_OK), 0);
  EXPECT_NE(access(description.c_str(), F_OK), 0);
}
