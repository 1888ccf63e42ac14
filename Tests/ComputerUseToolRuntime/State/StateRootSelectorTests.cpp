#include "ComputerUseToolRuntime/State/StateRootSelector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUseToolRuntime/State/StateTreeQuality.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::int32_t pid = 42;

class StateRootSelectorTest : public testing::Test {
 protected:
  void run(const std::function<void(StateRootSelector&)>& body) {
    world.run([&] {
      AXWrapper access(world.desktop.platform().accessibility, world.desktop.platform().process, world.scheduler,
                       world.mainQueue);
      UIElementTreeTransformationRunner transformations(world.desktop.platform().workspace);
      const auto build = [&](const AXElement& root) {
        auto tree = UIElementTree::build(access, world.scheduler, pid, root, 50, seconds(5));
        transformations.transform(*tree);
        return tree;
      };
      treeOf = build;
      StateRootSelector roots(access, transformations, world.scheduler, trace);
      body(roots);
    });
  }

  std::string normalized(StateRootSelector& roots) {
    return roots.normalizedStateTree(pid, treeOf(window.element()))->serializeForAppState();
  }

  SimulatedWorld world;
  LogCapture log;
  std::optional<std::string> trace;
  std::function<std::shared_ptr<UIElementTree>(const AXElement&)> treeOf;
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});

  void fill(int rows = 20) {
    auto list = window.add(table());
    for (int i = 0; i < rows; ++i) list.add(row({"Entry " + std::to_string(i)}));
  }
};

TEST_F(StateRootSelectorTest, keepsAnOpenMenuAsRootEvenBesideARichWindow) {
  fill();
  auto bar = notes.menuBar({menu("File", {menuItem("Open"), menuItem("Quit")})});
  run([&](StateRootSelector& roots) {
    bar.child(0).press();
    const std::string text = normalized(roots);
    EXPECT_THAT(text, HasSubstr("Quit"));
    EXPECT_THAT(text, Not(HasSubstr("Entry 1")));
  });
}

TEST_F(StateRootSelectorTest, addsTheMenuBarBehindTheWindowSoThatIndicesStay) {
  fill();
  notes.menuBar({menu("File", {menuItem("Open")}), menu("", {menuItem("Hidden")})});
  run([&](StateRootSelector& roots) {
    const std::string alone = treeOf(window.element())->serializeForAppState();
    const std::string together = normalized(roots);
    EXPECT_THAT(together, HasSubstr("File"));
    EXPECT_THAT(together, Not(HasSubstr("Open")));
    EXPECT_THAT(together, HasSubstr("0 standard window Untitled"));
    EXPECT_GT(together.size(), alone.size());
  });
}

TEST_F(StateRootSelectorTest, leavesATreeAloneThatHasAMenuBarOrIsAMenu) {
  fill();
  const auto inside = window.add(element("AXMenuBar")).add(element("AXMenuBarItem", "File"));
  notes.menuBar({menu("Edit", {menuItem("Copy")})});
  run([&](StateRootSelector& roots) {
    const auto tree = treeOf(window.element());
    EXPECT_EQ(roots.stateTreeWithMenuBarContextIfAvailable(pid, tree), tree);
    EXPECT_TRUE(inside.isAlive());
  });
}

TEST_F(StateRootSelectorTest, doesNotLookForOtherRootsWhenTheWindowIsReady) {
  fill();
  trace = "1";
  run([&](StateRootSelector& roots) { normalized(roots); });
  EXPECT_EQ(log.count("state_root_decision"), 0u);
}

TEST_F(StateRootSelectorTest, tellsItsDecisionsOnlyWhenAskedToInOneWay) {
  notes.menuBar({menu("File", {menuItem("Open")})});
  fill();
  for (const char* setting : {"0", "true", "yes", " 1"}) {
    trace = setting;
    run([&](StateRootSelector& roots) { normalized(roots); });
    EXPECT_EQ(log.count("state_root_decision"), 0u) << setting;
  }
  trace = "1";
  run([&](StateRootSelector& roots) { normalized(roots); });
  EXPECT_THAT(log.only("state_root_decision").fields.at("reason"),
              StartsWith("appended menu bar context currentLines="));
}

TEST_F(StateRootSelectorTest, findsTheWindowsAndPagesAroundTheFocusNearestFirst) {
  auto page = window.add(webArea("Page"));
  auto field = page.add(textField("Ada"));
  run([&](StateRootSelector& roots) {
    EXPECT_EQ(roots.focusedElementStateRoots(field.element()),
              (std::vector<AXElement>{page.element(), window.element()}));
    EXPECT_EQ(roots.focusedElementStateRoots(window.element()), std::vector<AXElement>{window.element()});
  });
}

TEST_F(StateRootSelectorTest, givesATreeWithoutTextMinimalIndices) {
  run([&](StateRootSelector& roots) {
    const auto tree = std::make_shared<UIElementTree>(
        std::make_shared<UIElementTree::Item>(UIElementTreeItemValues{.role = "AXApplication"}), pid);
    auto child = std::make_shared<UIElementTree::Item>(UIElementTreeItemValues{.role = "AXGroup"});
    tree->rootItem->setChildItems({child});
    const auto state = roots.recoverEmptySerializedAppState(pid, tree);
    EXPECT_EQ(state.recovery, "minimal_indices");
    EXPECT_FALSE(state.text.empty());
    const auto finished = log.only("empty_tree_recovery_finished");
    EXPECT_EQ(finished.fields.at("recovery"), "minimal_indices");
    EXPECT_EQ(finished.fields.at("outcome"), "recovered_partial");
  });
  const auto started = log.only("empty_tree_recovery_started");
  EXPECT_EQ(started.level, LogLevel::warning);
  EXPECT_EQ(started.fields, (std::map<std::string, std::string>{
                                {"targetPid", "42"}, {"initialNodeCount", "2"}, {"initialRootRole", "AXApplication"}}));
}

TEST_F(StateRootSelectorTest, recoversByTheApplicationWhenItIsAboutTheSameWindow) {
  window.add(button("Save"));
  run([&](StateRootSelector& roots) {
    const auto empty = std::make_shared<UIElementTree>(
        std::make_shared<UIElementTree::Item>(UIElementTreeItemValues{.role = "AXWindow", .title = "Untitled"}), pid);
    const auto state = roots.recoverEmptySerializedAppState(pid, empty);
    EXPECT_EQ(state.recovery, "application_root");
    EXPECT_THAT(state.text, HasSubstr("Save"));
    EXPECT_EQ(log.only("empty_tree_recovery_finished").fields.at("recovery"), "application_root");
  });
}

TEST_F(StateRootSelectorTest, rejectsAnApplicationThatIsAboutAnotherWindow) {
  window.add(button("Save"));
  run([&](StateRootSelector& roots) {
    const auto other = std::make_shared<UIElementTree>(
        std::make_shared<UIElementTree::Item>(UIElementTreeItemValues{.role = "AXWindow", .title = "Other"}), pid);
    roots.recoverEmptySerializedAppState(pid, other);
    const auto rejected = log.only("empty_tree_application_root_rejected");
    EXPECT_EQ(rejected.fields.at("reason"), "window_mismatch");
    EXPECT_EQ(rejected.fields.at("windowConsistent"), "false");
    EXPECT_TRUE(rejected.fields.contains("candidateNodeCount"));
    EXPECT_TRUE(rejected.fields.contains("candidateOutputLineCount"));
  });
}

TEST_F(StateRootSelectorTest, saysThatThereWasNothingAtAll) {
  run([&](StateRootSelector& roots) {
    notes.on(AXCall::of(AXOperation::copyMultipleAttributeValues)).answers(AXError::failure);
    const auto nothing = std::make_shared<UIElementTree>(std::make_shared<UIElementTree::Item>(), pid);
    const auto state = roots.recoverEmptySerializedAppState(pid, nothing);
    EXPECT_EQ(state.recovery, "none");
    EXPECT_EQ(state.text, "");
    EXPECT_EQ(log.only("empty_tree_application_root_failed").fields.at("reason"), "application_unreadable");
    const auto finished = log.only("empty_tree_recovery_finished");
    EXPECT_EQ(finished.fields.at("outcome"), "failed");
    EXPECT_EQ(finished.fields.at("reason"), "no_ax_nodes");
  });
}

}  // namespace
}  // namespace tavik
