#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "SlimCore/Identity/AppleEventsAutomationAuthorization.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "SlimCore/Identity/FeatureFlag.h"
#include "SlimCore/Identity/ResponsibleProcess.h"
#include "Tests/Support/EmptyWorkspace.h"

namespace tavik {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

struct TablePreferences : PreferencesPort {
  std::map<std::string, PropertyValue> objects;
  std::map<std::string, PropertyValue> properties;

  static std::optional<PropertyValue> find(const std::map<std::string, PropertyValue>& table,
                                           const std::string& key) {
    auto entry = table.find(key);
    return entry == table.end() ? std::nullopt : std::optional(entry->second);
  }
  std::optional<PropertyValue> object(const std::string& key) override { return find(objects, key); }
  std::optional<PropertyValue> applicationProperty(const std::string& key) override {
    return find(properties, key);
  }
};

struct ScriptedProcesses : ProcessPort {
  std::map<std::int32_t, std::string> paths;
  std::optional<std::int32_t> responsible;
  std::int32_t automationStatus = 0;

  std::int32_t currentPID() override { return 100; }
  std::int32_t parentPID() override { return 50; }
  int probe(std::int32_t) override { return 0; }
  std::optional<std::string> executablePath(std::int32_t pid) override {
    auto path = paths.find(pid);
    return path == paths.end() ? std::nullopt : std::optional(path->second);
  }
  std::optional<std::int32_t> responsiblePID(std::int32_t) override { return responsible; }
  std::int32_t determinePermissionToAutomate(std::int32_t, bool) override { return automationStatus; }
  std::optional<std::string> environment(const std::string&) override { return std::nullopt; }
  std::string homeDirectory() override { return "/home/me"; }
  std::optional<std::string> bundleIdentifier() override { return std::nullopt; }
  std::string bundlePath() override { return ""; }
  std::string operatingSystemVersion() override { return ""; }
};

struct NamedApplications : EmptyWorkspace {
  std::map<std::int32_t, std::string> names;

  std::optional<RunningApplication> runningApplication(std::int32_t pid) override {
    auto name = names.find(pid);
    if (name == names.end()) return std::nullopt;
    RunningApplication app;
    app.pid = pid;
    app.localizedName = name->second;
    return app;
  }
};

TEST(FeatureFlagTest, onlyTheCursorIsOnOnAFreshMachine) {
  TablePreferences preferences;
  FeatureFlag flags(preferences);
  EXPECT_TRUE(flags.computerUseCursor());
  EXPECT_FALSE(flags.detachComputerUseCursor());
  EXPECT_FALSE(flags.computerUseAlwaysSimulateClick());
  EXPECT_FALSE(flags.computerUsePIP());
  EXPECT_FALSE(flags.computerUsePIPOverrideMinimizeButton());
  EXPECT_FALSE(flags.computerUsePersonalInstructionsOverridesBuiltIn());
  EXPECT_FALSE(flags.screenshot());
  EXPECT_FALSE(flags.overrideFogSamplingTexture());
  EXPECT_FALSE(flags.computerUseAllowForbiddenTargets());
}

TEST(FeatureFlagTest, aStoredValueWinsAndTakesEffectAtOnce) {
  TablePreferences preferences;
  FeatureFlag flags(preferences);
  preferences.objects["feature/computerUseCursor"] = false;
  EXPECT_FALSE(flags.computerUseCursor());
  preferences.objects["ComputerUseAllowForbiddenTargets"] = std::int64_t{1};
  EXPECT_TRUE(flags.computerUseAllowForbiddenTargets());
  preferences.objects["feature/screenshot"] = "YES";
  EXPECT_TRUE(flags.screenshot());
  preferences.objects["feature/screenshot"] = "no";
  EXPECT_FALSE(flags.screenshot());
  EXPECT_EQ(flags.stringValue("feature/screenshot"), "no");
  EXPECT_EQ(flags.stringValue("absent"), std::nullopt);
  preferences.objects["number"] = 2.5;
  EXPECT_EQ(flags.stringValue("number"), "2.5");
  preferences.objects["number"] = std::int64_t{7};
  EXPECT_EQ(flags.stringValue("number"), "7");
  preferences.objects["switch"] = true;
  EXPECT_EQ(flags.stringValue("switch"), "1");
}

class BundleIdentifiersTest : public ::testing::Test {
 protected:
  TablePreferences preferences;
  BundleIdentifiers identifiers{preferences};
};

TEST_F(BundleIdentifiersTest, listsInATextEndAtCommasAndAtEveryLineBreak) {
  preferences.properties["TavikComputerUseTrustedBundleIdentifiers"] = "a, b\nc\r\nd\u0085e\u2028f\u2029 g,,";
  EXPECT_EQ(identifiers.trustedBundleIDs(), (std::set<std::string>{"a", "b", "c", "d", "e", "f", "g"}));
}

TEST_F(BundleIdentifiersTest, haveDefaultsForEverything) {
  EXPECT_EQ(identifiers.computerUseRuntime(), "com.tavik.computeruse");
  EXPECT_EQ(identifiers.computerUseBridge(), "com.tavik.computeruse.bridge");
  EXPECT_EQ(identifiers.runtimeAppName(), "Tavik Computer Use.app");
  EXPECT_EQ(identifiers.runtimeAppDisplayName(), "Tavik Computer Use");
  EXPECT_THAT(identifiers.trustedBundleIDs(),
              UnorderedElementsAre("com.tavik.ide", "com.tavik.ide.helper", "com.tavik.work", "Tavik",
                                   "tavikcli", "com.tavik.computeruse.bridge"));
  EXPECT_THAT(identifiers.trustedTeamIdentifiers(), ElementsAre(identifiers.teamIdentifier()));
  EXPECT_THAT(identifiers.teamIdentifier(), SizeIs(10));
  EXPECT_TRUE(identifiers.senderAuthorizationEnforced());
}

TEST_F(BundleIdentifiersTest, theTrustedSetFollowsTheConfiguredBridge) {
  preferences.properties["TavikComputerUseBridgeBundleIdentifier"] = " com.example.bridge ";
  EXPECT_THAT(identifiers.trustedBundleIDs(), Contains("com.example.bridge"));
}

TEST_F(BundleIdentifiersTest, enforcementUnderstandsWordsAndFallsBackToTrue) {
  const char* key = "TavikComputerUseEnforceSenderAuthorization";
  preferences.properties[key] = " NO ";
  EXPECT_FALSE(identifiers.senderAuthorizationEnforced());
  preferences.properties[key] = "perhaps";
  EXPECT_TRUE(identifiers.senderAuthorizationEnforced());
  preferences.properties[key] = false;
  EXPECT_FALSE(identifiers.senderAuthorizationEnforced());
  preferences.properties[key] = std::int64_t{0};
  EXPECT_FALSE(identifiers.senderAuthorizationEnforced());
  preferences.properties[key] = std::vector<std::string>{"no"};
  EXPECT_TRUE(identifiers.senderAuthorizationEnforced());
}

TEST_F(BundleIdentifiersTest, aTextOfNamesIsSplitAtCommasAndLineBreaks) {
  const char* key = "TavikComputerUseTrustedBundleIdentifiers";
  preferences.properties[key] = "a, b\nc,";
  EXPECT_THAT(identifiers.trustedBundleIDs(), UnorderedElementsAre("a", "b", "c"));
  preferences.properties[key] = " , \n ,";
  EXPECT_EQ(identifiers.trustedBundleIDs(), identifiers.defaultTrustedBundleIDs());
}

TEST_F(BundleIdentifiersTest, aListNarrowsTheTrustedSetButCannotEmptyIt) {
  const char* key = "TavikComputerUseTrustedBundleIdentifiers";
  preferences.properties[key] = std::vector<std::string>{" a ", ""};
  EXPECT_THAT(identifiers.trustedBundleIDs(), ElementsAre("a"));
  preferences.properties[key] = std::vector<std::string>{"  "};
  EXPECT_EQ(identifiers.trustedBundleIDs(), identifiers.defaultTrustedBundleIDs());
  preferences.properties[key] = UnreadableProperty{};
  EXPECT_EQ(identifiers.trustedBundleIDs(), identifiers.defaultTrustedBundleIDs());
}

TEST_F(BundleIdentifiersTest, anApplicationNameWithoutTheSuffixStands) {
  preferences.properties["TavikComputerUseRuntimeAppName"] = "Agent";
  EXPECT_EQ(identifiers.runtimeAppDisplayName(), "Agent");
  preferences.properties["TavikComputerUseRuntimeAppName"] = std::int64_t{5};
  EXPECT_EQ(identifiers.runtimeAppDisplayName(), "Tavik Computer Use");
}

TEST_F(BundleIdentifiersTest, theFixedSetsAreWhole) {
  EXPECT_THAT(BundleIdentifiers::systemSecurityProcesses(), ElementsAre("com.apple.SecurityAgent"));
  EXPECT_THAT(BundleIdentifiers::disallowedThiefProcesses(), SizeIs(18));
}

class ResponsibleProcessTest : public ::testing::Test {
 protected:
  ScriptedProcesses processes;
  NamedApplications applications;
  ResponsibleProcess responsible{processes, applications};
};

TEST_F(ResponsibleProcessTest, withoutTheSystemsNotionTheParentIsNamed) {
  processes.paths[50] = "/usr/bin/launcher";
  const auto attribution = responsible.current();
  EXPECT_EQ(attribution, (ResponsibleProcess::Attribution{std::nullopt, "launcher", false}));
}

TEST_F(ResponsibleProcessTest, aNumberBelowOneCountsAsNone) {
  processes.responsible = 0;
  EXPECT_EQ(responsible.processIdentifier(100), std::nullopt);
  EXPECT_FALSE(responsible.current().processIdentifier.has_value());
}

TEST_F(ResponsibleProcessTest, knowsWhenItIsResponsibleForItself) {
  processes.responsible = 100;
  applications.names[100] = "Server";
  EXPECT_EQ(responsible.current(), (ResponsibleProcess::Attribution{100, "Server", true}));
  processes.responsible = 7;
  EXPECT_FALSE(responsible.current().isSelf);
}

TEST_F(ResponsibleProcessTest, anEmptyNameGivesWayToTheBundlesFolderAndThenToTheFile) {
  applications.names[7] = "";
  processes.paths[7] = "/Applications/Host.app/Contents/MacOS/host-main";
  EXPECT_EQ(responsible.name(7), "Host");
  processes.paths[8] = "/usr/local/bin/tool";
  EXPECT_EQ(responsible.name(8), "tool");
  EXPECT_EQ(responsible.name(9), std::nullopt);
}

TEST_F(ResponsibleProcessTest, anExecutableFiveLevelsInsideABundleHasNoEnclosingApplication) {
  EXPECT_EQ(ResponsibleProcess::enclosingApplicationName("/A/Host.app/Contents/MacOS/x"), "Host");
  EXPECT_EQ(ResponsibleProcess::enclosingApplicationName("/A/Host.app/Contents/Helpers/bin/x"), "Host");
  EXPECT_EQ(ResponsibleProcess::enclosingApplicationName("/A/Host.app/Contents/Helpers/a/b/x"), std::nullopt);
  EXPECT_EQ(ResponsibleProcess::enclosingApplicationName("/x"), std::nullopt);
}

using Authorization = AppleEventsAutomationAuthorization;

TEST(AutomationAuthorization, namesTheKnownNumbers) {
  EXPECT_TRUE(Authorization::status(0).isAuthorized());
  EXPECT_TRUE(Authorization::status(-1743).isAuthorizationProblem());
  EXPECT_TRUE(Authorization::status(-1744).isAuthorizationProblem());
  EXPECT_EQ(Authorization::status(-42), (Authorization::Status{Authorization::Status::Kind::other, -42}));
  EXPECT_TRUE(Authorization::isNotPermitted(-1743));
  EXPECT_FALSE(Authorization::isNotPermitted(-1744));
}

TEST(AutomationAuthorization, aProcessThatHasExitedIsNoAuthorizationProblem) {
  ScriptedProcesses processes;
  processes.automationStatus = -600;
  const auto status = Authorization(processes).probe(7, false);
  EXPECT_EQ(status.kind, Authorization::Status::Kind::targetNotFound);
  EXPECT_FALSE(status.isAuthorizationProblem());
}

TEST(AutomationAuthorization, sendsTheUserToTheSettingsOnlyWhenThereIsASwitchToFind) {
  const std::string message = Authorization::remediationMessage("Notes", {std::nullopt, std::nullopt, false});
  EXPECT_EQ(
      message,
      "Computer Use is not authorized to control Notes through macOS Automation. macOS returned "
      "errAEEventNotPermitted (-1743).\n\nOpen System Settings > Privacy & Security > Automation, find the "
      "application that started this MCP server, and enable Notes underneath it. Then quit and relaunch the "
      "application that started this MCP server before retrying.");
  EXPECT_THAT(Authorization::remediationMessage("Notes", {7, "Host", false}),
              AllOf(HasSubstr("find Host, and enable Notes"), EndsWith("relaunch Host before retrying.")));
  EXPECT_THAT(
      Authorization::remediationMessage("Notes", {100, "", true}),
      EndsWith(
          "\n\nmacOS holds this MCP server process itself responsible for this request instead of a host "
          "application, so no Automation entry can be granted for it. Start the Computer Use MCP server "
          "from its host application, then retry."));
}

}  // namespace
}  // namespace tavik
