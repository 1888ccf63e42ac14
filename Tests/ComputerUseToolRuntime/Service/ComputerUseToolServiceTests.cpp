#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/TaskGroup.h"
#include "Tests/Support/SeedCount.h"
#include "ToolWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class ToolServiceTest : public ::testing::Test {
 protected:
  ToolWorld world;
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", 42);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
  int saves = 0;
  SimulatedElement save = window.add(button("Save").identifier("saveButton").onPress([this] { ++saves; }));
  SimulatedElement name = window.add(textField("Ada").placeholder("Your name"));
};

TEST(ToolServiceWithoutApplications, saysThatThereAreNone) {
  ToolWorld world;
  world.run([&] {
    const ToolResult result = world.listApps();
    EXPECT_EQ(result, ToolResult::text("No apps found."));
  });
}

TEST_F(ToolServiceTest, listsTheApplicationsFrontmostFirst) {
  world.run([&] {
    world.desktop.application("Agent", "com.example.agent", 41).describe([](RunningApplication& record) {
      record.activationPolicy = ActivationPolicy::accessory;
    });
    auto mail = world.desktop.application("Mail", "com.example.mail", 43);
    mail.window("Inbox", Rect{{0, 0}, {400, 300}});
    mail.activate();
    EXPECT_EQ(ToolWorld::textOf(world.listApps()),
              "Mail — com.example.mail [frontmost, running]\nNotes — com.example.notes [running]\n");
  });
}

TEST_F(ToolServiceTest, aStateIsItsTextAndThePictureOfItsWindow) {
  world.run([&] {
    const ToolResult state = world.getAppState("Notes");
    EXPECT_FALSE(state.isError);
    ASSERT_THAT(state.content, SizeIs(2));
    EXPECT_THAT(state.content[0].text(),
                StartsWith("Computer Use state (CUA App Version: tavik-dev)\n<app_state>\n"
                           "App=com.example.notes (pid 42)\nWindow: \"Untitled\", App: Notes.\n"
                           "0 standard window Untitled\n\t1 button Save, ID: saveButton\n"
                           "\t2 text field (settable, string) Value: Ada, Placeholder: Your name"));
    EXPECT_EQ(state.content[1].image().mimeType, "image/png");
    EXPECT_THAT(world.desktop.journal().lines("perform"), IsEmpty()) << "reading acts on nothing";
  });
}

TEST_F(ToolServiceTest, aStateWithoutAPictureSaysWhyNot) {
  world.run([&] {
    const auto windows = world.desktop.windowServer().copyWindowInfo(17, 0);
    const std::uint32_t windowID = *windows->at(0).windowID;
    world.desktop.windowServer().refusePicture(windowID);
    const ToolResult state = world.getAppState("Notes");
    EXPECT_FALSE(state.isError);
    EXPECT_EQ(state.content.back().text(), "Screenshot capture failed: Screenshot capture failed for target window " +
                                               std::to_string(windowID));
    world.desktop.windowServer().stopAnswering();
    world.scheduler.sleep(seconds(1));
    EXPECT_THAT(ToolWorld::textOf(world.getAppState("Notes")),
                AllOf(HasSubstr("button Save"),
                      HasSubstr("Screenshot skipped: capture policy AX_ONLY; AX state returned.")));
  });
}

TEST_F(ToolServiceTest, aStateStartsTheApplicationInTheBackgroundAndTheStateAfterAnActionDoesNot) {
  world.run([&] {
    world.desktop.workspace().install(
        {.path = "/Applications/Mail.app",
         .bundle = {.bundleIdentifier = "com.example.mail", .infoDictionary = {}},
         .launchError = std::nullopt,
         .whenLaunched = [this] {
           auto mail = world.desktop.application("Mail", "com.example.mail", 43);
           auto window = mail.window("Inbox", Rect{{0, 0}, {400, 300}});
           window.add(simulated::button("Quit")).onAction("AXPress", [mail] { mail.exit(); });
         }});
    EXPECT_THAT(ToolWorld::textOf(world.getAppState("Mail")), HasSubstr("App=com.example.mail (pid 43)"));
    EXPECT_THAT(ToolWorld::textOf(world.click("Mail", 1)), HasSubstr("App not found: Mail"));
    EXPECT_THAT(world.desktop.journal().lines("launch"), SizeIs(1));
  });
}

TEST_F(ToolServiceTest, aStateBecomesTheSessionOfLaterActions) {
  world.run([&] {
    std::vector<ToolSession::ActiveSessions> announced;
    world.service.session().setActiveSessionsDidChange([&](const auto& sessions) { announced.push_back(sessions); });
    world.getAppState(" notes.app ");
    world.getAppState("Notes");
    const auto session = world.service.session().currentSession();
    ASSERT_TRUE(session);
    EXPECT_EQ(session->appQuery, "Notes");
    EXPECT_EQ(session->targetWindowBounds, (Rect{{0, 0}, {800, 600}}));
    EXPECT_EQ(session->screenshotPixelSize, (Size{1024, 768}));
    EXPECT_THAT(announced, ElementsAre(ElementsAre(ComputerUseActiveSessionSummary{"com.example.notes", 42, "Notes"})));
  });
}

TEST_F(ToolServiceTest, aClickPressesAndAnswersWithTheNewStateInsteadOfTheObvious) {
  world.run([&] {
    save.onAction("AXPress", [&] { name.set("AXValue", "Grace"); });
    world.getAppState("Notes");
    const ToolResult result = world.click("Notes", 1);
    EXPECT_EQ(saves, 1);
    EXPECT_FALSE(result.isError);
    EXPECT_THAT(result.content[0].text(), StartsWith("App=com.example.notes (pid 42)\n"));
    EXPECT_THAT(ToolWorld::textOf(result),
                AllOf(HasSubstr("Value: Grace"), Not(HasSubstr("Action completed")), Not(HasSubstr("<app_state>"))));
    EXPECT_TRUE(result.content.back().isImage());
    EXPECT_THAT(world.desktop.journal().lines("perform"), ElementsAre("perform AXPress of button 'Save'"));
  });
}

TEST_F(ToolServiceTest, aSuccessWithoutAStateAfterItIsStillASuccess) {
  world.run([&] {
    save.onAction("AXPress", [&] { notes.exit(); });
    world.getAppState("Notes");
    const ToolResult result = world.click("Notes", 1);
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(ToolWorld::textOf(result),
              "Action completed successfully.\nPost-action state capture failed: App not found: Notes\n");
  });
}

TEST_F(ToolServiceTest, anActionBeforeAnyStateIsRefused) {
  world.run([&] {
    EXPECT_EQ(ToolWorld::refusalOf([&] { world.click("Notes", 1); }),
              "No active app state. Call get_app_state first.");
    EXPECT_EQ(saves, 0);
  });
}

TEST_F(ToolServiceTest, anActionOnAnotherApplicationThanTheLastStateIsRefusedBeforeAnyLookUp) {
  world.run([&] {
    world.desktop.application("Mail", "com.example.mail", 43).window("Inbox", Rect{{0, 0}, {400, 300}});
    world.getAppState("Notes");
    EXPECT_EQ(ToolWorld::refusalOf([&] { world.click("mail", 99); }),
              "The user changed 'mail'. Re-query the latest state with `get_app_state` before sending more actions.");
    EXPECT_THAT(world.log.records("element_lookup_failed"), IsEmpty());
  });
}

TEST_F(ToolServiceTest, aRelaunchedApplicationMakesTheStateStale) {
  world.run([&] {
    world.getAppState("Notes");
    notes.exit();
    world.desktop.application("Notes", "com.example.notes", 77).window("Untitled", Rect{{0, 0}, {800, 600}});
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", 1); }), StartsWith("The user changed 'Notes'."));
  });
}

TEST_F(ToolServiceTest, anUnknownIndexNamesTheElementsAroundIt) {
  world.run([&] {
    world.getAppState("Notes");
    EXPECT_EQ(ToolWorld::refusalOf([&] { world.click("Notes", 4); }),
              "The element ID is no longer valid. Try to get the on-screen content again and see if that resolves the "
              "issue.. Re-query the latest state with get_app_state before sending more actions. Nearby elements: "
              "[1] button Save, ID: saveButton | [2] text field (settable, string) Value: Ada, Placeholder: Your "
              "name, Secondary Actions: Confirm");
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", -1); }),
                HasSubstr(" Nearby elements: [0] standard window Untitled | [1] "));
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", 900); }), Not(HasSubstr("Nearby elements")));
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", 4'294'967'297); }),
                HasSubstr("The element ID is no longer valid"));
    EXPECT_THAT(world.log.records("element_lookup_failed"), SizeIs(4));
    EXPECT_EQ(saves, 0);
  });
}

TEST_F(ToolServiceTest, anElementThatDiedOrBecameAnotherIsNotPressed) {
  world.run([&] {
    world.getAppState("Notes");
    save.setQuietly("AXRole", "AXSlider");
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", 1); }),
                StartsWith("Element was invalidated and could not be found after refetching. Re-query"));
    save.die();
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.click("Notes", 1); }), StartsWith("Element was invalidated"));
    EXPECT_EQ(saves, 0);
  });
}

TEST_F(ToolServiceTest, aRightClickShowsTheMenuOfTheElement) {
  world.run([&] {
    window.add(image("Photo").menu({menuItem("Copy")}));
    world.getAppState("Notes");
    const ToolResult result = world.click("Notes", 3, 1);
    EXPECT_FALSE(result.isError);
    EXPECT_THAT(world.desktop.journal().lines("perform"), ElementsAre("perform AXShowMenu of image 'Photo'"));
  });
}

TEST_F(ToolServiceTest, anApplicationThatHangsStillGetsAPartialStateWithinItsTime) {
  world.run([&] {
    auto mail = world.desktop.application("Mail", "com.example.mail", 43);
    mail.window("Inbox", Rect{{0, 0}, {400, 300}}).add(button("Send"));
    const auto mailTakes = [&] {
      const MonotonicTime start = world.scheduler.now();
      EXPECT_THAT(ToolWorld::textOf(world.getAppState("Mail")), HasSubstr("button Send"));
      return world.scheduler.now() - start;
    };
    const Duration undisturbed = mailTakes();
    notes.on(AXCall::any()).hangs();
    const MonotonicTime before = world.scheduler.now();
    const ToolResult state = world.getAppState("Notes");
    EXPECT_LT(world.scheduler.now() - before, seconds(30)) << "a request ends after thirty seconds";
    EXPECT_FALSE(state.isError);
    EXPECT_THAT(ToolWorld::textOf(state), HasSubstr("AX tree truncated"));

    EXPECT_EQ(mailTakes(), undisturbed) << "others are not slowed";
  });
}

TEST_F(ToolServiceTest, aTreeOfTenThousandElementsIsReadWhole) {
  world.run([&] {
    auto list = window.add(group());
    for (int i = 0; i < 20; ++i) {
      auto row = list.add(group());
      for (int j = 0; j < 499; ++j) row.add(staticText("cell"));
    }
    const ToolResult state = world.getAppState("Notes");
    EXPECT_FALSE(state.isError);
    EXPECT_THAT(ToolWorld::textOf(state), AllOf(HasSubstr("button Save"), Not(HasSubstr("truncated"))));
    EXPECT_GT(world.service.session().currentTree()->allItems().size(), 20u);
  });
}

TEST_F(ToolServiceTest, theEndOfATurnForgetsTheStateAndAllSessions) {
  world.run([&] {
    std::vector<std::size_t> announced;
    world.getAppState("Notes");
    world.service.session().setActiveSessionsDidChange(
        [&](const auto& sessions) { announced.push_back(sessions.size()); });
    world.service.resetForTurnEnded();
    EXPECT_THAT(announced, ElementsAre(0u));
    EXPECT_EQ(ToolWorld::refusalOf([&] { world.click("Notes", 1); }),
              "No active app state. Call get_app_state first.");
  });
}

TEST_F(ToolServiceTest, suspendedPresentationAnnouncesWhatHappenedWhenItResumes) {
  world.run([&] {
    std::vector<std::size_t> announced;
    world.service.session().setActiveSessionsDidChange(
        [&](const auto& sessions) { announced.push_back(sessions.size()); });
    world.service.suspendPresentationForInactivity();
    world.getAppState("Notes");
    world.service.resumePresentationForActivity();
    EXPECT_THAT(announced, ElementsAre(0u, 1u));
  });
}

TEST_F(ToolServiceTest, dataThatIsNoRequestIsToldApart) {
  world.run([&] {
    EXPECT_THROW(world.router.routeToolRequest("ComputerUseIPCAppGetStateRequest", bytesOf("{\"app\": 7}")),
                 DecodingError);
    EXPECT_THROW(world.router.routeToolRequest("ComputerUseIPCAppPerformActionRequest", bytesOf("{")), DecodingError);
    EXPECT_EQ(world.router.routeToolRequest("ComputerUseIPCHealthRequest", bytesOf("{}")), std::nullopt);
    EXPECT_FALSE(world.listApps().isError) << "the next request is served";
  });
}

TEST_F(ToolServiceTest, anActionThatIsGivenUpWhileItWaitsForItsTurnIsNotDone) {
  world.run([&] {
    world.getAppState("Notes");
    TaskGroup tasks(world.scheduler);
    save.on(AXCall::perform("AXPress")).delays(milliseconds(500)).once();
    tasks.start("first", [&] { world.click("Notes", 1); });
    world.scheduler.settle();
    Task second = tasks.start("second", [&] { world.click("Notes", 1); });
    world.scheduler.settle();
    second.cancel();
    tasks.joinAll();
    EXPECT_EQ(saves, 1);
    EXPECT_FALSE(world.click("Notes", 1).isError) << "the turn was passed on";
  });
}

TEST_F(ToolServiceTest, refusedClassesAreRefusedBeforeAnyReading) {
  world.run([&] {
    auto terminal = world.desktop.application("Terminal", "com.apple.Terminal", 50);
    auto screen = terminal.window("root", Rect{{0, 0}, {400, 300}});
    EXPECT_EQ(ToolWorld::refusalOf([&] { world.getAppState("Terminal"); }),
              "IPC error: Computer Use cannot interact with terminal applications for security reasons.");
    EXPECT_EQ(screen.reads(), 0);
  });
}

TEST_F(ToolServiceTest, everyRequestOfAnActionIsLogged) {
  world.run([&] {
    world.getAppState("Notes");
    world.click("Notes", 1);
    const auto record = world.log.only("action_started");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::tools);
    EXPECT_EQ(record.fields.at("appBundleID"), "Notes");
  });
}

TEST(ToolServiceExploration, actionsRunOneAtATimeWhateverElseIsAsked) {
  for (std::uint64_t seed = 0; seed < seedCount(300); ++seed) {
    ToolWorld world(seed);
    world.run([&] {
      auto notes = world.desktop.application("Notes", "com.example.notes", 42);
      auto window = notes.window("Untitled", Rect{{0, 0}, {80, 60}});
      auto save = window.add(button("Save"));
      world.desktop.windowServer().refusePicture(*world.desktop.windowServer().copyWindowInfo(17, 0)->at(0).windowID);
      int presses = 0;
      save.onAction("AXPress", [&] { ++presses; });
      world.getAppState("Notes");
      TaskGroup tasks(world.scheduler);
      int failures = 0;
      for (int i = 0; i < 3; ++i) {
        tasks.start("click", [&] {
          world.scheduler.sleep(milliseconds(static_cast<std::int64_t>(world.scheduler.random(3))));
          if (ToolWorld::refusalOf([&] { world.click("Notes", 1); }) != "not refused") ++failures;
        });
      }
      tasks.start("state", [&] { world.getAppState("Notes"); });
      tasks.start("turn end", [&] {
        world.scheduler.sleep(milliseconds(static_cast<std::int64_t>(world.scheduler.random(400))));
        world.service.resetForTurnEnded();
      });
      tasks.joinAll();
      ASSERT_EQ(presses + failures, 3) << "seed " << seed;
    });
  }
}

}  // namespace
}  // namespace tavik
