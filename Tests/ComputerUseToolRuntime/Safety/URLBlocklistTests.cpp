#include "ComputerUseToolRuntime/Safety/URLBlocklist.h"

#include <gtest/gtest.h>

#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

class URLBlocklistTest : public testing::Test {
 protected:
  /// The words of the refusal; empty when the address passes.
  std::string refusal(const std::string& url) {
    try {
      blocklist.checkURL(url);
      return "";
    } catch (const URLBlocklist::BlocklistError& error) {
      return error.what();
    }
  }
  bool isBlocked(const std::string& url) { return !refusal(url).empty(); }

  SimulatedWorld world;
  URLBlocklist blocklist{world.desktop.preferences(), world.scheduler};
};

TEST_F(URLBlocklistTest, blocksNothingWithoutPatterns) {
  EXPECT_FALSE(isBlocked("https://example.test/"));
  EXPECT_EQ(blocklist.lastFetchDate(), std::nullopt);
}

TEST_F(URLBlocklistTest, saysWhichAddressItStoppedOn) {
  blocklist.loadPatterns({".example.test"});
  EXPECT_EQ(refusal("HTTPS://Sub.Example.TEST/x"),
            "Computer Use stopped due to encountering a disallowed URL: HTTPS://Sub.Example.TEST/x");
  EXPECT_TRUE(blocklist.lastFetchDate());
}

TEST_F(URLBlocklistTest, blocksTheHostsBelowAPatternWithAndWithoutADot) {
  for (const char* pattern : {".example.test", "example.test"}) {
    blocklist.loadPatterns({pattern});
    EXPECT_TRUE(isBlocked("http://sub.example.test")) << pattern;
    EXPECT_TRUE(isBlocked("http://a.b.example.test:8080/path?q#f")) << pattern;
    EXPECT_FALSE(isBlocked("http://notexample.test")) << pattern;
    EXPECT_FALSE(isBlocked("http://example.test")) << pattern;
  }
}

TEST_F(URLBlocklistTest, letsEverythingPassThatIsNoWebAddress) {
  blocklist.loadPatterns({".test"});
  for (const char* address : {"file:///x.test", "mailto:a@b.test", "", "no address", "http:", "http://", "https:///x",
                              "http://a b.test"}) {
    EXPECT_FALSE(isBlocked(address)) << address;
  }
}

TEST_F(URLBlocklistTest, isNotFooledByUsersAndPorts) {
  blocklist.loadPatterns({".example.test"});
  EXPECT_TRUE(isBlocked("http://other.test@sub.example.test/"));
  EXPECT_FALSE(isBlocked("http://sub.example.test@other.test/"));
  EXPECT_FALSE(isBlocked("http://[::1]:80/sub.example.test"));
}

TEST_F(URLBlocklistTest, dropsRememberedAnswersWithNewPatterns) {
  blocklist.loadPatterns({".example.test"});
  EXPECT_TRUE(isBlocked("http://sub.example.test"));
  blocklist.loadPatterns({".other.test"});
  EXPECT_FALSE(isBlocked("http://sub.example.test"));
}

TEST_F(URLBlocklistTest, letsAUserWorkOnBlockedAddresses) {
  blocklist.loadPatterns({".example.test"});
  world.desktop.preferences().setObject("ComputerUseAllowForbiddenTargets", true);
  EXPECT_FALSE(isBlocked("http://sub.example.test"));
  world.desktop.preferences().setObject("ComputerUseAllowForbiddenTargets", std::string("true"));
  EXPECT_FALSE(isBlocked("http://sub.example.test"));
  world.desktop.preferences().setObject("ComputerUseAllowForbiddenTargets", std::string("no"));
  EXPECT_TRUE(isBlocked("http://sub.example.test"));
}

}  // namespace
}  // namespace tavik
