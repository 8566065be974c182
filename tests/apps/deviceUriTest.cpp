#include "apps/common/deviceUri.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "base/plat/DString.h"

// The system tests have the messages about what is refused.
TEST(parseDeviceUri, takesTheFieldsApartAndRefusesWhatHasNotAll) {
  const auto fieldsOf = [](const char* uri) {
    plat::String format, name;
    uint32_t uid = 99;
    const bool isTaken = parseDeviceUri(uri, &format, &uid, &name);
    return plat::strFormat(isTaken ? "%s %u %s" : "refused", format.get(), uid, name.get());
  };
  EXPECT_STREQ(fieldsOf("qolt:/ZRLE/1000@printq/extra").get(), "ZRLE 1000 printq");
  EXPECT_STREQ(fieldsOf("qolt:/PDF/1000@a@b").get(), "PDF 1000 a@b");
  EXPECT_STREQ(fieldsOf("qolt://0@").get(), " 0 ");
  for (auto [digits, uid] : {std::pair("4294967295", "4294967295"),
                             {"-2147483648", "2147483648"},
                             {"010", "10"},
                             {"-010", "4294967286"},
                             {" 7", "7"}}) {
    const std::string uri = std::string("qolt:/PS/") + digits + "@x";
    EXPECT_EQ(std::string("PS ") + uid + " x", fieldsOf(uri.c_str()).get());
  }
  for (const char* uri : {static_cast<const char*>(nullptr), "", "qolt:/", "qolt:/PS", "qolt:/PS/1",
                          "qolt:/PS/a@x", "qolt:/PS/0x1@x", "qolt:/PS/-0x1@x", "qolt:/PS/1x@x",
                          "qolt:/PS/@x", "qolt:/PS/4294967296@x", "qolt:/PS/-2147483649@x",
                          "qolt:/PS/1/0@x", "QOLT:/PS/1@x", "qolt:PS/1@x"}) {
    EXPECT_STREQ(fieldsOf(uri).get(), "refused") << plat::orEmpty(uri);
  }
  // A field without an output is not looked at.
  EXPECT_TRUE(parseDeviceUri("qolt:/ZRLE/abc@x", nullptr, nullptr, nullptr));
}
