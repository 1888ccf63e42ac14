#include "ComputerUseToolRuntime/State/StateTreeQuality.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavik {
namespace {

using namespace StateTreeQuality;
using Item = UIElementTree::Item;
using Values = UIElementTreeItemValues;
using Tree = std::shared_ptr<UIElementTree>;

std::shared_ptr<Item> item(Values values, Item::Children children = {}) {
  auto made = std::make_shared<Item>(std::move(values));
  made->setChildItems(std::move(children));
  return made;
}

Tree tree(std::shared_ptr<Item> root) {
  auto made = std::make_shared<UIElementTree>(std::move(root), 42);
  made->assignIndices();
  return made;
}

Tree window(Item::Children children, std::string title = "Notes") {
  return tree(item({.role = "AXWindow", .roleDescription = "standard window", .title = std::move(title)},
                   std::move(children)));
}

std::shared_ptr<Item> button(std::string title = "Close") {
  return item({.role = "AXButton", .roleDescription = "button", .title = std::move(title), .actions = {"AXPress"}});
}
std::shared_ptr<Item> echo(std::string title = "Notes") {
  return item({.role = "AXGroup", .roleDescription = "group", .title = std::move(title), .isValueSettable = true,
               .valueType = "string"});
}
std::shared_ptr<Item> text(std::string value) {
  return item({.role = "AXStaticText", .roleDescription = "text", .value = std::move(value)});
}
Item::Children texts(int count) {
  Item::Children made;
  for (int i = 0; i < count; ++i) {
    made.push_back(item({.role = "AXImage", .roleDescription = "image", .title = "Picture " + std::to_string(i)}));
  }
  return made;
}
std::shared_ptr<Item> menuBar(bool isOpen = false) {
  return item({.role = "AXMenuBar", .roleDescription = "menu bar"},
              {item({.role = "AXMenuBarItem", .title = "File"},
                    {item({.role = "AXMenu"},
                          {item({.role = "AXMenuItem", .title = "Open", .isSelected = isOpen})})})});
}

TEST(StateTreeQuality, knowsTaskContentByRoleAndDescription) {
  EXPECT_FALSE(treeContainsTaskStateContent(*window({button()})));
  for (const char* role : {"AXRow", "AXTextField", "AXTextArea", "AXWebArea"}) {
    EXPECT_TRUE(treeContainsTaskStateContent(*window({item({.role = role})}))) << role;
  }
  for (const char* description : {"Editor", "ROW", "html content"}) {
    EXPECT_TRUE(treeContainsTaskStateContent(*window({item({.role = "AXGroup", .roleDescription = description})})));
  }
  EXPECT_FALSE(treeContainsTaskStateContent(*window({item({.role = "AXGroup", .roleDescription = "editor group"})})));
}

TEST(StateTreeQuality, recognisesWhatScreenReadersAreToldWhileAnApplicationWakes) {
  EXPECT_TRUE(shouldRetryTransientAppState(*window({text("The editor is Not Accessible At This Time.")})));
  EXPECT_TRUE(shouldRetryTransientAppState(
      *window({item({.role = "AXGroup", .elementDescription = "screen reader optimized mode"})})));
  EXPECT_FALSE(shouldRetryTransientAppState(*window({text("accessible")})));
}

TEST(StateTreeQuality, callsANamedWindowOfSixItemsSparseAndOneOfSevenNot) {
  EXPECT_TRUE(shouldRetrySparseWindowAppState(*window(texts(5))));
  EXPECT_FALSE(shouldRetrySparseWindowAppState(*window(texts(6))));
  EXPECT_FALSE(shouldRetrySparseWindowAppState(*window({item({.role = "AXWebArea"})})));
  EXPECT_FALSE(shouldRetrySparseWindowAppState(*tree(item({.role = "AXApplication", .title = "Notes"}))));
  EXPECT_FALSE(shouldRetrySparseWindowAppState(*tree(item({.role = "AXWindow"}))));
}

TEST(StateTreeQuality, callsTwelveLinesSparseUnlessTheyHoldAPage) {
  EXPECT_TRUE(shouldRetrySerializedSparseAppState(*window(texts(11))));
  EXPECT_FALSE(shouldRetrySerializedSparseAppState(*window(texts(12))));
  auto withPage = texts(8);
  withPage.push_back(item({.role = "AXWebArea", .title = "Page"}));
  EXPECT_FALSE(shouldRetrySerializedSparseAppState(*window(withPage)));
}

TEST(StateTreeQuality, takesATitleEchoWithButtonsForAShell) {
  EXPECT_TRUE(isPersistentlySparseWindowShell(*window({echo(), button(), button("Zoom")})));
  EXPECT_FALSE(isPersistentlySparseWindowShell(*window({echo(), button(), text("Hello")})));
  EXPECT_FALSE(isPersistentlySparseWindowShell(*window({button(), button("Zoom")})));
  EXPECT_FALSE(isPersistentlySparseWindowShell(*window({echo("Other"), button()})));
  EXPECT_FALSE(isPersistentlySparseWindowShell(*window({echo(""), button()}, "")));
}

TEST(StateTreeQuality, readsAChineseShellLikeAnEnglishOne) {
  const auto chineseButton = [] { return item({.role = "AXUnknown", .roleDescription = "关闭按钮"}); };
  EXPECT_TRUE(isPersistentlySparseWindowShell(*window({echo(), chineseButton()})));
  EXPECT_TRUE(treeHasOnlyWindowChrome(*window({chineseButton(), item({.role = "AXUnknown", .roleDescription = "组"})})));
}

TEST(StateTreeQuality, takesBarsButtonsAndEmptyWrappersForChrome) {
  EXPECT_TRUE(treeHasOnlyWindowChrome(*window({menuBar(), button(), echo(), item({.role = "AXGroup"})})));
  EXPECT_FALSE(treeHasOnlyWindowChrome(*window({button(), text("Hello")})));
  EXPECT_FALSE(treeHasOnlyWindowChrome(*window({item({.role = "AXGroup"}, {item({.role = "AXTextField"})})})));
  EXPECT_FALSE(treeHasOnlyWindowChrome(*window({item({.role = "AXGroup", .title = "Other"})})));
}

TEST(StateTreeQuality, retriesAWindowOfChromeWithAndWithoutAMenuBar) {
  EXPECT_TRUE(shouldRetryLowSignalWindowChromeState(*window({button()})));
  EXPECT_FALSE(shouldRetryLowSignalWindowMenuBarState(*window({button()})));
  EXPECT_TRUE(shouldRetryLowSignalWindowMenuBarState(*window({button(), menuBar()})));
  Item::Children many;
  for (int i = 0; i < 24; ++i) many.push_back(button("Button " + std::to_string(i)));
  EXPECT_FALSE(shouldRetryLowSignalWindowChromeState(*window(many)));
}

TEST(StateTreeQuality, retriesAMenuBarAloneUnlessAMenuIsOpen) {
  EXPECT_TRUE(shouldRetryMenuBarOnlyAppState(*tree(item({.role = "AXApplication"}, {menuBar()}))));
  EXPECT_FALSE(shouldRetryMenuBarOnlyAppState(*tree(item({.role = "AXApplication"}, {menuBar(true)}))));
  EXPECT_FALSE(shouldRetryMenuBarOnlyAppState(*tree(item({.role = "AXApplication"}, {menuBar(), button()}))));
  EXPECT_FALSE(shouldRetryMenuBarOnlyAppState(*tree(item({.role = "AXApplication"}, {button()}))));
  EXPECT_FALSE(shouldRetryMenuBarOnlyAppState(*tree(item({.role = "AXMenu"}, {menuBar()}))));
}

TEST(StateTreeQuality, scoresEachTermOnce) {
  const auto plain = window(texts(30));
  const int base = stateTreeQualityScore(*plain);
  EXPECT_EQ(base, 31);
  auto acting = texts(29);
  acting.push_back(button());
  EXPECT_EQ(stateTreeQualityScore(*window(acting)), 32);
  auto rows = texts(29);
  rows.push_back(item({.role = "AXRow", .roleDescription = "row", .title = "First"}));
  EXPECT_EQ(stateTreeQualityScore(*window(rows)), 2031);
  auto pages = texts(29);
  pages.push_back(item({.role = "AXWebArea", .title = "Page"}));
  EXPECT_EQ(stateTreeQualityScore(*window(pages)), 31 + 2000 + 1000);
  plain->focusedElement = plain->rootItem;
  EXPECT_EQ(stateTreeQualityScore(*plain), 31 + 120);
  EXPECT_EQ(stateTreeQualityScore(*window(texts(500))), 400);
}

TEST(StateTreeQuality, scoresAMenuBarAloneBelowZeroEvenWithAFocus) {
  const auto bar = tree(item({.role = "AXApplication"}, {menuBar()}));
  bar->focusedElement = bar->rootItem->childItems.front();
  EXPECT_LT(stateTreeQualityScore(*bar), 0);
}

/// A shell of six lines whose echo is an editor, so that content does not decide.
Tree sixLineShell() {
  auto editor = echo();
  editor->roleDescription = "editor";
  return window({editor, button("One"), button("Two"), button("Three"), button("Four")});
}

TEST(StateTreeQuality, wantsTwelveLinesInPlaceOfAShell) {
  const auto shell = sixLineShell();
  ASSERT_TRUE(isPersistentlySparseWindowShell(*shell));
  ASSERT_EQ(lineCount(*shell), 6);
  EXPECT_FALSE(isRicherAppStateTree(*window(texts(10)), *shell));
  EXPECT_TRUE(isRicherAppStateTree(*window(texts(11)), *shell));
}

TEST(StateTreeQuality, wantsSixMoreLinesOfAWindowWithAMenuBarInPlaceOfAShell) {
  auto editor = echo();
  editor->roleDescription = "editor";
  const auto shell = window({editor, button()});
  const int lines = lineCount(*shell);
  const auto withBar = [&](int more) {
    auto children = texts(lines + more - 3);
    children.push_back(menuBar());
    const auto candidate = window(children);
    EXPECT_EQ(lineCount(*candidate), lines + more);
    return isRicherAppStateTree(*candidate, *shell);
  };
  EXPECT_FALSE(withBar(5));
  EXPECT_TRUE(withBar(6));
}

TEST(StateTreeQuality, prefersContentAndMuchMoreText) {
  EXPECT_TRUE(isRicherAppStateTree(*window({item({.role = "AXTextField", .title = "Name"})}), *window({button()})));
  EXPECT_FALSE(isRicherAppStateTree(*window(texts(15)), *window(texts(20))));
  EXPECT_FALSE(isRicherAppStateTree(*window(texts(28)), *window(texts(14)))) << "29 lines against twice 15";
  EXPECT_TRUE(isRicherAppStateTree(*window(texts(29)), *window(texts(14))));
}

TEST(StateTreeQuality, signsTreesByWhatTheyShowFirst) {
  EXPECT_EQ(stateTreeSignature(*window(texts(5))), stateTreeSignature(*window(texts(5))));
  EXPECT_NE(stateTreeSignature(*window(texts(5))), stateTreeSignature(*window(texts(6))));
  auto changed = texts(5);
  changed[0]->title = "Another";
  EXPECT_NE(stateTreeSignature(*window(texts(5))), stateTreeSignature(*window(changed)));
  auto late = texts(20);
  late[18]->title = "Another";
  EXPECT_EQ(stateTreeSignature(*window(texts(20))), stateTreeSignature(*window(late)));
}

TEST(StateTreeQuality, matchesWindowsByTitleElseByFrame) {
  const auto titled = [](std::string title) { return Values{.role = "AXWindow", .title = std::move(title)}; };
  const auto matches = [](Values a, Values b) { return windowItemsLikelyMatch(*item(a), *item(b)); };
  EXPECT_TRUE(matches(titled("Notes"), titled(" Notes ")));
  EXPECT_TRUE(matches(titled("My\u00A0Notes"), titled("My Notes")));
  EXPECT_FALSE(matches(titled("Notes"), titled("Mail")));
  EXPECT_FALSE(matches(titled("Notes"), titled("")));
  const auto framed = [](double x) { return Values{.role = "AXWindow", .frame = Rect{{x, 0}, {100, 100}}}; };
  EXPECT_TRUE(matches(framed(0), framed(2)));
  EXPECT_FALSE(matches(framed(0), framed(2.1)));
  EXPECT_FALSE(matches(framed(0), Values{.role = "AXWindow"}));
}

TEST(StateTreeQuality, replacesAWindowOnlyByATreeAboutIt) {
  const auto notes = window(texts(3));
  EXPECT_TRUE(stateTreeCanReplaceCurrentWindow(*window(texts(9)), *notes));
  EXPECT_FALSE(stateTreeCanReplaceCurrentWindow(*window(texts(9), "Mail"), *notes));
  const auto application = [](std::vector<std::string> titles) {
    Item::Children windows;
    for (auto& title : titles) windows.push_back(item({.role = "AXWindow", .title = title}));
    return tree(item({.role = "AXApplication"}, windows));
  };
  EXPECT_TRUE(stateTreeCanReplaceCurrentWindow(*application({"Notes"}), *notes));
  EXPECT_FALSE(stateTreeCanReplaceCurrentWindow(*application({"Notes", "Mail"}), *notes));
  EXPECT_FALSE(stateTreeCanReplaceCurrentWindow(*application({}), *notes));
  EXPECT_TRUE(stateTreeCanReplaceCurrentWindow(*window({}, "Any"), *application({"Notes"})));
}

}  // namespace
}  // namespace tavik
