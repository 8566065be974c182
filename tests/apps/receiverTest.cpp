#include <gtest/gtest.h>

#include "apps/qolt-receiver/DescriptionFile.h"
#include "apps/qolt-receiver/OutputFolder.h"
#include "apps/qolt-receiver/message.h"
#include "apps/qolt-receiver/pdfDocuments.h"
#include "base/plat/Exception.h"
#include "base/rdr/Exceptions.h"
#include "base/rdr/MemInStream.h"
#include "tests/support/descriptors.h"

using receiver::DescriptionFile;

TEST(DescriptionFile, readsWhatTheBackendWrites) {
  DescriptionFile job = DescriptionFile::parse(
      "[Document]\nName=A title\n[Device]\nDeviceName=queue\n[PDF]\nCount=2\n"
      "File0=/tmp/qolt-1.in\nFile1=/tmp/qolt-2.in\n");
  EXPECT_EQ(job.title, "A title");
  EXPECT_EQ(job.queue, "queue");
  EXPECT_STREQ(job.format->name, "PDF");
  EXPECT_EQ(job.documents, (std::vector<std::string>{"/tmp/qolt-1.in", "/tmp/qolt-2.in"}));
}

TEST(DescriptionFile, titleWithLineFeedsCannotPassForTheRest) {
  const std::string title =
      "x\n[Device]\nDeviceName=evil\n[PS]\nCount=1\nFile0=/tmp/qolt-other.in\n";
  DescriptionFile job = DescriptionFile::parse("[Document]\nName=" + title +
                                               "\n[Device]\nDeviceName=q\n[PDF]\nCount=0\n");
  EXPECT_EQ(job.title, title);
  EXPECT_STREQ(job.format->name, "PDF");
  EXPECT_TRUE(job.documents.empty());
}

TEST(DescriptionFile, anyDamageIsRefused) {
  const std::string good =
      "[Document]\nName=t\n[Device]\nDeviceName=q\n[PDF]\nCount=2\n"
      "File0=/tmp/qolt-1.in\nFile1=/tmp/qolt-2.in\n";
  for (size_t length = 0; length < good.size(); length++) {
    SCOPED_TRACE(good.substr(0, length));
    EXPECT_THROW(DescriptionFile::parse(good.substr(0, length)), plat::Exception);
  }
  const struct {
    const char *from, *to;
  } changes[] = {
      {"Count=2", "Count=1"},   {"Count=2", "Count=+2"}, {"Count=2", "Count=99999999999"},
      {"File1", "File0"},       {"File0", "File00"},     {"[PDF]", "PDF"},
      {"[PDF]", "[PDF"},        {"[PDF]", "[pdf]"},      {"[Device]", "[Device] "},
      {"DeviceName", "Device"}, {"Name=t", "Title=t"},   {"[Document]", "[Documen]"},
      {"\nName", "\n\nName"}};
  for (const auto& change : changes) {
    SCOPED_TRACE(change.to);
    std::string bad = good;
    bad.replace(bad.find(change.from), strlen(change.from), change.to);
    EXPECT_THROW(DescriptionFile::parse(bad), plat::Exception);
  }
  EXPECT_THROW(DescriptionFile::parse(good + '\0'), plat::Exception);
}

TEST(DescriptionFile, tooManyDocumentsAreRefused) {
  std::string files;
  for (size_t i = 0; i <= receiver::maxDocuments; i++) files += "File" + std::to_string(i) + "=x\n";
  EXPECT_THROW(DescriptionFile::parse("[Document]\nName=t\n[Device]\nDeviceName=q\n[PDF]\nCount=" +
                                      std::to_string(receiver::maxDocuments + 1) + "\n" + files),
               plat::Exception);
}

TEST(readMessage, incompleteMessageIsNotTaken) {
  std::string message = std::string("\0\0\0\x0f", 4) + "/tmp/qolt-1.ini";
  rdr::MemInStream whole(message.data(), static_cast<int>(message.size()));
  EXPECT_STREQ(receiver::readMessage(whole).get(), "/tmp/qolt-1.ini");
  for (size_t length = 0; length < message.size(); length++) {
    SCOPED_TRACE(length);
    rdr::MemInStream part(message.data(), static_cast<int>(length));
    EXPECT_THROW(receiver::readMessage(part), rdr::EndOfStream);
  }
}

TEST(documentStem, titleBecomesAHarmlessFileName) {
  const struct {
    std::string title, stem;
  } cases[] = {
      {"Report", "Report-3"},
      {"Report.PDF", "Report-3"},
      {"", "document-3"},
      {".pdf", "document-3"},
      {"..", "_.-3"},
      {"../../etc/passwd", "_._.._etc_passwd-3"},
      {"--help", "_-help-3"},
      {"a\nb\x7f\x1b", "a_b__-3"},
      {"Gr\xc3\xbc\xc3\x9f"
       "e",
       "Gr\xc3\xbc\xc3\x9f"
       "e-3"},
      {"bad\xff", "bad\xef\xbf\xbd-3"},
      {std::string(99, 'x') + "\xc3\xbc", std::string(99, 'x') + "-3"},
      {std::string(5000, 'x'), std::string(100, 'x') + "-3"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.title);
    EXPECT_EQ(receiver::documentStem(c.title, "pdf", 3), c.stem);
  }
}

TEST(pdfDocuments, documentsBehindEachOtherArePartedWhereverTheyMeet) {
  const std::string start = "%PDF-1.4\n", end = "%%EOF";
  // An update of the document, and a document within it.
  const std::string inner = start + "%%EOF\nupdate\n%%EOF\nstream\n" + start + "%%EOF\nendstream ";
  for (size_t length : {60u, 65515u, 65530u, 65531u, 65532u, 65535u, 65536u, 131061u, 200000u}) {
    for (const char* gap : {"", "\n", "\r\n \t\f"}) {
      SCOPED_TRACE(std::to_string(length) + gap);
      const std::string first =
          inner + std::string(length - inner.size() % length, 'x') + end + gap;
      const std::string second = start + "x" + end + "\n" + gap, third = start;
      plat::OwnedFd file(test::memoryFile(first + second + third));
      const off_t firstEnd = static_cast<off_t>(first.size());
      const off_t secondEnd = firstEnd + static_cast<off_t>(second.size());
      EXPECT_EQ(
          receiver::pdfDocumentEnds(file.get()),
          (std::vector<off_t>{firstEnd, secondEnd, secondEnd + static_cast<off_t>(third.size())}));
    }
  }
  plat::OwnedFd none(test::memoryFile(""));
  EXPECT_EQ(receiver::pdfDocumentEnds(none.get()), std::vector<off_t>{0});
}
