#include "platform/toolbox/base64.h"

#include <gtest/gtest.h>

// RFC 4648 section 10.
TEST(Base64, EncodesTheVectorsOfTheStandard)
{
  EXPECT_EQ(CBase64String::Encode(""), "");
  EXPECT_EQ(CBase64String::Encode("f"), "Zg==");
  EXPECT_EQ(CBase64String::Encode("fo"), "Zm8=");
  EXPECT_EQ(CBase64String::Encode("foo"), "Zm9v");
  EXPECT_EQ(CBase64String::Encode("foob"), "Zm9vYg==");
  EXPECT_EQ(CBase64String::Encode("fooba"), "Zm9vYmE=");
  EXPECT_EQ(CBase64String::Encode("foobar"), "Zm9vYmFy");
}

TEST(Base64, EncodesBytesOfEveryValue)
{
  EXPECT_EQ(CBase64String::Encode(std::string("\x00\xff\x10", 3)), "AP8Q");
  EXPECT_EQ(CBase64String::Encode("\xfb\xff\xbf"), "+/+/");
}
