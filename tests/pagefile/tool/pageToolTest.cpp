#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>

#include "apps/common/PngWriter.h"
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
                           "inflated bytes           16\n", " 4 (solid)\n"}) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part << " in " << result.out;
  }

  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_file(&image, (folder / "a.png").c_str())) << image.message;
  image.format = PNG_FORMAT_BGRA;
  ASSERT_EQ(image.width, 100u);
  ASSERT_EQ(image.height, 70u);
  std::vector<uint32_t> pixels(7000);
  ASSERT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
  for (uint32_t i = 0; i < 7000; ++i) {
    const bool right = i % 100 >= 64, below = i / 100 >= 64;
    ASSERT_EQ(pixels[i], right ? 0xff010203u : below ? 0xffffffffu : 0xff000000u) << i;
  }
  // 100 pixels on 210 mm are 476 a metre, 70 on 297 mm 236.
  const std::string png = test::readFile(folder / "a.png");
  EXPECT_NE(png.find("pHYs" + builder::be32(476) + builder::be32(236) + bytes({1})),
            std::string::npos);
}

TEST(PageTool, wrongFilesAreReportedTheOthersConvertedAndNothingIsOverwritten) {
  test::ScratchFolder folder;
  std::string broken = twoByTwo();
  broken.resize(broken.size() - 3);
  test::writeFile(folder / "broken", broken);
  test::writeFile(folder / "empty",
                  builder::header(0, 9) + builder::frames(builder::rectangle(0, 9)));
  test::writeFile(folder / "good", twoByTwo());
  test::writeFile(folder / "x.y-5.png", "precious");
  test::Result result =
      runTool({"--png=" + (folder / "x.y.png"), folder / "broken", folder / "missing",
               folder / "empty", folder / "good", folder / "good"});
  EXPECT_EQ(result.status, 1);
  const std::string start = "qolt-pagefile: " + (folder / "");
  for (const std::string& part :
       {start + "broken: byte " + std::to_string(broken.size()) + ": the file ends within",
        start + "missing: Error opening ", std::string("an empty page has no picture")}) {
    EXPECT_NE(result.err.find(part), std::string::npos) << part << " in " << result.err;
  }
  for (int i = 1; i <= 4; ++i) {
    EXPECT_EQ(std::filesystem::exists(folder / ("x.y-" + std::to_string(i) + ".png")), i == 4);
  }
  EXPECT_EQ(test::readFile(folder / "x.y-5.png"), "precious");
  EXPECT_EQ(runTool({folder / "empty"}).status, 0);
}

TEST(PageTool, readsStandardInputAndRefusesUnknownArguments) {
  EXPECT_EQ(test::Command({QOLT_PAGEFILE, "-"}).input(twoByTwo()).run().status, 0);
  EXPECT_EQ(runTool({}).status, 1);
  EXPECT_EQ(runTool({"--pgn=x", "y"}).status, 1);
  EXPECT_EQ(test::Command({"/bin/sh", "-c", QOLT_PAGEFILE " --help >/dev/full"}).run().status, 1);
}

TEST(PngWriter, refusesWhatPngCannotHoldAndTellsOfAFullDisk) {
  const uint32_t pixel = 0;
  FILE* full = fopen("/dev/full", "w");
  ASSERT_TRUE(full);
  EXPECT_THROW(png::PngWriter(full, {0, 1, 0, 0}), png::PngError);
  EXPECT_THROW(png::PngWriter(full, {0x80000000, 1, 0, 0}), png::PngError);
  png::PngWriter tooEarly(full, {1, 2, 0, 0}), whole(full, {1, 1, 0, 0});
  tooEarly.writeRow(&pixel);
  EXPECT_THROW(tooEarly.finish(), png::PngError);
  whole.writeRow(&pixel);
  EXPECT_EQ(fakes::thrownBy([&] { whole.finish(); }),
            "System-28: writing the PNG file: No space left on device (28)");
  fclose(full);
}
