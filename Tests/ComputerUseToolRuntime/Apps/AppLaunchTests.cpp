#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A simulated desktop on which applications can be launched.
struct LaunchDesk : SimulatedWorld {
  std::vector<std::string> launches() { return desktop.journal().lines("launch"); }

  /// Installs an application that registers so long after its launch.
  void install(const std::string& path, const std::string& name, const std::string& identifier,
               double registersAfter = 0.4) {
    desktop.workspace().install({.path = path,
                                 .bundle = {.bundleIdentifier = identifier, .infoDictionary = {}},
                                 .launchError = std::nullopt,
                                 .whenLaunched = [this, name, identifier, registersAfter] {
                                   desktop.after(seconds(registersAfter), [this, name, identifier] {
                                     desktop.application(name, identifier, 77);
                                   });
                                 }});
  }

  /// Makes the index know an application that was used yesterday.
  void index(const std::string& name, const std::string& identifier, std::optional<std::string> path) {
    desktop.applicationIndex().publish({{.bundleIdentifier = identifier,
                                         .path = std::move(path),
                                         .displayName = name,
                                         .fileName = std::nullopt,
                                         .lastUsedDate = scheduler.wallTime() - std::chrono::hours(24),
                                         .useCount = 1}});
    scheduler.settle();
  }

  /// The process that the query means, or the words of the refusal.
  std::string outcomeOf(const std::string& query, bool allowAppLaunch = true) {
    try {
      return std::to_string(resolver.resolveAppPIDForGetAppState(query, allowAppLaunch).pid);
    } catch (const ToolError& error) {
      return error.description();
    }
  }

  double elapsed() const { return inSeconds(scheduler.now() - start); }

  AppSearchEngine engine{desktop.applicationIndex(), desktop.workspace(), scheduler};
  AppResolver resolver{desktop.workspace(), engine, scheduler};
  const MonotonicTime start = scheduler.now();
};

void onDesk(const std::function<void(LaunchDesk&)>& body) {
  LaunchDesk desk;
  desk.run([&] { body(desk); });
}

TEST(AppLaunch, aRunningApplicationIsNotLaunched) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Notes", "com.example.notes", 42);
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes");
    EXPECT_EQ(desk.outcomeOf("notes"), "42");
    EXPECT_THAT(desk.launches(), IsEmpty());
  });
}

TEST(AppLaunch, anInstalledApplicationIsStartedInTheBackgroundAndAwaited) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes");
    EXPECT_EQ(desk.outcomeOf(" NOTES.app "), "77");
    EXPECT_THAT(desk.launches(),
                ElementsAre("launch in the background, not remembered of /Applications/Notes.app"));
    EXPECT_EQ(desk.elapsed(), 0.5);
  });
}

TEST(AppLaunch, withoutPermissionToLaunchTheNotFoundErrorStands) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes");
    EXPECT_EQ(desk.outcomeOf("Notes", false), "App not found: Notes");
    EXPECT_THAT(desk.launches(), IsEmpty());
  });
}

TEST(AppLaunch, whatIsNotInstalledIsNotFoundAndTheRunningOnesAreListed) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Mail", "com.example.mail", 5);
    EXPECT_EQ(desk.outcomeOf("Notes"),
              "App not found: Notes. Running app candidates: Mail (com.example.mail)");
    EXPECT_THAT(desk.launches(), IsEmpty());
    EXPECT_EQ(desk.elapsed(), 0);
  });
}

TEST(AppLaunch, anApplicationThatRegistersAfterNineSecondsIsTooLate) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Mail", "com.example.mail", 5);
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes", 9);
    EXPECT_EQ(desk.outcomeOf("Notes"),
              "App not found: Notes. Running app candidates: Mail (com.example.mail)");
    EXPECT_EQ(desk.elapsed(), 8);
    EXPECT_EQ(desk.launches().size(), 1u);
  });
}

TEST(AppLaunch, anApplicationThatRegistersInTheLastPollIsFound) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes", 7.9);
    EXPECT_EQ(desk.outcomeOf("Notes"), "77");
    EXPECT_EQ(desk.elapsed(), 8);
  });
}

TEST(AppLaunch, aFailedLaunchNamesTheFileAndTheReason) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Mail", "com.example.mail", 5);
    desk.desktop.workspace().install(
        {.path = "/Applications/Notes.app",
         .bundle = {.bundleIdentifier = "com.example.notes", .infoDictionary = {}},
         .launchError = "It is damaged.",
         .whenLaunched = {}});
    EXPECT_EQ(desk.outcomeOf("Notes"),
              "App not found: Notes. Running app candidates: Mail (com.example.mail). "
              "Failed to launch Notes.app: It is damaged.");
    EXPECT_EQ(desk.elapsed(), 0);
  });
}

TEST(AppLaunch, aRefusedApplicationIsNotStarted) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/Terminal.app", "Terminal", "com.apple.Terminal");
    const char* refusal =
        "IPC error: Computer Use cannot interact with terminal applications for security reasons.";
    EXPECT_EQ(desk.outcomeOf("Terminal"), refusal);
    EXPECT_EQ(desk.outcomeOf("com.apple.Terminal"), refusal);
    EXPECT_THAT(desk.launches(), IsEmpty());
  });
}

TEST(AppLaunch, aRefusedRunningApplicationIsNotLaunchedAgain) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Terminal", "com.apple.Terminal", 9);
    desk.install("/Applications/Terminal.app", "Terminal", "com.apple.Terminal");
    EXPECT_EQ(desk.outcomeOf("Terminal"),
              "IPC error: Computer Use cannot interact with terminal applications for security reasons.");
    EXPECT_THAT(desk.launches(), IsEmpty());
  });
}

TEST(AppLaunch, aBundleWithoutAnIdentifierMayStart) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.workspace().install(
        {.path = "/Applications/Tool.app",
         .bundle = {},
         .launchError = std::nullopt,
         .whenLaunched = [&desk] { desk.desktop.application("Tool", "tool", 8); }});
    EXPECT_EQ(desk.outcomeOf("Tool"), "8");
  });
}

TEST(AppLaunch, anAmbiguousNameMayBeLaunchedThroughTheIndex) {
  onDesk([](LaunchDesk& desk) {
    desk.desktop.application("Code Studio", "com.example.studio", 1);
    desk.desktop.application("Code Reader", "com.example.reader", 2);
    desk.desktop.workspace().install(
        {.path = "/Applications/Code Reader.app",
         .bundle = {.bundleIdentifier = "com.example.reader", .infoDictionary = {}},
         .launchError = std::nullopt,
         .whenLaunched = {}});
    EXPECT_EQ(desk.outcomeOf("code"),
              "App not found: code. Running app candidates: Code Studio (com.example.studio), "
              "Code Reader (com.example.reader)");
    EXPECT_EQ(desk.launches(),
              std::vector<std::string>(
                  {"launch in the background, not remembered of /Applications/Code Reader.app"}));
    EXPECT_EQ(desk.elapsed(), 8);
  });
}

TEST(AppLaunch, aCancelledRequestStopsWaitingForTheApplication) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/Notes.app", "Notes", "com.example.notes", 9);
    Task request = desk.scheduler.start("request", [&] { desk.outcomeOf("Notes"); });
    desk.scheduler.sleep(seconds(1));
    request.cancel();
    request.join();
    EXPECT_EQ(desk.elapsed(), 1);
  });
}

TEST(AppLaunchURL, anIdentifierIsAskedForFirstThenTheIndexThenTheFolders) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Applications/com.example.notes.app", "Folder", "x");
    EXPECT_EQ(desk.resolver.appLaunchURL("com.example.notes"), "/Applications/com.example.notes.app");
    desk.index("Notes", "com.example.notes", "/Index/Notes.app");
    EXPECT_EQ(desk.resolver.appLaunchURL("com.example.notes"), "/Index/Notes.app");
    desk.install("/Identified/Notes.app", "Notes", "com.example.notes");
    EXPECT_EQ(desk.resolver.appLaunchURL("com.example.notes"), "/Identified/Notes.app");
    EXPECT_EQ(desk.resolver.appLaunchURL("notes"), "/Index/Notes.app");
  });
}

TEST(AppLaunchURL, helpersInsideOfApplicationsAndOtherFilesAreRefused) {
  onDesk([](LaunchDesk& desk) {
    for (const char* path :
         {"/Applications/Main.app/Contents/Helpers/Helper.app",
          "/Applications/Main.app/Contents/XPCServices/Helper.app", "/Library/XPCServices/Helper.app",
          "/Library/Helpers/Helper.app", "C:\\Main\\Helpers\\Helper.app", "/Applications/Helper.txt"}) {
      desk.index("Helper", "com.example.helper", path);
      EXPECT_EQ(desk.resolver.appLaunchURL("Helper"), std::nullopt) << path;
    }
    desk.index("Helper", "com.example.helper", "/Applications/Helper.APP");
    EXPECT_EQ(desk.resolver.appLaunchURL("Helper"), "/Applications/Helper.APP");
  });
}

TEST(AppLaunchURL, anInvalidCandidateGivesWayToTheNext) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Main/Helpers/Notes.app", "Notes", "com.example.notes");
    desk.index("Notes", "com.example.notes", std::nullopt);
    desk.install("/Applications/com.example.notes.app", "Notes", "y");
    EXPECT_EQ(desk.resolver.appLaunchURL("com.example.notes"), "/Applications/com.example.notes.app");
  });
}

TEST(AppLaunchURL, theFoldersAreScannedInTheirOrderForTheNameWithoutSuffixCaseAndBlanks) {
  onDesk([](LaunchDesk& desk) {
    desk.install("/Users/simulated/Applications/ Notes .app", "Notes", "a");
    EXPECT_EQ(desk.resolver.appLaunchURL("notes"), std::nullopt)
        << "a blank before the suffix belongs to the name";
    desk.install("/Users/simulated/Applications/NOTES.App", "Notes", "b");
    EXPECT_EQ(desk.resolver.appLaunchURL("notes.APP"), "/Users/simulated/Applications/NOTES.App");
    desk.install("/System/Applications/Utilities/Notes.app", "Notes", "c");
    EXPECT_EQ(desk.resolver.appLaunchURL("Notes"), "/System/Applications/Utilities/Notes.app");
    desk.install("/System/Applications/Notes.app", "Notes", "d");
    EXPECT_EQ(desk.resolver.appLaunchURL("Notes"), "/System/Applications/Notes.app");
    desk.install("/Applications/Notes", "Notes", "e");
    EXPECT_EQ(desk.resolver.appLaunchURL("Notes"), "/System/Applications/Notes.app");
    desk.install("/Applications/Notes.app", "Notes", "f");
    EXPECT_EQ(desk.resolver.appLaunchURL("Notes"), "/Applications/Notes.app");
  });
}

}  // namespace
}  // namespace tavik
