#include "ComputerUseToolRuntime/Safety/AppSafetyBlocklist.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

constexpr const char* passwords = "Computer Use cannot interact with password managers for security reasons.";
constexpr const char* terminals = "Computer Use cannot interact with terminal applications for security reasons.";
constexpr const char* others = "Computer Use cannot interact with this application.";

TEST(AppSafetyBlocklist, hasItsOwnWordsForEachClass) {
  EXPECT_EQ(AppSafetyBlocklist::check("com.bitwarden.desktop"), passwords);
  EXPECT_EQ(AppSafetyBlocklist::check("com.apple.Terminal"), terminals);
  EXPECT_EQ(AppSafetyBlocklist::check("com.apple.UserNotificationCenter"), others);
  EXPECT_EQ(AppSafetyBlocklist::check("com.example.notes"), std::nullopt);
  EXPECT_EQ(AppSafetyBlocklist::check("com.apple.terminal"), std::nullopt) << "identifiers keep their case";
}

TEST(AppSafetyBlocklist, hasEightPasswordManagersTenTerminalsAndOneSystemApplication) {
  EXPECT_EQ(AppSafetyBlocklist::passwordManagers().size(), 8u);
  EXPECT_EQ(AppSafetyBlocklist::terminals().size(), 10u);
  EXPECT_EQ(AppSafetyBlocklist::systemApps().size(), 1u);
  EXPECT_EQ(AppSafetyBlocklist::allBlocked().size(), 19u);
}

TEST(AppSafetyBlocklist, believesWhatThePlatformKnows) {
  EXPECT_EQ(AppSafetyBlocklist::check("keepassxc", RefusedApplicationClass::passwordManager), passwords);
  EXPECT_EQ(AppSafetyBlocklist::check("xterm", RefusedApplicationClass::terminal), terminals);
  EXPECT_EQ(AppSafetyBlocklist::check("", RefusedApplicationClass::systemApp), others);
}

}  // namespace
}  // namespace tavik
