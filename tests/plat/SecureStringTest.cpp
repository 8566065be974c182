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

TEST(SecureString, compareFindsADifferenceAtEveryByte) {
  unsigned char a[32], b[32];
  for (int i = 0; i < 32; i++) a[i] = static_cast<unsigned char>(i * 7 + 1);
  secureCopy(b, a, sizeof a);
  EXPECT_TRUE(secureCompare(a, b, sizeof a));
  for (size_t i = 0; i < sizeof a; i++) {
    b[i] ^= 0x80;
    EXPECT_FALSE(secureCompare(a, b, sizeof a));
    EXPECT_TRUE(secureCompare(a, b, i));
    b[i] ^= 0x80;
  }
  secureWipe(a + 1, 30);
  for (int i = 0; i < 32; i++) EXPECT_EQ(a[i], i % 31 == 0 ? b[i] : 0);
}

TEST(SecureString, strCmpOrdersByUnsignedBytes) {
  const char* ascending[] = {nullptr, "", "a", "ab", "b", "\xc3"};
  for (int i = 0; i < 6; i++) {
    for (int j = 0; j < 6; j++) {
      const int order = secureStrCmp(ascending[i], ascending[j]);
      EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << i << " " << j;
    }
  }
}

TEST(SecureString, secretsAreWipedBeforeTheirMemoryIsReleased) {
  Configuration registry("Test");
  BinaryParameter key("Key", "d", nullptr, nullptr, 0, false, &registry);
  watched[0] = "secret", watched[1] = "736563";  // the same as a hexadecimal text
  {
    SecureString text("a secret"), moved("secret");
    text.assign(text.get() + 2, 6);  // a part of itself
    EXPECT_STREQ(text.get(), "secret");
    moved = std::move(text);
    SecureString last(std::move(moved));
    EXPECT_STREQ(last.get(), "secret");
    EXPECT_TRUE(!text.get() && !moved.get());
    last.replace(secureStrDup("secret"));
    last.replace(const_cast<char*>(last.get()));
    last = std::move(*&last);
    EXPECT_STREQ(last.get(), "secret");

    MBuf<char> buffer("secret", 6, /*wipe=*/true), copy;
    buffer.resize(7);
    buffer.resize(6);
    copy = buffer;                     // and the flag
    copy = MBuf<char>("a secret", 8);  // keeps it
    MBuf<char> copied(copy), taken(std::move(copy));
    EXPECT_TRUE(key.setParam("736563726574", 10) && key.setParam("736563726574736563726574", 20));
    EXPECT_FALSE(key.setParam("736563726574x", 10) || key.setParam("736563726574xx", 10));
    auto clone = key.clone(&registry);
    key.copyValues(*clone);
    key.setValue(MBuf<unsigned char>(reinterpret_cast<const unsigned char*>("secret"), 6), 10);
    for (int priority : {10, 20}) key.unsetParam(priority);
  }
  EXPECT_EQ(leaks, 0);
  { MBuf<char>("secret", 6); }
  EXPECT_EQ(leaks, 1);
  watched[0] = watched[1] = nullptr;
}

TEST(MBuf, resizeKeepsItemsAndZeroesNewOnes) {
  const int given[] = {1, 2, 3}, grown[] = {1, 2, 3, 0, 0};
  MBuf<int> buffer(given, 3);
  buffer.resize(5);
  EXPECT_TRUE(buffer == MBuf<int>(grown, 5));
  buffer.resize(2);
  MBuf<int> copy(buffer);
  buffer.resize(0);
  EXPECT_TRUE(!buffer.data() && copy == MBuf<int>(grown, 2) && !(copy == buffer));
  EXPECT_FALSE(copy == MBuf<int>(given + 1, 2));
}
