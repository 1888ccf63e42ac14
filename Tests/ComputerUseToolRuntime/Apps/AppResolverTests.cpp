#include "ComputerUseToolRuntime/Apps/AppResolver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Safety/AppSafetyBlocklist.h"
#include "Tests/Support/EmptyWorkspace.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

struct ListedApplications : EmptyWorkspace {
  std::vector<RunningApplication> apps;

  std::vector<RunningApplication> runningApplications() override { return apps; }
};

RunningApplication app(std::int32_t pid, const std::string& identifier, const std::string& name) {
  RunningApplication running;
  running.pid = pid;
  running.bundleIdentifier = identifier;
  running.localizedName = name;
  return running;
}

class AppResolverTest : public ::testing::Test {
 protected:
  std::string failureOf(const std::string& query) {
    try {
      resolver.resolveAppPID(query);
    } catch (const ToolError& error) {
      return error.description();
    }
    return "resolved";
  }

  ListedApplications workspace;
  SimulatedScheduler scheduler;
  SimulatedApplicationIndex index;
  AppSearchEngine engine{index, workspace, scheduler, std::nullopt,
                         [] { return std::vector<SpotlightAppEntry>(); }};
  AppResolver resolver{workspace, engine, scheduler};
};

TEST_F(AppResolverTest, nameSuffixCaseBlanksAndIdentifierResolveAlike) {
  workspace.apps = {app(7, "com.example.Browser", "Browser")};
  for (const char* query : {"Browser", "browser.app", " BROWSER ", "com.example.Browser", "Browser.APP"}) {
    EXPECT_EQ(resolver.resolveAppPID(query), (ResolvedApp{7, "com.example.Browser"})) << query;
  }
}

TEST_F(AppResolverTest, everyNameOfAnApplicationIsAnAlias) {
  RunningApplication editor = app(7, "com.example.Editor", "Text Editor");
  editor.bundlePath = "/Applications/Edit It.app";
  editor.executablePath = "/usr/bin/editor-bin";
  editor.infoDictionary = {
      {"CFBundleName", "Ed"}, {"CFBundleDisplayName", " "}, {"CFBundleExecutable", "Edx.app"}};
  EXPECT_THAT(
      AppResolver::appNameAliases(editor),
      UnorderedElementsAre("com.example.editor", "text editor", "edit it", "editor-bin", "ed", "edx"));
}

TEST_F(AppResolverTest, aPartOfANameMatchesOnlyWhenItMeansOneApplication) {
  workspace.apps = {app(1, "com.example.code", "Code Studio"), app(2, "com.example.mail", "Mail")};
  EXPECT_EQ(resolver.resolveAppPID("studio").pid, 1);
  workspace.apps.push_back(app(3, "org.other", "Code Reader"));
  EXPECT_EQ(
      failureOf("code"),
      "App not found: code. Running app candidates: Code Studio (com.example.code), Mail (com.example.mail), "
      "Code Reader (org.other)");
}

TEST_F(AppResolverTest, accessoryBackgroundAndNestedApplicationsDoNotResolve) {
  workspace.apps = {app(1, "com.example.agent", "Agent"), app(2, "com.example.helper", "Helper"),
                    app(3, "com.example.main", "Main")};
  workspace.apps[0].activationPolicy = ActivationPolicy::accessory;
  workspace.apps[1].bundlePath = "/Applications/Main.app/Contents/Helpers/Helper.app";
  EXPECT_THAT(failureOf("Agent"), HasSubstr("App not found: Agent"));
  EXPECT_THAT(failureOf("Helper"),
              AllOf(HasSubstr("App not found: Helper"), Not(HasSubstr("com.example.helper"))));
}

TEST_F(AppResolverTest, atMostEightCandidatesAreListed) {
  for (int i = 1; i <= 9; ++i)
    workspace.apps.push_back(app(i, "id" + std::to_string(i), "App" + std::to_string(i)));
  EXPECT_THAT(failureOf("nothing"), AllOf(HasSubstr("App8 (id8)"), Not(HasSubstr("App9"))));
}

TEST_F(AppResolverTest, withoutUserFacingApplicationsAllAreListedAndWithoutAnyOnlyTheQuery) {
  EXPECT_EQ(failureOf("x"), "App not found: x");
  RunningApplication nameless;
  nameless.pid = 4;
  nameless.localizedName = "daemon";
  workspace.apps = {nameless};
  EXPECT_EQ(failureOf("x"), "App not found: x. Running app candidates: daemon (unknown-bundle)");
}

TEST_F(AppResolverTest, anEmptyQueryMatchesNothing) {
  workspace.apps = {app(1, "com.example.one", "One")};
  EXPECT_THAT(failureOf(" "), HasSubstr("App not found:  "));
}

TEST_F(AppResolverTest, passwordManagersTerminalsAndSystemAgentsAreRefusedInTheirWords) {
  workspace.apps = {app(1, "com.bitwarden.desktop", "Bitwarden"), app(2, "com.apple.Terminal", "Terminal"),
                    app(3, "com.apple.UserNotificationCenter", "Notifications")};
  EXPECT_EQ(failureOf("Bitwarden"),
            "IPC error: Computer Use cannot interact with password managers for security reasons.");
  EXPECT_EQ(failureOf("Terminal"),
            "IPC error: Computer Use cannot interact with terminal applications for security reasons.");
  EXPECT_EQ(failureOf("Notifications"), "IPC error: Computer Use cannot interact with this application.");
}

TEST(AppSafetyBlocklistTest, letsEverythingElsePass) {
  EXPECT_EQ(AppSafetyBlocklist::check("com.example.notes"), std::nullopt);
}

}  // namespace
}  // namespace tavik
