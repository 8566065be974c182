#include "base/plat/SecureString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "base/plat/MBuf.h"

using namespace plat;

namespace {

TEST(SecureString, compareFindsADifferenceAtEveryByte) {
  unsigned char a[32], b[32];
  for (size_t i = 0; i < sizeof(a); i++) a[i] = static_cast<unsigned char>(i * 7);
  secureCopy(b, a, sizeof(a));
  EXPECT_TRUE(secureCompare(a, b, sizeof(a)));
  for (size_t i = 0; i < sizeof(a); i++) {
    b[i] ^= 0x80;
    EXPECT_FALSE(secureCompare(a, b, sizeof(a)));
    EXPECT_TRUE(secureCompare(a, b, i));
    b[i] ^= 0x80;
  }
  secureWipe(a + 1, sizeof(a) - 2);
  EXPECT_EQ(a[31], static_cast<unsigned char>(31 * 7));
  for (int i = 1; i < 31; i++) EXPECT_EQ(a[i], 0);
}

TEST(SecureString, strCmpOrdersByUnsignedBytes) {
  const char* ascending[] = {nullptr, "", "a", "ab", "b", "\xc3"};
  for (int i = 0; i < 6; i++) {
    for (int j = 0; j < 6; j++) {
      int order = secureStrCmp(ascending[i], ascending[j]);
      EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << i << " " << j;
    }
  }
}

TEST(SecureString, assignsAPartOfItself) {
  SecureString secret("correct horse");
  secret.assign(secret.get() + 8, 3);
  EXPECT_STREQ(secret.get(), "hor");
  SecureString moved(std::move(secret));
  EXPECT_EQ(secret.get(), nullptr);
  moved.replace(secureStrDup("battery"));
  secret = std::move(moved);
  EXPECT_STREQ(secret.get(), "battery");
  secret.assign(nullptr);
  EXPECT_EQ(secret.get(), nullptr);
}

TEST(MBuf, resizeKeepsItemsAndZeroesNewOnes) {
  MBuf<int> buffer(3, true);
  for (int i = 0; i < 3; i++) buffer.data()[i] = i + 1;
  buffer.resize(5);
  const int grown[] = {1, 2, 3, 0, 0};
  EXPECT_TRUE(buffer == MBuf<int>(grown, 5));
  buffer.resize(2);
  MBuf<int> copy(buffer);
  buffer.resize(0);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_TRUE(copy == MBuf<int>(grown, 2));
  copy = *&copy;
  EXPECT_EQ(copy.size(), 2);
}

}  // namespace
