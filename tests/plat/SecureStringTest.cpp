#include "base/plat/SecureString.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <utility>

#include "base/plat/Configuration.h"
#include "base/plat/MBuf.h"

using namespace plat;

namespace {

// While watched for: how many blocks were released that still held a secret.
const char* watched[] = {nullptr, nullptr};
int leaks;

}  // namespace

// The program is linked so that these stand around the platform's own.
extern "C" void __real_free(void* block);
extern "C" void __wrap_free(void* block) {
  for (const char* secret : watched) {
    if (block && secret) leaks += memmem(block, malloc_usable_size(block), secret, 6) != nullptr;
  }
  __real_free(block);
}

// What they do with texts is in fuzz/secureBuffer.cpp.
TEST(SecureString, secretsAreWipedBeforeTheirMemoryIsReleased) {
  const auto* bytes = reinterpret_cast<const unsigned char*>("secret");
  watched[0] = "secret", watched[1] = "736563";  // the same as a hexadecimal text
  {
    SecureString text("a secret"), moved("secret");
    text.assign(text.get() + 2, 6);  // a part of itself
    moved = std::move(text);
    SecureString last(std::move(moved));
    last.replace(secureStrDup("secret"));
    last.replace(const_cast<char*>(last.get()));
    plat::SecureString& same = last;
    last = std::move(same);
    EXPECT_TRUE(!secureStrCmp(last.get(), "secret") && !moved.get());
    EXPECT_TRUE(secureStrCmp(nullptr, "") < 0 && secureStrCmp("", nullptr) > 0);
    EXPECT_TRUE(!secureStrCmp(nullptr, nullptr) && !secureStrDup(nullptr));

    MBuf<char> buffer("secret", 6, /*wipe=*/true), copy;
    buffer.resize(7);
    buffer.resize(6);
    copy = buffer;                     // and the flag
    copy = MBuf<char>("a secret", 8);  // keeps it
    MBuf<char> copied(copy), taken(std::move(copy));
    Configuration registry("Test");
    BinaryParameter key("Key", "d", nullptr, bytes, 6, false, &registry);
    EXPECT_TRUE(key.setParam("736563726574", 10) && key.setParam("736563726574736563726574", 20));
    EXPECT_FALSE(key.setParam("736563726574x", 10) || key.setParam("736563726574xx", 10));
    auto clone = key.clone(&registry);
    key.copyValues(*clone);
    key.setValue(MBuf<unsigned char>(bytes, 6), 10);
    for (int priority : {10, 20}) key.unsetParam(priority);
  }
  EXPECT_EQ(leaks, 0);
  { MBuf<char>("secret", 6); }
  EXPECT_EQ(leaks, 1);
  watched[0] = watched[1] = nullptr;
}
