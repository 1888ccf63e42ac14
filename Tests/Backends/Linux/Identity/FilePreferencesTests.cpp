#include "Backends/Linux/Identity/FilePreferences.h"

#include <gtest/gtest.h>

#include <fstream>

#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

class Preferences : public testing::Test {
 protected:
  void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }

  test::TemporaryFolder temporary;
  const std::filesystem::path user = temporary.path() / "config" / "computer-use.json";
  const std::filesystem::path beside = temporary.path() / "bin" / "TavikComputerUse.json";
  const std::filesystem::path shared = temporary.path() / "share/tavik-computer-use/application.json";
  FilePreferences preferences{user, FilePreferences::applicationFiles(temporary.path() / "bin" / "Runtime")};
};

TEST_F(Preferences, AreAbsentWithoutAFile) {
  EXPECT_FALSE(preferences.object("key"));
  EXPECT_FALSE(preferences.applicationProperty("key"));
}

TEST_F(Preferences, HaveTheTypeOfTheirJSON) {
  write(user, R"({"flag": false, "count": -3, "ratio": 0.5, "big": 18446744073709551615, "name": "x",
                  "list": ["a", "b"], "empty": [], "mixed": ["a", 1], "object": {}, "nothing": null})");
  EXPECT_EQ(preferences.object("flag"), PropertyValue(false));
  EXPECT_EQ(preferences.object("count"), PropertyValue(std::int64_t{-3}));
  EXPECT_EQ(preferences.object("ratio"), PropertyValue(0.5));
  EXPECT_EQ(preferences.object("big"), PropertyValue(18446744073709551615.0));
  EXPECT_EQ(preferences.object("name"), PropertyValue(std::string("x")));
  EXPECT_EQ(preferences.object("list"), PropertyValue(std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(preferences.object("empty"), PropertyValue(std::vector<std::string>{}));
  EXPECT_EQ(preferences.object("mixed"), PropertyValue(UnreadableProperty{}));
  EXPECT_EQ(preferences.object("object"), PropertyValue(UnreadableProperty{}));
  EXPECT_EQ(preferences.object("nothing"), PropertyValue(UnreadableProperty{}));
  EXPECT_FALSE(preferences.object("absent"));
}

TEST_F(Preferences, AreReadAnewWhenTheFileChanges) {
  write(user, R"({"flag": true})");
  EXPECT_EQ(preferences.object("flag"), PropertyValue(true));
  write(user, R"({"flag": false})");
  EXPECT_EQ(preferences.object("flag"), PropertyValue(false));
  std::filesystem::remove(user);
  EXPECT_FALSE(preferences.object("flag"));
}

TEST_F(Preferences, InABrokenFileAreAbsent) {
  for (const char* text : {"", "{", "[1,2]", "\"text\"", "{\"flag\": tru"}) {
    write(user, text);
    EXPECT_FALSE(preferences.object("flag")) << text;
  }
}

TEST_F(Preferences, AndPropertiesAreKeptApart) {
  write(user, R"({"key": 1})");
  write(beside, R"({"key": 2})");
  EXPECT_EQ(preferences.object("key"), PropertyValue(std::int64_t{1}));
  EXPECT_EQ(preferences.applicationProperty("key"), PropertyValue(std::int64_t{2}));
}

TEST_F(Preferences, PropertiesBesideTheProgramComeBeforeInstalledOnes) {
  write(shared, R"({"key": "shared", "other": true})");
  EXPECT_EQ(preferences.applicationProperty("key"), PropertyValue(std::string("shared")));
  write(beside, R"({"key": "beside"})");
  EXPECT_EQ(preferences.applicationProperty("key"), PropertyValue(std::string("beside")));
  EXPECT_EQ(preferences.applicationProperty("other"), PropertyValue(true));
}

}  // namespace
}  // namespace tavik
