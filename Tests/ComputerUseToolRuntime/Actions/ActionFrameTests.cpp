#include "Actions/ActionWorld.h"
#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUseToolRuntime/Safety/AppApprovalError.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class ActionFrameTest : public ActionTest {
 protected:
  std::size_t queued() { return world.service.postActionQueues().preActionFocusedElementCount("com.example.notes"); }
};

TEST_F(ActionFrameTest, refusesTypingAfterTheFocusMovedAndLetsAClickPass) {
  world.run([&] {
    auto first = window.add(textField("Ada").title("Name").frame(120, 120, 100, 20));
    auto second = window.add(textField("Bob").title("Friend").frame(120, 160, 100, 20));
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    first.focus();
    world.look();
    second.focus();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_EQ(world.act(TypeTextParams{"x"}), ToolError::staleAppState("Notes").description());
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_THAT(world.act(clickOn(save)), Not(ActionWorld::success)) << "until the application was looked at again";
    world.look();
    EXPECT_EQ(world.act(TypeTextParams{"x"}), ActionWorld::success);
  });
}

TEST_F(ActionFrameTest, letsTypingPassWhenNothingSaysWhereTheFocusIs) {
  world.run([&] {
    auto first = window.add(textField("Ada").title("Name").frame(120, 120, 100, 20));
    first.focus();
    world.look();
    world.notes.element().on(AXCall::read("AXFocusedUIElement")).answers(AXError::noValue);
    EXPECT_EQ(world.act(TypeTextParams{"x"}), ActionWorld::success);
  });
}

TEST_F(ActionFrameTest, queuesWhatHadTheFocusBeforeASuccess) {
  world.run([&] {
    auto field = window.add(textField("Ada").frame(120, 120, 100, 20));
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    field.focus();
    world.look();
    world.act(clickOn(save));
    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(world.act(clickOn(save, 1)).substr(0, 10), "Background");
    EXPECT_EQ(queued(), 1u) << "a failure queues nothing";
    world.act(SetValueParams{world.indexOf(field), "Eve"});
    auto& queues = world.service.postActionQueues();
    EXPECT_EQ(queues.dequeuePreActionFocusedElement("com.example.notes")->axElement, field.element());
    EXPECT_EQ(queues.dequeuePreActionFocusedElement("com.example.notes")->value, "Ada");
    EXPECT_EQ(queues.dequeuePreActionFocusedElement("com.example.notes"), std::nullopt);
  });
}

TEST_F(ActionFrameTest, queuesAnAbsenceToKeepThePairsTogether) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.notes.element().on(AXCall::read("AXFocusedUIElement")).answers(AXError::noValue);
    world.act(clickOn(save));
    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(world.service.postActionQueues().dequeuePreActionFocusedElement("com.example.notes"), std::nullopt);
    EXPECT_EQ(queued(), 0u);
  });
}

TEST_F(ActionFrameTest, tellsTheRecorderOnBothWaysOut) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.act(clickOn(save));
    world.act(clickOn(save, 1));
    EXPECT_THAT(world.recording, ElementsAre("begin toolGeneratedEvent", "end toolGeneratedEvent 500",
                                             "begin toolGeneratedEvent", "end toolGeneratedEvent 1400"));
  });
}

TEST_F(ActionFrameTest, hasTheBracketClosedAfterAHundredFailures) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    for (int i = 0; i < 100; ++i) world.act(clickOn(save, 1));
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
    EXPECT_EQ(queued(), 0u);
  });
}

TEST_F(ActionFrameTest, asksForApprovalOnlyWhenToldToWithAOne) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.desktop.process().setEnvironment("TAVIK_COMPUTER_USE_REQUIRE_TARGET_APPROVAL", "1");
    EXPECT_EQ(world.act(clickOn(save)), ToolError::ipcError("Target app approval required for com.example.notes. Approve "
                                                            "this app before sending mutation tools.")
                                            .description());
    world.desktop.process().setEnvironment("TAVIK_COMPUTER_USE_REQUIRE_TARGET_APPROVAL", "true");
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_EQ(world.log.only("target_app_session_approved").fields.at("appBundleID"), "com.example.notes");
  });
}

TEST_F(ActionFrameTest, doesNothingForACallerThatHasGivenUp) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    Task action = world.scheduler.start("action", [&] {
      world.scheduler.yield();
      EXPECT_THROW(world.act(clickOn(save)), CancellationError);
    });
    action.cancel();
    action.join();
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
  });
}

TEST_F(ActionFrameTest, doesNotActWhenTheCallerGaveUpWhileTheApplicationWasStillRead) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    Task action;
    world.notes.element().on(AXCall::read("AXFocusedUIElement")).runs([&] { action.cancel(); });
    action = world.scheduler.start("action", [&] { EXPECT_THROW(world.act(clickOn(save)), CancellationError); });
    action.join();
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_THAT(world.recording, ElementsAre("begin toolGeneratedEvent", "end toolGeneratedEvent 500"));
  });
}

TEST_F(ActionFrameTest, doesNotPressWhenTheCallerGaveUpDuringTheLookUp) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    Task action;
    save.on(AXCall::read("AXRole")).runs([&] { action.cancel(); });
    action = world.scheduler.start("action", [&] { EXPECT_THROW(world.act(clickOn(save)), CancellationError); });
    action.join();
    EXPECT_THAT(world.performed(), IsEmpty());
  });
}

TEST_F(ActionFrameTest, keepsAwayFromSecurityProcesses) {
  world.run([&] {
    auto agent = world.desktop.application("Agent", "com.apple.SecurityAgent", 66);
    auto allow = agent.window("Allow", Rect{{200, 200}, {300, 200}}).add(button("Allow").frame(220, 220, 80, 20));
    world.look();
    world.desktop.journal().clear();
    const auto act = [&] { world.service.performAction("com.apple.SecurityAgent", clickOn(allow)); };
    EXPECT_THROW(act(), AppApprovalError);
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_THAT(world.recording, IsEmpty());
  });
}

TEST_F(ActionFrameTest, clicksAsOftenAsAskedUpToAHundredTimes) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 0, 100)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ::testing::SizeIs(200));
    for (const std::int64_t count : {std::int64_t{101}, std::numeric_limits<std::int64_t>::max()}) {
      EXPECT_EQ(world.act(clickOn(save, 0, count)), "click_count must be <= 100");
      EXPECT_EQ(world.act(clickAt(20, 20, 0, count)), "click_count must be <= 100");
    }
    EXPECT_THAT(world.posted(), ::testing::SizeIs(200));
  });
}

TEST_F(ActionFrameTest, listsWhatStandsNearAnIndexWhateverTheNumber) {
  world.run([&] {
    window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    const auto tree = world.service.session().currentTree();
    EXPECT_THAT(nearbyElementDescriptions(0, *tree), AllOf(StartsWith("[0] "), HasSubstr(" | [1] "), HasSubstr("[3] ")));
    EXPECT_THAT(nearbyElementDescriptions(0, *tree), Not(HasSubstr("[4] ")));
    EXPECT_EQ(nearbyElementDescriptions(std::numeric_limits<std::int64_t>::max(), *tree), "");
    EXPECT_EQ(nearbyElementDescriptions(std::numeric_limits<std::int64_t>::min(), *tree), "");
  });
}

// Applications that go away

TEST_F(ActionFrameTest, isRefusedByAnApplicationThatDiesBetweenLookUpAndClick) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    save.on(AXCall::perform()).runs([&] { world.notes.exit(); });
    EXPECT_THAT(world.act(clickOn(save)), StartsWith("Could not determine a reliable click point for the element."));
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
    EXPECT_THAT(world.act(clickOn(save)), HasSubstr("App not found"));
  });
}

TEST_F(ActionFrameTest, endsInTimeWhenTheApplicationHangsBetweenLookUpAndClick) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    save.on(AXCall::perform()).runs([&] { world.notes.on(AXCall::any()).hangs(); }).butServes();
    const auto before = world.scheduler.now();
    world.act(clickOn(save));
    EXPECT_LT(world.scheduler.now() - before, seconds(20));
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
  });
}

TEST_F(ActionFrameTest, waitsForTheUserWhoWorksInTheApplication) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.desktop.eventTaps().userDoes(InputEventType::keyDown, 42);
    EXPECT_THAT(world.act(TypeTextParams{"x"}), HasSubstr("Notes"));
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_THAT(world.posted(), IsEmpty());
    world.scheduler.sleep(seconds(6));
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
  });
}

TEST_F(ActionFrameTest, keepsTheIndexOfAnElementThatMovedAndRefusesOneThatIsNoLongerAlone) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    const auto click = clickOn(save);
    save.setFrame(Rect{{300, 400}, {100, 20}});
    EXPECT_EQ(world.act(click), ActionWorld::success);
    save.die();
    window.add(button("Save").frame(120, 240, 100, 20));
    window.add(button("Save").frame(120, 280, 100, 20));
    world.desktop.journal().clear();
    EXPECT_THAT(world.act(click), HasSubstr("Re-query the latest state with get_app_state"));
    EXPECT_THAT(world.performed(), IsEmpty());
  });
}

// The cursor

TEST_F(ActionFrameTest, goesOnAfterTheLongestGlideWhenTheCursorNeverArrives) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.cursor.arrivesAtOnce = false;
    auto before = world.scheduler.now();
    world.act(clickOn(save));
    EXPECT_LT(world.scheduler.now() - before, milliseconds(1200)) << "a cursor that was nowhere just stands there";
    before = world.scheduler.now();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_GE(world.scheduler.now() - before, milliseconds(1200));
    EXPECT_LT(world.scheduler.now() - before, milliseconds(1400));
    EXPECT_FALSE(world.cursor.hasHandler());
  });
}

TEST_F(ActionFrameTest, goesOnAtOnceWhenTheCursorIsHidden) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.cursor.arrivesAtOnce = false;
    world.act(clickOn(save));
    world.desktop.after(milliseconds(300), [&] { world.scheduler.start("turn end", [&] { world.service.resetForTurnEnded(); }); });
    const auto before = world.scheduler.now();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_LT(world.scheduler.now() - before, milliseconds(900));
    world.scheduler.sleep(milliseconds(1));
    EXPECT_THAT(world.cursor.log, ::testing::Contains("hide"));
  });
}

TEST_F(ActionFrameTest, doesNotActForACallerWhoGaveUpDuringTheGlide) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 200, 100, 20));
    world.look();
    world.act(clickOn(save));
    world.desktop.journal().clear();
    world.cursor.arrivesAtOnce = false;
    Task action = world.scheduler.start("action", [&] { EXPECT_THROW(world.act(clickOn(save)), CancellationError); });
    world.scheduler.sleep(milliseconds(500));
    action.cancel();
    action.join();
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success) << "the gate is free";
    world.scheduler.sleep(seconds(2));
    EXPECT_FALSE(world.cursor.hasHandler());
  });
}

// Everything at once

/// Shares of the seeds, so that they can be explored side by side.
class ActionExploration : public ::testing::TestWithParam<std::uint64_t> {};

constexpr std::uint64_t shares = 8;
constexpr std::uint64_t seeds = 10'000;

INSTANTIATE_TEST_SUITE_P(Share, ActionExploration, ::testing::Range<std::uint64_t>(0, shares));

TEST_P(ActionExploration, keepsOrderWhateverHappensAtOnce) {
  for (std::uint64_t seed = GetParam(); seed < seedCount(seeds); seed += shares) {
    ActionWorld world(seed);
    world.desktop.windowServer().stopAnswering();
    auto save = world.window.add(button("Save").frame(120, 200, 100, 20));
    auto field = world.window.add(textField("Ada").frame(120, 240, 100, 20));
    bool isPressing = false, overlapped = false;
    int pressesOfTheDead = 0;
    bool isDead = false;
    save.onAction("AXPress", [&] {
      overlapped |= isPressing;
      pressesOfTheDead += isDead;
      isPressing = true;
      try {
        world.scheduler.sleep(milliseconds(5));
      } catch (const CancellationError&) {
        // The application does not care who gave up.
      }
      isPressing = false;
    });
    world.run([&] {
      world.look();
      const auto click = [&] {
        ClickParams params;
        params.elementIndex = world.indexOf(save);
        return params;
      }();
      const auto fieldIndex = world.indexOf(field);
      TaskGroup tasks(world.scheduler);
      const auto anyTime = [&] {
        world.scheduler.sleep(milliseconds(static_cast<std::int64_t>(world.scheduler.random(1500))));
      };
      std::vector<Task> actions;
      for (const char* name : {"click", "another click"}) {
        actions.push_back(tasks.start(name, [&] {
          anyTime();
          // Whole requests, with the state that follows; refused ones are fine too.
          ToolWorld::refusalOf([&] { world.perform("Notes", click); });
        }));
      }
      actions.push_back(tasks.start("write", [&] {
        anyTime();
        ToolWorld::refusalOf([&] { world.perform("Notes", SetValueParams{fieldIndex, "Eve"}); });
      }));
      actions.push_back(tasks.start("type", [&] {
        anyTime();
        ToolWorld::refusalOf([&] { world.perform("Notes", TypeTextParams{"abc"}); });
      }));
      for (const char* app : {"Notes", "Mail"}) {
        tasks.start("state", [&world, &anyTime, app] {
          anyTime();
          world.getAppState(app);
        });
      }
      tasks.start("end of an element", [&] {
        anyTime();
        // Now and then: looking for the place of what is gone takes long.
        if (world.scheduler.random(8) != 0) return;
        isDead = true;
        save.die();
      });
      tasks.start("turn end", [&] {
        anyTime();
        world.service.resetForTurnEnded();
      });
      tasks.start("give up", [&] {
        anyTime();
        actions[world.scheduler.random(actions.size())].cancel();
      });
      tasks.joinAll();
      ASSERT_FALSE(overlapped) << "seed " << seed;
      ASSERT_EQ(pressesOfTheDead, 0) << "seed " << seed;
      ASSERT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0) << "seed " << seed;
      ASSERT_EQ(world.recording.size() % 2, 0u) << "seed " << seed;
      ASSERT_EQ(world.service.postActionQueues().preActionFocusedElementCount("com.example.notes"), 0u)
          << "seed " << seed << ": a snapshot was left to a later action";
      for (std::size_t i = 0; i < world.recording.size(); ++i) {
        ASSERT_EQ(world.recording[i].starts_with("begin"), i % 2 == 0) << "seed " << seed << ": brackets do not nest";
      }
    });
  }
}

}  // namespace
}  // namespace tavik
