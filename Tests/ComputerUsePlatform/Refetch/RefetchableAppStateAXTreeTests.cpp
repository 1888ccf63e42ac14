#include "ComputerUsePlatform/Refetch/RefetchableAppStateAXTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::IsSupersetOf;
using testing::Pair;
using Kind = RefetchableAppStateAXTree::Error::Kind;
using namespace simulated;

constexpr std::int32_t pid = 42;

/// An application's window with the tree that the model saw of it.
class RefetchWorld {
 public:
  explicit RefetchWorld(std::optional<std::uint64_t> seed = std::nullopt) : world(seed) {}

  std::shared_ptr<UIElementTree> build() {
    ++builds;
    return UIElementTree::build(access, world.scheduler, pid, window.element(), 50, seconds(5));
  }

  void look() {
    auto first = build();
    transformations.transform(*first);
    builds = 0;
    tree = std::make_shared<RefetchableAppStateAXTree>(access, transformations, first, pid, [this] {
      if (onBuild) onBuild();
      return build();
    });
  }

  int indexOf(const SimulatedElement& element) const {
    const auto item = tree->tree()->findItem(element.element());
    return item && item->elementIndex ? *item->elementIndex : -1;
  }

  std::optional<Kind> failure(std::int64_t index) {
    try {
      tree->element(index);
    } catch (const RefetchableAppStateAXTree::Error& error) {
      return error.kind();
    }
    return std::nullopt;
  }

  void run(const std::function<void()>& body) {
    world.run([&] {
      body();
      tree.reset();
    });
  }

  SimulatedWorld world;
  LogCapture log;
  AXWrapper access{world.desktop.platform().accessibility, world.desktop.platform().process, world.scheduler,
                   world.mainQueue};
  UIElementTreeTransformationRunner transformations{world.desktop.platform().workspace};
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
  int builds = 0;
  std::function<void()> onBuild;
  std::shared_ptr<RefetchableAppStateAXTree> tree;
};

class RefetchableAppStateAXTreeTest : public testing::Test, public RefetchWorld {};

TEST_F(RefetchableAppStateAXTreeTest, refusesAnIndexThatTheTreeNeverHadWithoutReadingAnew) {
  window.add(button("Save"));
  run([&] {
    look();
    EXPECT_EQ(failure(999), Kind::elementNotFound);
    EXPECT_EQ(failure(-1), Kind::elementNotFound);
    EXPECT_EQ(builds, 0);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, givesAnUnchangedElementWithoutReadingAnew) {
  const auto save = window.add(button("Save"));
  run([&] {
    look();
    const int index = indexOf(save);
    const auto found = tree->element(index);
    EXPECT_EQ(found->item->axElement, save.element());
    EXPECT_FALSE(found->isInvalidated);
    EXPECT_EQ(builds, 0);
    const auto started = log.only("invalidation_check_started");
    EXPECT_EQ(started.level, LogLevel::debug);
    EXPECT_EQ(started.category, LogCategory::accessibility);
    EXPECT_EQ(started.fields,
              (std::map<std::string, std::string>{{"targetPid", "42"},
                                                  {"elementIndex", std::to_string(index)},
                                                  {"role", "AXButton"},
                                                  {"hasIdentifier", "false"}}));
    EXPECT_EQ(log.only("invalidation_check_finished").level, LogLevel::debug);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, takesAMovedElementForTheSame) {
  const auto save = window.add(button("Save").frame(10, 10, 80, 20));
  run([&] {
    look();
    save.setFrame(Rect{{300, 300}, {80, 20}});
    EXPECT_EQ(failure(indexOf(save)), std::nullopt);
    EXPECT_EQ(builds, 0);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, ignoresAClockThatRunsBesideTheElement) {
  const auto save = window.add(button("Save"));
  const auto clock = window.add(staticText("12:00"));
  run([&] {
    look();
    clock.set("AXValue", "12:01");
    window.notify("AXLayoutChanged");
    world.scheduler.sleep(milliseconds(1));
    EXPECT_EQ(log.count("tree_invalidated"), 1u);
    EXPECT_EQ(failure(indexOf(save)), std::nullopt);
    EXPECT_EQ(builds, 0);
    const auto ignored = log.only("monitor_invalidation_ignored");
    EXPECT_EQ(ignored.level, LogLevel::debug);
    EXPECT_EQ(ignored.fields.at("reason"), "element_still_valid");
  });
}

TEST_F(RefetchableAppStateAXTreeTest, looksInVainForATextFieldWhoseValueChanged) {
  const auto name = window.add(textField("Ada"));
  run([&] {
    look();
    const int index = indexOf(name);
    name.set("AXValue", "Grace");
    EXPECT_EQ(failure(index), Kind::elementNoLongerValidAfterRefetch);
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(log.only("element_drift_detected").level, LogLevel::info);
    EXPECT_EQ(log.only("refetch_started").fields.at("reason"), "element_invalidated");
    const auto failed = log.only("refetch_failed");
    EXPECT_EQ(failed.level, LogLevel::warning);
    EXPECT_EQ(failed.fields, (std::map<std::string, std::string>{{"reason", "element_not_found"}, {"candidates", "0"}}));
  });
}

TEST_F(RefetchableAppStateAXTreeTest, findsTheElementThatTookADestroyedOnesPlace) {
  auto save = window.add(button("Save"));
  window.add(button("Open"));
  run([&] {
    look();
    const int index = indexOf(save);
    save.remove();
    const auto reborn = window.add(button("Save"));
    const auto found = tree->element(index);
    EXPECT_EQ(found->item->axElement, reborn.element());
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(log.count("element_drift_detected"), 0u);
    const auto finished = log.only("refetch_finished");
    EXPECT_EQ(finished.level, LogLevel::info);
    EXPECT_THAT(finished.fields, IsSupersetOf({Pair("outcome", "success"), Pair("candidates", "1"),
                                               Pair("targetPid", "42"), Pair("role", "AXButton")}));
    EXPECT_TRUE(tree->tree()->findItem(reborn.element()));
  });
}

TEST_F(RefetchableAppStateAXTreeTest, refusesTwinsEvenIfOnlyOneSurvives) {
  const auto first = window.add(button("OK"));
  const auto second = window.add(button("OK"));
  run([&] {
    look();
    const int index = indexOf(first);
    first.remove();
    EXPECT_EQ(failure(index), Kind::elementAmbiguousBeforeRefetch);
    EXPECT_EQ(builds, 0);
    EXPECT_EQ(log.only("refetch_failed").fields.at("reason"), "ambiguous_before_refetch");
    EXPECT_EQ(failure(indexOf(second)), std::nullopt);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, refusesAnElementThatCameBackTwice) {
  const auto ok = window.add(button("OK"));
  run([&] {
    look();
    const int index = indexOf(ok);
    ok.remove();
    window.add(button("OK"));
    window.add(button("OK"));
    EXPECT_EQ(failure(index), Kind::elementAmbiguousAfterRefetch);
    const auto failed = log.only("refetch_failed");
    EXPECT_EQ(failed.fields,
              (std::map<std::string, std::string>{{"reason", "ambiguous_after_refetch"}, {"candidates", "2"}}));
  });
}

TEST_F(RefetchableAppStateAXTreeTest, comparesTextExactly) {
  const auto save = window.add(button("Save"));
  run([&] {
    look();
    const int index = indexOf(save);
    save.set("AXTitle", "save");
    EXPECT_EQ(failure(index), Kind::elementNoLongerValidAfterRefetch);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, judgesAMergedTextByTheMonitorAlone) {
  window.add(group("Greeting").add(staticText("Hello")).add(staticText("World")));
  run([&] {
    look();
    int merged = -1;
    for (const auto& item : tree->tree()->allItems()) {
      if (!item->axElement && item->elementIndex) merged = *item->elementIndex;
    }
    ASSERT_GE(merged, 0);
    EXPECT_EQ(failure(merged), std::nullopt);
    window.notify("AXLayoutChanged");
    world.scheduler.sleep(milliseconds(1));
    EXPECT_EQ(failure(merged), std::nullopt);
    EXPECT_EQ(builds, 1);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, keepsAnElementThatCannotBeReadNow) {
  const auto save = window.add(button("Save"));
  run([&] {
    look();
    save.on(AXCall::of(AXOperation::copyMultipleAttributeValues)).answers(AXError::failure);
    EXPECT_EQ(failure(indexOf(save)), std::nullopt);
    EXPECT_EQ(builds, 0);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, takesAnApplicationThatDoesNotAnswerInTimeForChanged) {
  const auto save = window.add(button("Save"));
  run([&] {
    look();
    const int index = indexOf(save);
    save.on(AXCall::of(AXOperation::copyMultipleAttributeValues)).answers(AXError::cannotComplete).once();
    failure(index);
    EXPECT_EQ(log.count("element_drift_detected"), 1u);
    EXPECT_EQ(builds, 1);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, keepsTheOldTreeWhenReadingAnewFails) {
  const auto save = window.add(button("Save"));
  run([&] {
    look();
    const int index = indexOf(save);
    const auto before = tree->tree();
    save.remove();
    onBuild = [] { throw std::runtime_error("no tree"); };
    EXPECT_THROW(tree->element(index), std::runtime_error);
    EXPECT_EQ(tree->tree(), before);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, knowsTheFocusedElseTheSelectedElement) {
  const auto name = window.add(textField("Ada"));
  const auto row = window.add(element("AXCell", "first").selectable(true));
  notes.on(AXCall::read("AXFocusedUIElement")).answers(AXError::noValue).once();
  window.drop("AXFocused");
  run([&] {
    look();
    EXPECT_EQ(tree->systemSelection()->item->axElement, row.element());
    name.focus();
    look();
    EXPECT_EQ(tree->systemSelection()->item->axElement, name.element());
  });
}

TEST_F(RefetchableAppStateAXTreeTest, worksWithoutNotificationsFromTheApplication) {
  const auto save = window.add(button("Save"));
  notes.on(AXCall::of(AXOperation::createObserver)).answers(AXError::cannotComplete);
  run([&] {
    look();
    EXPECT_EQ(failure(indexOf(save)), std::nullopt);
    EXPECT_THROW(tree->updateTree(build()), UIElementError);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, installsATreeThatWasReadElsewhere) {
  window.add(button("Save"));
  run([&] {
    look();
    const auto open = window.add(button("Open"));
    auto newTree = build();
    transformations.transform(*newTree);
    tree->updateTree(newTree);
    EXPECT_EQ(tree->tree(), newTree);
    EXPECT_EQ(failure(indexOf(open)), std::nullopt);
  });
}

TEST_F(RefetchableAppStateAXTreeTest, saysWhatIsWrongInItsOwnWords) {
  const auto words = [](Kind kind) { return std::string(RefetchableAppStateAXTree::Error(kind).description()); };
  EXPECT_EQ(words(Kind::elementNotFound),
            "The element ID is no longer valid. Try to get the on-screen content again and see if that resolves the "
            "issue.");
  EXPECT_EQ(words(Kind::elementInvalidated), "Element was invalidated and could not be found after refetching");
  EXPECT_EQ(words(Kind::elementNoLongerValidAfterRefetch),
            "Element was invalidated and could not be found after refetching");
  EXPECT_EQ(words(Kind::elementAmbiguousBeforeRefetch),
            "Multiple existing equivalent elements; cannot guarantee uniqueness");
  EXPECT_EQ(words(Kind::elementAmbiguousAfterRefetch), "Multiple new equivalent elements; cannot guarantee uniqueness");
  EXPECT_EQ(words(Kind::missingInvalidationMonitor),
            "The app-state tree is unexpectedly missing an invalidation monitor. This state shouldn't happen, likely "
            "programmer error.");
}

TEST(RefetchableAppStateAXTree, givesLiveElementsToAllWhoAskAtOnceUnderAnyInterleaving) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    RefetchWorld desk(seed);
    auto save = desk.window.add(button("Save"));
    const auto open = desk.window.add(button("Open"));
    desk.run([&] {
      desk.look();
      const int saveIndex = desk.indexOf(save);
      const int openIndex = desk.indexOf(open);
      save.remove();
      const auto reborn = desk.window.add(button("Save"));
      std::vector<Task> askers;
      for (const int index : {saveIndex, openIndex, saveIndex}) {
        askers.push_back(desk.world.scheduler.start("asker", [&, index] {
          // The tree that another asker installed meanwhile may number differently.
          const auto kind = desk.failure(index);
          EXPECT_TRUE(!kind || kind == Kind::elementNotFound);
        }));
      }
      for (auto& asker : askers) asker.join();
      EXPECT_TRUE(desk.tree->tree()->findItem(reborn.element()));
    });
    EXPECT_EQ(desk.log.count("observer_started"), desk.log.count("observer_stopped"));
  }
}

// The monitor

class InvalidationMonitorTest : public testing::Test, public RefetchWorld {};

TEST_F(InvalidationMonitorTest, listensAtTheRootAndItsChildrenForFifteenNotificationsEach) {
  const auto group = window.add(simulated::group());
  const auto save = group.add(button("Save"));
  run([&] {
    const auto raw = build();
    const auto counted = [](const SimulatedElement& element) {
      return element.on(AXCall::of(AXOperation::addNotification)).runs([] {});
    };
    const Fault onWindow = counted(window);
    const Fault onGroup = counted(group);
    const Fault onSave = counted(save);
    auto monitor = UIElementTreeInvalidationMonitor::create(access.port());
    monitor->startMonitoring(*raw);
    EXPECT_EQ(onWindow.metCalls(), 15);
    EXPECT_EQ(onGroup.metCalls(), 15);
    EXPECT_EQ(onSave.metCalls(), 0);
    EXPECT_EQ(monitor->monitoredElements().size(), 1 + raw->rootItem->childItems.size());
    monitor->stopMonitoring();
    EXPECT_TRUE(monitor->monitoredElements().empty());
  });
}

TEST_F(InvalidationMonitorTest, isToldOnceAndSaysBy) {
  window.add(button("Save"));
  run([&] {
    const auto raw = build();
    int told = 0;
    auto monitor = UIElementTreeInvalidationMonitor::create(access.port(), [&] { ++told; });
    monitor->startMonitoring(*raw);
    EXPECT_FALSE(monitor->isInvalidated());
    window.notify("AXMenuOpened");
    window.notify("AXMoved");
    window.notify("AXFocusedUIElementChanged");
    world.scheduler.sleep(milliseconds(1));
    EXPECT_TRUE(monitor->isInvalidated());
    EXPECT_EQ(told, 1);
    const auto record = log.only("tree_invalidated");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.fields, (std::map<std::string, std::string>{{"notification", "AXMenuOpened"}}));
    monitor->startMonitoring(*raw);
    EXPECT_FALSE(monitor->isInvalidated());
  });
}

TEST_F(InvalidationMonitorTest, triesTheOtherNotificationsWhenOneIsRefused) {
  window.on(AXCall::of(AXOperation::addNotification, "AXCreated")).answers(AXError::notificationUnsupported);
  run([&] {
    const auto raw = build();
    const Fault last = window.on(AXCall::of(AXOperation::addNotification, "AXMenuClosed")).runs([] {});
    auto monitor = UIElementTreeInvalidationMonitor::create(access.port());
    monitor->startMonitoring(*raw);
    EXPECT_EQ(last.metCalls(), 1);
    const auto record = log.only("notification_registration_failed");
    EXPECT_EQ(record.level, LogLevel::debug);
    EXPECT_EQ(record.fields.at("notification"), "AXCreated");
    EXPECT_EQ(record.fields.at("elementScope"), "root");
    EXPECT_TRUE(record.fields.contains("error"));
  });
}

TEST_F(InvalidationMonitorTest, skipsARootThatStandsForNoElement) {
  window.add(button("Save"));
  run([&] {
    const auto raw = build();
    const auto joined = raw->appStateTreeByAppendingRootSiblings({});
    auto monitor = UIElementTreeInvalidationMonitor::create(access.port());
    monitor->startMonitoring(*joined);
    EXPECT_EQ(monitor->monitoredElements(), std::vector<AXElement>{window.element()});
  });
}

}  // namespace
}  // namespace tavik
