#include "Base/Encoding/Base64.h"

#include <gtest/gtest.h>

#include <random>

namespace tavik {
namespace {

TEST(Base64, writesTheStandardAlphabetWithPadding) {
  EXPECT_EQ(base64Encoded({}), "");
  EXPECT_EQ(base64Encoded(bytesOf("f")), "Zg==");
  EXPECT_EQ(base64Encoded(bytesOf("fo")), "Zm8=");
  EXPECT_EQ(base64Encoded(bytesOf("foo")), "Zm9v");
  EXPECT_EQ(base64Encoded(bytesOf("foobar")), "Zm9vYmFy");
  EXPECT_EQ(base64Encoded({0xFB, 0xFF, 0xFE}), "+//+");
}

TEST(Base64, readsBackWhatItWroteForEveryLength) {
  std::mt19937 random(7);
  for (std::size_t length = 0; length < 200; ++length) {
    Bytes bytes(length);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes) << length;
  }
}

TEST(Base64, refusesTextThatIsNoBase64) {
  for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "Z===", "====", "Z=g=", "Zg==Zg==", "Zm9 ", "Zm9v\n",
                           "Zm-_", "Zm\xC3\xA4"}) {
    EXPECT_EQ(base64Decoded(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tavik
