#include "ComputerUseToolRuntime/State/FocusedElementDescription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUseToolRuntime/State/AppStateReader.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using Item = UIElementTree::Item;
using Values = UIElementTreeItemValues;

std::shared_ptr<Item> item(Values values, Item::Children children = {}) {
  auto made = std::make_shared<Item>(std::move(values));
  made->setChildItems(std::move(children));
  return made;
}

class FocusedElementDescriptionTest : public testing::Test {
 protected:
  std::shared_ptr<UIElementTree> tree(Item::Children children) {
    auto made = std::make_shared<UIElementTree>(
        item({.role = "AXWindow", .roleDescription = "standard window", .title = "Notes"}, std::move(children)), 42);
    made->assignIndices();
    return made;
  }

  std::optional<std::string> described(const UIElementTree& tree,
                                       const std::optional<FocusedElementSnapshot>& before = {},
                                       const AXElement& observed = {}) {
    std::optional<std::string> description;
    world.run([&] {
      AXWrapper access(world.desktop.platform().accessibility, world.desktop.platform().process, world.scheduler,
                       world.mainQueue);
      description = modelFocusedElementDescription(42, tree, before, observed, LiveElementReader(access));
    });
    return description;
  }

  static std::shared_ptr<Item> field(std::string title) {
    return item({.role = "AXTextField", .roleDescription = "text field", .title = std::move(title)});
  }
  static std::shared_ptr<Item> editor(std::string value) {
    return item({.role = "AXTextArea", .roleDescription = "editor", .value = std::move(value)});
  }

  SimulatedWorld world;
};

TEST_F(FocusedElementDescriptionTest, namesTheFocusedItemByIndexAndLine) {
  const auto state = tree({field("Name"), field("Street")});
  state->focusedElement = state->rootItem->childItems[1];
  EXPECT_EQ(described(*state), "2 text field Street");
}

TEST_F(FocusedElementDescriptionTest, namesTheOneEditorWhenAPageHasTheFocus) {
  const auto page = item({.role = "AXWebArea", .roleDescription = "HTML content", .title = "Code"});
  const auto state = tree({page, editor("int x;"), item({.role = "AXStaticText", .value = "Ln 3, Col 14"})});
  state->focusedElement = page;
  EXPECT_EQ(described(*state), uniqueEditorWithCaretStatusDescription(*state));
  EXPECT_THAT(*described(*state), testing::StartsWith("2 editor"));
}

TEST_F(FocusedElementDescriptionTest, believesTheEditorBeforeTheActionWhenOnlyAPageHasTheFocus) {
  const auto page = item({.role = "AXWebArea", .roleDescription = "HTML content", .title = "Code"});
  const auto state = tree({page, editor("int x;")});
  state->focusedElement = page;
  FocusedElementSnapshot before;
  before.role = "AXTextArea";
  before.roleDescription = "editor";
  before.value = "int x;";
  EXPECT_THAT(*described(*state, before), testing::StartsWith("2 editor"));
  EXPECT_THAT(*described(*state), testing::StartsWith("1 HTML content"));
}

TEST_F(FocusedElementDescriptionTest, takesWhatTheObserverSawWhenTheTreeNamesNothing) {
  auto notes = world.desktop.application("Notes", "com.example.notes", 42);
  auto name = notes.window("Notes", Rect{{0, 0}, {100, 100}}).add(textField("Ada"));
  const auto live = item({.role = "AXTextField", .roleDescription = "text field", .title = "Name",
                          .axElement = name.element()});
  EXPECT_EQ(described(*tree({live}), std::nullopt, name.element()), "1 text field Name");
}

TEST_F(FocusedElementDescriptionTest, takesTheOnlyInputOfAnOpenMenu) {
  const auto palette = item({.role = "AXMenu", .title = "Palette"},
                            {item({.role = "AXTextField", .roleDescription = "text field", .value = ">"})});
  EXPECT_THAT(described(*tree({palette})).value_or("none"), testing::HasSubstr("text field"));
}

TEST_F(FocusedElementDescriptionTest, endsWithTheRawWordsOfWhatHadTheFocus) {
  FocusedElementSnapshot before;
  before.role = "AXButton";
  before.title = "Save";
  EXPECT_EQ(described(*tree({field("Name")}), before), "AXRole=AXButton AXTitle=Save");
  EXPECT_EQ(described(*tree({field("Name")})), std::nullopt);
}

TEST_F(FocusedElementDescriptionTest, scoresLikenessByWhatIsEqualAndSaid) {
  FocusedElementSnapshot focused;
  focused.role = "AXTextArea";
  focused.roleDescription = "text area";
  focused.subrole = "AXPlain";
  focused.identifier = "body";
  focused.title = "Body";
  focused.elementDescription = "the body";
  focused.value = "Hello";
  const Values same{.role = "AXTextArea", .roleDescription = "text area", .title = "Body", .value = "Hello",
                    .elementDescription = "the body", .identifier = "body", .subrole = "AXPlain",
                    .isValueSettable = true};
  EXPECT_EQ(focusedElementMatchScore(focused, *item(same)), 4 + 2 + 2 + 4 + 3 + 3 + 2 + 1);
  EXPECT_EQ(focusedElementMatchScore(focused, *item({.role = "AXTextField"})), 3);
  EXPECT_EQ(focusedElementMatchScore(focused, *item({.role = "AXButton", .title = "Body"})), 0);
  EXPECT_EQ(focusedElementMatchScore(focused, *item({.role = "AXTextArea"})), 4) << "absent is not equal";
}

TEST_F(FocusedElementDescriptionTest, takesTheBestMatchAboveSixElseTheOnlyInputOfItsKind) {
  FocusedElementSnapshot focused;
  focused.role = "AXTextField";
  focused.title = "Street";
  EXPECT_EQ(indexedFocusedElementDescription(focused, *tree({field("Name"), field("Street")})), "2 text field Street");
  focused.title = "Gone";
  EXPECT_EQ(indexedFocusedElementDescription(focused, *tree({field("Name"), field("Street")})), std::nullopt);
  EXPECT_EQ(indexedFocusedElementDescription(focused, *tree({field("Name")})), "1 text field Name");
}

TEST_F(FocusedElementDescriptionTest, tellsEditorsByRoleAndDescription) {
  FocusedElementSnapshot focused;
  for (const char* role : {"AXTextArea", "AXTextField", "AXComboBox"}) {
    focused.role = role;
    EXPECT_TRUE(focusedSnapshotLooksLikeTextEditor(focused)) << role;
  }
  focused.role = "AXGroup";
  EXPECT_FALSE(focusedSnapshotLooksLikeTextEditor(focused));
  for (const char* description : {" Editor ", "text area", "文本输入区", "文本字段"}) {
    focused.roleDescription = description;
    EXPECT_TRUE(focusedSnapshotLooksLikeTextEditor(focused)) << description;
  }
  EXPECT_TRUE(focusedSnapshotLooksLikePlainTextInput(focused));
}

TEST_F(FocusedElementDescriptionTest, takesPagesThatCannotBeWrittenForLowSignal) {
  EXPECT_TRUE(focusedItemIsLowSignalWebContainer(*item({.role = "AXWebArea"})));
  EXPECT_TRUE(focusedItemIsLowSignalWebContainer(*item({.role = "AXGroup", .roleDescription = "HTML 内容"})));
  EXPECT_FALSE(focusedItemIsLowSignalWebContainer(*item({.role = "AXWebArea", .isValueSettable = true})));
  EXPECT_FALSE(focusedItemIsLowSignalWebContainer(*item({.role = "AXGroup"})));
}

TEST(AppStateWindowTitle, comesFromTheWindowElseFromTheFirstOneInside) {
  const auto titled = [](std::shared_ptr<Item> root, const std::string& bundleID = "com.example.notes") {
    return appStateWindowTitle(UIElementTree(std::move(root), 42), bundleID);
  };
  EXPECT_EQ(titled(item({.role = "AXWindow", .title = "Notes"})), "Notes");
  EXPECT_EQ(titled(item({.role = "AXApplication"}, {item({.role = "AXWindow", .title = "Notes"})})), "Notes");
  EXPECT_EQ(titled(item({.role = "AXApplication"}, {item({.role = "AXWindow"}), item({.role = "AXWindow", .title = "B"})})),
            std::nullopt);
  const auto desktop = [] { return item({.role = "AXApplication"}, {item({.role = "AXScrollArea", .elementDescription = "desktop"})}); };
  EXPECT_EQ(titled(desktop(), "com.apple.finder"), "Desktop");
  EXPECT_EQ(titled(desktop()), std::nullopt);
}

}  // namespace
}  // namespace tavik
