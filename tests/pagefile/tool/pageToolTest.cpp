#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>

#include "apps/common/writePng.h"
#include "base/plat/Exception.h"
#include "tests/pagefile/PageBuilder.h"
#include "tests/support/Command.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/streams.h"

using builder::bytes;

namespace {

// 100 x 70 pixels in four tiles: black, then 0x010203, white, and 0x010203 again.
std::string twoByTwo() {
  const std::string colour = bytes({1, 3, 2, 1});
  return builder::page(100, 70, bytes({1, 0, 0, 0}) + colour + bytes({1, 255, 255, 255}) + colour);
}

struct Picture {
  uint32_t width = 0, height = 0;
  std::vector<uint32_t> pixels;  // 0x00RRGGBB
};

Picture readPicture(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    ADD_FAILURE() << image.message;
    return {};
  }
  image.format = PNG_FORMAT_BGRA;
  Picture picture{image.width, image.height, std::vector<uint32_t>(image.width * image.height)};
  EXPECT_TRUE(png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr));
  for (uint32_t& pixel : picture.pixels) pixel &= 0xffffff;
  return picture;
}

test::Result runTool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), QOLT_PAGEFILE);
  return test::Command(arguments).run();
}

}  // namespace

TEST(PageTool, showsAndConvertsAPage) {
  test::ScratchFolder folder;
  test::writeFile(folder / "a.zrle", twoByTwo());
  test::Result result = runTool({"--png=" + (folder / "a.png"), folder / "a.zrle"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  for (const char* part : {"/a.zrle\n", " 100\n", " 70\n", " 2100\n", " 2970\n", " 9 (A4)\n",
                           "frames                    1\n", "inflated bytes           16\n",
                           "subencoding 1             4 (solid)\n"}) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part << " in " << result.out;
  }

  Picture picture = readPicture(folder / "a.png");
  ASSERT_EQ(picture.width, 100u);
  ASSERT_EQ(picture.height, 70u);
  for (uint32_t i = 0; i < 7000; ++i) {
    const bool right = i % 100 >= 64;
    const bool below = i / 100 >= 64;
    ASSERT_EQ(picture.pixels[i], right ? 0x010203u : below ? 0xffffffu : 0u) << i;
  }
  // 100 pixels on 210 mm are 476 a metre, 70 on 297 mm 236.
  const std::string png = test::readFile(folder / "a.png");
  EXPECT_NE(png.find("pHYs" + builder::be32(476) + builder::be32(236) + bytes({1})),
            std::string::npos);
}

TEST(PageTool, brokenFileIsReportedAndTheOthersAreConverted) {
  test::ScratchFolder folder;
  std::string broken = twoByTwo();
  broken.resize(broken.size() - 3);
  test::writeFile(folder / "broken", broken);
  test::writeFile(folder / "good", twoByTwo());
  test::Result result = runTool(
      {"--png=" + (folder / "x.y.png"), folder / "broken", folder / "missing", folder / "good"});
  EXPECT_EQ(result.status, 1);
  const std::string start = "qolt-pagefile: " + (folder / "");
  EXPECT_EQ(result.err, start + "broken: byte " + std::to_string(broken.size()) +
                            ": the file ends within its message\n" + start +
                            "missing: Error opening \"" + (folder / "missing") +
                            "\": No such file or directory (2)\n");
  EXPECT_FALSE(std::filesystem::exists(folder / "x.y-1.png"));
  EXPECT_EQ(readPicture(folder / "x.y-3.png").height, 70u);
}

TEST(PageTool, nothingIsOverwritten) {
  test::ScratchFolder folder;
  test::writeFile(folder / "page", twoByTwo());
  test::writeFile(folder / "out", "precious");
  EXPECT_EQ(runTool({"--png=" + (folder / "out"), folder / "page"}).status, 1);
  EXPECT_EQ(test::readFile(folder / "out"), "precious");
}

TEST(PageTool, emptyPageIsRightButHasNoPicture) {
  test::ScratchFolder folder;
  test::writeFile(folder / "page",
                  builder::header(0, 9) + builder::frames(builder::rectangle(0, 9)));
  EXPECT_EQ(runTool({folder / "page"}).status, 0);
  test::Result result = runTool({"--png=" + (folder / "out"), folder / "page"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("an empty page has no picture"), std::string::npos) << result.err;
  EXPECT_FALSE(std::filesystem::exists(folder / "out"));
}

TEST(PageTool, readsStandardInputAndRefusesUnknownArguments) {
  EXPECT_EQ(test::Command({QOLT_PAGEFILE, "-"}).input(twoByTwo()).run().status, 0);
  EXPECT_EQ(runTool({}).status, 1);
  EXPECT_EQ(runTool({"--pgn=x", "y"}).status, 1);
  EXPECT_EQ(test::Command({"/bin/sh", "-c", QOLT_PAGEFILE " --help >/dev/full"}).run().status, 1);
}

TEST(WritePng, failureNamesTheFile) {
  test::ScratchFolder folder;
  test::writeFile(folder / "page-0.zrle", twoByTwo() + "x");
  FILE* in = fopen((folder / "page-0.zrle").c_str(), "r");
  FILE* out = tmpfile();
  EXPECT_EQ(
      fakes::thrownBy([&] { png::writePng(in, (folder / "page-0.zrle").c_str(), out); }),
      ": page-0.zrle: byte " + std::to_string(twoByTwo().size()) + ": data behind the last frame");
  fclose(in);
  fclose(out);
}
