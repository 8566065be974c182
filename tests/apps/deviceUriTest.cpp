#include "apps/common/deviceUri.h"

#include <gtest/gtest.h>

TEST(parseDeviceUri, takesTheFieldsApart) {
  const struct {
    const char *uri, *format;
    uint32_t uid;
    const char* name;
  } cases[] = {
      {"qolt:/ZRLE/1000@printq", "ZRLE", 1000, "printq"},
      {"qolt:/PDF/1000@printq/extra", "PDF", 1000, "printq"},
      {"qolt:/PDF/1000@a@b", "PDF", 1000, "a@b"},
      {"qolt:/ZRLE/1000@", "ZRLE", 1000, ""},
      {"qolt://0@x", "", 0, "x"},
      {"qolt:/ZRLE/-1@x", "ZRLE", 4294967295u, "x"},
      {"qolt:/ZRLE/-2147483648@x", "ZRLE", 2147483648u, "x"},
      {"qolt:/ZRLE/4294967295@x", "ZRLE", 4294967295u, "x"},
      {"qolt:/ZRLE/ 7@x", "ZRLE", 7, "x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.uri);
    plat::String format, name;
    uint32_t uid = 99;
    ASSERT_TRUE(parseDeviceUri(c.uri, &format, &uid, &name));
    EXPECT_STREQ(format.get(), c.format);
    EXPECT_EQ(uid, c.uid);
    EXPECT_STREQ(name.get(), c.name);
  }
}

TEST(parseDeviceUri, refusesWhatIsNoDeviceUri) {
  for (const char* uri :
       {static_cast<const char*>(nullptr), "", "qolt:", "qolt:/", "qolt:/ZRLE", "qolt:/ZRLE/1000",
        "qolt:/ZRLE/abc@x", "qolt:/ZRLE/1000x@x", "qolt:/ZRLE/@x", "qolt:/ZRLE/4294967296@x",
        "qolt:/ZRLE/-2147483649@x", "qolt:/ZRLE/10/00@x", "QOLT:/ZRLE/1000@x", "ipp://x"}) {
    SCOPED_TRACE(uri ? uri : "(null)");
    plat::String format, name;
    uint32_t uid;
    EXPECT_FALSE(parseDeviceUri(uri, &format, &uid, &name));
  }
}

TEST(parseDeviceUri, fieldWithoutAnOutputIsNotParsed) {
  plat::String name;
  EXPECT_TRUE(parseDeviceUri("qolt:/ZRLE/abc@x", nullptr, nullptr, &name));
  EXPECT_STREQ(name.get(), "x");
}
