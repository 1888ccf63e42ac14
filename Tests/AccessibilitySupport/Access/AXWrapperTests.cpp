#include "AccessibilitySupport/Access/AXWrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessDesk.h"
#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AXWrapperTests : public testing::Test {
 protected:
  AXElement button() { return desk.port.add(AccessDesk::appPID, {.attributes = {{"AXTitle", "Save"}}}); }

  void answerAlways(AXErrorCode code) {
    desk.port.intercept = [code](const auto&) { return code; };
  }

  /// The failure that `call` throws; absent when it throws none.
  template <class Call>
  static std::optional<UIElementError> errorOf(Call call) {
    try {
      call();
    } catch (const UIElementError& error) {
      return error;
    }
    return std::nullopt;
  }

  SimulatedScheduler scheduler;
  AccessDesk desk{scheduler};
  AXWrapper& access = desk.access;
};

const auto cannotComplete = UIElementError::axError(-25204);

TEST_F(AXWrapperTests, AReadGivesTheValue) {
  desk.run([&] {
    const AXElement element = button();
    EXPECT_EQ(access.copyAttributeValue(element, "AXTitle"), AXValue("Save"));
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), AXValue("Save"));
  });
}

TEST_F(AXWrapperTests, AReadThrowsThePlatformsCodeAndItsOptionalTwinGivesAbsence) {
  desk.run([&] {
    const AXElement element = button();
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(element, "AXValue"); }),
              UIElementError::axError(-25205));
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXValue"), std::nullopt);
    EXPECT_EQ(access.tryCopyAttributeValue(element, "AXValue").error(), UIElementError::axError(-25205));
  });
}

TEST_F(AXWrapperTests, ASuccessWithoutAValueIsANilValue) {
  desk.run([&] {
    const AXElement element = desk.port.add(AccessDesk::appPID, {.attributes = {{"AXValue", AXValue()}}});
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(element, "AXValue"); }), UIElementError::nilValue());
  });
}

TEST_F(AXWrapperTests, AnArrayReadOfSomethingElseIsEmptyAndASliceIsASlice) {
  desk.run([&] {
    const AXElement element = desk.port.add(
        AccessDesk::appPID,
        {.attributes = {{"AXTitle", "text"}, {"AXChildren", AXArray{AXValue(1), AXValue(2), AXValue(3)}}}});
    EXPECT_THAT(access.copyAttributeValues(element, "AXTitle", 0, 5), IsEmpty());
    EXPECT_THAT(access.copyAttributeValues(element, "AXChildren", 1, 1), ElementsAre(AXValue(2)));
    EXPECT_EQ(access.getAttributeValueCount(element, "AXChildren"), 3);
    EXPECT_EQ(access.getAttributeValueCountOptional(element, "AXRows"), std::nullopt);
    EXPECT_EQ(errorOf([&] { access.copyAttributeValues(element, "AXRows", 0, 5); }),
              UIElementError::axError(-25205));
    EXPECT_EQ(errorOf([&] { access.getAttributeValueCount(element, "AXRows"); }),
              UIElementError::axError(-25205));
  });
}

TEST_F(AXWrapperTests, SettingAnAttributeReachesTheTargetOrThrows) {
  desk.run([&] {
    const AXElement element = button();
    access.setAttributeValue(element, "AXTitle", "Open");
    EXPECT_EQ(access.copyAttributeValue(element, "AXTitle"), AXValue("Open"));
    answerAlways(AXError::illegalArgument);
    EXPECT_EQ(errorOf([&] { access.setAttributeValue(element, "AXTitle", true); }),
              UIElementError::axError(-25201));
  });
}

TEST_F(AXWrapperTests, ANullElementIsInvalidAndNobodyIsAsked) {
  desk.run([&] {
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(AXElement(), "AXRole"); }),
              UIElementError::invalidElement());
    EXPECT_EQ(errorOf([&] { access.performAction(AXElement(), "AXPress"); }),
              UIElementError::invalidElement());
    EXPECT_THAT(desk.port.calls(), IsEmpty());
  });
}

// Cooldown

TEST_F(AXWrapperTests, AReadThatCannotCompleteMakesTheNextOnesFailUnaskedForASecond) {
  desk.run([&] {
    const AXElement element = button();
    answerAlways(AXError::cannotComplete);
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(element, "AXTitle"); }), cannotComplete);
    desk.port.intercept = nullptr;

    scheduler.sleep(milliseconds(999));
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(element, "AXTitle"); }), cannotComplete);
    EXPECT_EQ(desk.port.callCount("copyAttributeValue AXTitle"), 1);

    scheduler.sleep(milliseconds(1));
    EXPECT_EQ(access.copyAttributeValue(element, "AXTitle"), AXValue("Save"));
    EXPECT_EQ(access.copyAttributeValue(element, "AXTitle"), AXValue("Save"));
  });
}

TEST_F(AXWrapperTests, ACooldownFailsEveryOperationOfTheProcessAndOfNoOther) {
  desk.run([&] {
    const AXElement element = button();
    const AXElement neighbour = button();
    const AXElement stranger = desk.port.add(AccessDesk::otherPID, {.attributes = {{"AXTitle", "Other"}}});
    desk.port.intercept = [&](const auto& call) {
      return call.element == element ? std::optional(AXError::cannotComplete) : std::nullopt;
    };
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
    const auto callsBefore = desk.port.calls();

    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(neighbour, "AXTitle"); }), cannotComplete);
    EXPECT_EQ(errorOf([&] { access.copyAttributeValues(neighbour, "AXChildren", 0, 1); }), cannotComplete);
    EXPECT_EQ(errorOf([&] { access.getAttributeValueCount(neighbour, "AXChildren"); }), cannotComplete);
    EXPECT_EQ(errorOf([&] { access.copyMultipleAttributeValues(neighbour, {"AXTitle"}); }), cannotComplete);
    EXPECT_EQ(errorOf([&] { access.performAction(neighbour, "AXPress"); }), cannotComplete);
    EXPECT_EQ(errorOf([&] { access.setAttributeValue(neighbour, "AXTitle", "x"); }), cannotComplete);
    EXPECT_EQ(desk.port.calls(), callsBefore);

    EXPECT_EQ(access.copyAttributeValue(stranger, "AXTitle"), AXValue("Other"));
  });
}

TEST_F(AXWrapperTests, ALaterFailureExtendsARunningCooldownAndNoneShortensIt) {
  desk.run([&] {
    const AXElement element = button();
    desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
      if (call.name == "AXTitle") return std::nullopt;
      scheduler.sleep(call.name == "AXSlow" ? milliseconds(800) : milliseconds(300));
      return AXError::cannotComplete;
    };
    const Task slow = scheduler.start("slow", [&] { access.copyAttributeValueOptional(element, "AXSlow"); });
    const Task quick =
        scheduler.start("quick", [&] { access.copyAttributeValueOptional(element, "AXQuick"); });
    slow.join();
    quick.join();
    scheduler.sleep(milliseconds(999));
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
    scheduler.sleep(milliseconds(1));
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), AXValue("Save"));
  });
}

TEST_F(AXWrapperTests, OnlyCannotCompleteStartsACooldown) {
  desk.run([&] {
    const AXElement element = button();
    answerAlways(AXError::attributeUnsupported);
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
    desk.port.intercept = nullptr;
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), AXValue("Save"));
  });
}

TEST_F(AXWrapperTests, ElementsOfUnknownProcessHaveNoCooldown) {
  desk.run([&] {
    const AXElement element = desk.port.addWithoutPID({.attributes = {{"AXTitle", "Lost"}}});
    answerAlways(AXError::cannotComplete);
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
    desk.port.intercept = nullptr;
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), AXValue("Lost"));
  });
}

// Actions

TEST_F(AXWrapperTests, AnActionThatCannotCompleteOrIsUnsupportedCountsAsDone) {
  desk.run([&] {
    const AXElement element = button();
    for (const AXErrorCode tolerated : {-25204, -25205}) {
      answerAlways(tolerated);
      EXPECT_EQ(errorOf([&] { access.performAction(element, "AXPress"); }), std::nullopt);
    }
    EXPECT_EQ(desk.port.callCount("performAction AXPress"), 2) << "an action starts no cooldown";
  });
}

TEST_F(AXWrapperTests, AnActionThatFailsOtherwiseThrows) {
  desk.run([&] {
    answerAlways(AXError::actionUnsupported);
    EXPECT_EQ(errorOf([&] { access.performAction(button(), "AXPress"); }), UIElementError::axError(-25206));
  });
}

// Batched reads

TEST_F(AXWrapperTests, ABatchedReadGivesOneEntryForEachNameAndAbsenceForWhatIsMissing) {
  desk.run([&] {
    const AXElement element =
        desk.port.add(AccessDesk::appPID,
                      {.attributes = {{"AXTitle", "Save"}, {"AXValue", AXValue()}, {"AXEnabled", true}}});
    EXPECT_THAT(
        access.copyMultipleAttributeValues(element, {"AXTitle", "AXValue", "AXSelected", "AXEnabled"}),
        ElementsAre(AXValue("Save"), std::nullopt, std::nullopt, AXValue(true)));
  });
}

TEST_F(AXWrapperTests, ABatchedReadThatCannotCompleteGivesAbsencesAndStartsACooldown) {
  desk.run([&] {
    const AXElement element = button();
    answerAlways(AXError::cannotComplete);
    const auto values = access.copyMultipleAttributeValues(element, AXAttributes::batchAttributes);
    EXPECT_EQ(values, AXWrapper::Values(14));
    desk.port.intercept = nullptr;
    EXPECT_EQ(errorOf([&] { access.copyAttributeValue(element, "AXTitle"); }), cannotComplete);
  });
}

TEST_F(AXWrapperTests, ABatchedReadWithAToleratedCodeGivesWhatCameWithIt) {
  desk.run([&] {
    answerAlways(AXError::attributeUnsupported);
    desk.port.arrayBesideError = {AXValue("AXButton"), AXValue(), AXErrorMark{}};
    EXPECT_THAT(access.copyMultipleAttributeValues(button(), {"AXRole", "AXTitle", "AXValue", "AXHelp"}),
                ElementsAre(AXValue("AXButton"), std::nullopt, std::nullopt, std::nullopt));
  });
}

TEST_F(AXWrapperTests, ABatchedReadThatFailsOtherwiseThrows) {
  desk.run([&] {
    answerAlways(AXError::invalidUIElement);
    EXPECT_EQ(errorOf([&] { access.copyMultipleAttributeValues(button(), {"AXRole"}); }),
              UIElementError::axError(-25202));
  });
}

// Messaging time-outs

TEST_F(AXWrapperTests, TheTimeOutIsOneSecondForTheWholeSystemAndForEachApplicationOnce) {
  desk.run([&] {
    for (int i = 0; i < 3; ++i) access.copyAttributeValueOptional(button(), "AXTitle");
    access.performAction(desk.port.add(AccessDesk::otherPID), "AXPress");
    access.configureProcessWideMessagingTimeout();
    const std::map<std::string, std::vector<float>> expected = {
        {"system", {1.0f}}, {"200", {1.0f}}, {"300", {1.0f}}};
    EXPECT_EQ(desk.port.timeouts(), expected);
  });
}

TEST_F(AXWrapperTests, AFailedTimeOutIsNotTriedAgainAndTheReadStillGoesThrough) {
  desk.port.applicationTimeoutCode = AXError::invalidUIElement;
  desk.run([&] {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(access.copyAttributeValue(button(), "AXTitle"), AXValue("Save"));
    EXPECT_EQ(desk.port.timeouts().at("200").size(), 1u);
  });
}

TEST(AXWrapperExplorationTests, EightThreadsConfigureEachTimeOutOnce) {
  exploreSeeds(200, [](SimulatedScheduler& scheduler) {
    AccessDesk desk(scheduler);
    desk.port.applicationTimeoutCode = AXError::cannotComplete;
    const AXElement element = desk.port.add(AccessDesk::appPID, {.attributes = {{"AXTitle", "Save"}}});
    desk.run([&] {
      std::vector<Task> tasks;
      for (int i = 0; i < 8; ++i) {
        tasks.push_back(scheduler.start("reader", [&] {
          EXPECT_EQ(desk.access.copyAttributeValueOptional(element, "AXTitle"), AXValue("Save"));
        }));
      }
      for (const auto& task : tasks) task.join();
    });
    EXPECT_EQ(desk.port.timeouts().at("system").size(), 1u);
    EXPECT_EQ(desk.port.timeouts().at("200").size(), 1u);
  });
}

TEST(AXWrapperExplorationTests, AHungApplicationCostsEightThreadsNoMoreThanTwoTimeOuts) {
  exploreSeeds(200, [](SimulatedScheduler& scheduler) {
    AccessDesk desk(scheduler);
    const AXElement element = desk.port.add(AccessDesk::appPID);
    desk.port.intercept = [&](const auto&) {
      scheduler.sleep(seconds(1));
      return AXError::cannotComplete;
    };
    desk.run([&] {
      const MonotonicTime start = scheduler.now();
      std::vector<Task> tasks;
      for (int i = 0; i < 8; ++i) {
        tasks.push_back(scheduler.start("reader", [&] {
          for (int read = 0; read < 50; ++read) {
            EXPECT_EQ(desk.access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
          }
        }));
      }
      for (const auto& task : tasks) task.join();
      EXPECT_LE(scheduler.now() - start, seconds(2));
    });
  });
}

// Threads

TEST_F(AXWrapperTests, ABackgroundReadOfAnOwnElementRunsOnTheMainQueue) {
  std::vector<bool> ranOnMain;
  desk.port.intercept = [&](const auto&) -> std::optional<AXErrorCode> {
    ranOnMain.push_back(desk.mainQueue.isCurrent());
    return std::nullopt;
  };
  const AXElement own = desk.port.add(AccessDesk::ownPID, {.attributes = {{"AXTitle", "Mine"}}});
  const AXElement unknown = desk.port.addWithoutPID({.attributes = {{"AXTitle", "Whose"}}});
  desk.run([&] {
    EXPECT_EQ(access.copyAttributeValue(own, "AXTitle"), AXValue("Mine"));
    EXPECT_EQ(access.copyAttributeValue(unknown, "AXTitle"), AXValue("Whose"));
    EXPECT_EQ(access.copyAttributeValue(button(), "AXTitle"), AXValue("Save"));
  });
  EXPECT_THAT(ranOnMain, ElementsAre(true, true, false));
}

TEST_F(AXWrapperTests, TheMainThreadReadsOwnAndForeignElementsInPlace) {
  const AXElement own = desk.port.add(AccessDesk::ownPID, {.attributes = {{"AXTitle", "Mine"}}});
  desk.run([&] {
    desk.mainQueue.sync([&] {
      EXPECT_EQ(access.copyAttributeValue(own, "AXTitle"), AXValue("Mine"));
      EXPECT_EQ(access.copyAttributeValue(button(), "AXTitle"), AXValue("Save"));
    });
  });
}

// The element under a point

TEST_F(AXWrapperTests, TheElementUnderAPointHasItsTimeOutConfigured) {
  desk.port.elementAtPosition = button();
  desk.run([&] {
    EXPECT_EQ(access.copyElementAtPosition(10, 20), desk.port.elementAtPosition);
    EXPECT_TRUE(desk.port.timeouts().contains("system"));
    EXPECT_TRUE(desk.port.timeouts().contains("200"));
  });
}

TEST_F(AXWrapperTests, TheElementUnderAPointIsAskedForDuringACooldownAndStartsNone) {
  const AXElement element = button();
  desk.port.elementAtPosition = element;
  desk.port.systemWidePID = AccessDesk::appPID;
  desk.run([&] {
    answerAlways(AXError::cannotComplete);
    EXPECT_EQ(errorOf([&] { access.copyElementAtPosition(1, 1); }), cannotComplete);
    desk.port.intercept = nullptr;
    EXPECT_EQ(access.copyAttributeValue(element, "AXTitle"), AXValue("Save"));

    answerAlways(AXError::cannotComplete);
    EXPECT_EQ(access.copyAttributeValueOptional(element, "AXTitle"), std::nullopt);
    desk.port.intercept = nullptr;
    EXPECT_EQ(access.copyElementAtPosition(1, 1), element);
  });
}

TEST_F(AXWrapperTests, NothingUnderAPointIsANilValue) {
  desk.run(
      [&] { EXPECT_EQ(errorOf([&] { access.copyElementAtPosition(1, 1); }), UIElementError::nilValue()); });
}

}  // namespace
}  // namespace tavik
