#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTreeSelection.h"
#include "LiveTree.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(UIElementTreeFocusTests, TheApplicationsFocusedElementWins) {
  const auto named = button("Save");
  const auto made =
      tree(item({.role = "AXWindow", .title = "W"}, {named, item({.title = "x", .isFocused = true})}));
  made->assignIndices();
  made->focusedElement = named;
  EXPECT_EQ(made->focusedElementDescription(), "1 button Save");
}

TEST(UIElementTreeFocusTests, TheOnlyItemThatSaysItIsFocusedServesElse) {
  const auto made = tree(item({.role = "AXWindow"}, {button("a"), item({.title = "x", .isFocused = true})}));
  EXPECT_EQ(made->focusedElementDescription(), "element x");
  made->assignIndices();
  EXPECT_EQ(made->focusedElementDescription(), "1 element x");
}

TEST(UIElementTreeFocusTests, NoneOrManyFocusedItemsAreNotFound) {
  const auto made = tree(item({.role = "AXWindow"}, {button("a")}));
  EXPECT_EQ(made->focusedElementDescription(), "focusedElementDescriptionNotFound");
  made->rootItem->isFocused = true;
  made->rootItem->childItems[0]->isFocused = true;
  EXPECT_EQ(made->focusedElementFromFocusedAttribute(), nullptr);
  EXPECT_EQ(made->focusedElementDescription(), "focusedElementDescriptionNotFound");
}

TEST(UIElementTreeFocusTests, FallbackMatchesItemsThatSayTheSameAndSayAnything) {
  const UIElementTreeItemValues values = {.role = "AXButton", .roleDescription = "button", .title = "Save"};
  const auto matches = [&](const UIElementTreeItemValues& a, const UIElementTreeItemValues& b) {
    return UIElementTree::focusedElementFallbackMatches(*item(a), *item(b));
  };
  EXPECT_TRUE(matches(values, values));
  auto other = values;
  other.value = "";
  EXPECT_FALSE(matches(values, other));
  other = values;
  other.help = "not looked at";
  EXPECT_TRUE(matches(values, other));
  other.role = "AXLink";
  EXPECT_FALSE(matches(values, other));
  EXPECT_TRUE(matches({.value = "v"}, {.value = "v"}));
  EXPECT_TRUE(matches({.identifier = "_i"}, {.identifier = "_i"}));
  EXPECT_FALSE(matches({.role = "AXButton"}, {.role = "AXButton"}));
  EXPECT_FALSE(matches({.title = ""}, {.title = ""}));
}

TEST(UIElementTreeSelectedTextTests, TheElementsOwnAnswerWins) {
  EXPECT_EQ(selectedText("own", "value", TextRange{0, 2}), "own");
  EXPECT_EQ(selectedText("", "value", TextRange{0, 2}), "va");
  EXPECT_EQ(selectedText(std::nullopt, "value", TextRange{3, 2}), "ue");
}

TEST(UIElementTreeSelectedTextTests, ARangeCountsUTF16Units) {
  EXPECT_EQ(selectedText({}, "a😀b", TextRange{1, 2}), "😀");
  EXPECT_EQ(selectedText({}, "a😀b", TextRange{3, 1}), "b");
  EXPECT_EQ(selectedText({}, "a😀b", TextRange{1, 1}), std::nullopt);
  EXPECT_EQ(selectedText({}, "a😀b", TextRange{2, 2}), std::nullopt);
}

TEST(UIElementTreeSelectedTextTests, ARangeThatDoesNotFitGivesNothing) {
  constexpr long huge = std::numeric_limits<long>::max();
  for (const TextRange range : {TextRange{0, 0}, {-1, 2}, {0, -1}, {4, 2}, {6, 1}, {1, huge}, {huge, huge}}) {
    EXPECT_EQ(selectedText({}, "value", range), std::nullopt) << range.location << ", " << range.length;
  }
  EXPECT_EQ(selectedText({}, std::nullopt, TextRange{0, 1}), std::nullopt);
  EXPECT_EQ(selectedText({}, "value", std::nullopt), std::nullopt);
}

TEST(UIElementTreeNavigationTests, TabsAreKnownByRoleByDescriptionAndByTheirLine) {
  EXPECT_TRUE(isNavigationTab("AXTab", {}, "x"));
  EXPECT_TRUE(isNavigationTab("AXRadioButton", " Tab\n", "x"));
  EXPECT_TRUE(isNavigationTab({}, "标签", "x"));
  EXPECT_TRUE(isNavigationTab({}, {}, " TAB Home"));
  EXPECT_TRUE(isNavigationTab({}, {}, "标签页 Home"));
  EXPECT_FALSE(isNavigationTab("AXTabGroup", "tab group", "group tab "));
  EXPECT_FALSE(isNavigationTab({}, {}, "tab "));
  EXPECT_FALSE(isNavigationTab({}, {}, "table Home"));
}

TEST(UIElementTreeNavigationTests, AFirstLineThatIsATabIsChrome) {
  EXPECT_TRUE(selectedDescriptionIsNavigationChrome("12 标签 Home"));
  EXPECT_TRUE(selectedDescriptionIsNavigationChrome("\t12 Tab Home"));
  EXPECT_TRUE(selectedDescriptionIsNavigationChrome("3 tab"));
  EXPECT_FALSE(selectedDescriptionIsNavigationChrome("12 table Home"));
  EXPECT_FALSE(selectedDescriptionIsNavigationChrome("tab Home"));
  EXPECT_FALSE(selectedDescriptionIsNavigationChrome("12 cell tab"));
}

class UIElementTreeSelectionTests : public testing::Test {
 protected:
  std::vector<std::string> selectedTitles(const std::shared_ptr<Item>& root) {
    std::vector<std::string> titles;
    desk_.run([&] {
      for (const auto& item : tree(root)->selectedElementItems()) titles.push_back(item->title.value_or("-"));
    });
    return titles;
  }

  std::optional<std::string> description(const std::shared_ptr<Item>& root) {
    std::optional<std::string> text;
    const auto made = tree(root);
    made->assignIndices();
    desk_.run([&] { text = made->selectedElementsDescription(); });
    return text;
  }

  std::shared_ptr<Item> selected(UIElementTreeItemValues values,
                                 std::initializer_list<std::shared_ptr<Item>> children = {}) {
    return live_.item(std::move(values), {.attributes = {{"AXSelected", true}}}, children);
  }

  SimulatedScheduler scheduler_;
  AccessDesk desk_{scheduler_};
  LiveTree live_{desk_};
};

TEST_F(UIElementTreeSelectionTests, AsksTheElementsAndNotTheSnapshot) {
  const auto stale =
      live_.item({.title = "stale", .isSelected = true}, {.attributes = {{"AXSelected", false}}});
  const auto plain = item({.title = "plain", .isSelected = true});
  EXPECT_THAT(selectedTitles(item({}, {stale, selected({.title = "fresh"}), plain})), ElementsAre("fresh"));
}

TEST_F(UIElementTreeSelectionTests, AddsWhatContainersNameAsSelectedOnceEach) {
  const auto a = selected({.title = "a"});
  const auto b = live_.item({.title = "b"});
  const auto c = live_.item({.title = "c"});
  const auto d = live_.item({.title = "d"});
  const auto outside = live_.item({.title = "outside"});
  const auto list =
      live_.item({.role = "AXTable"},
                 {.attributes = {{"AXSelectedChildren", AXArray{d->axElement, a->axElement}},
                                 {"AXSelectedRows", AXArray{c->axElement, outside->axElement, "text"}},
                                 {"AXSelectedCells", AXArray{b->axElement, d->axElement}}}},
                 {a, b, c, d});
  EXPECT_THAT(selectedTitles(list), ElementsAre("d", "a", "c", "b"));
}

TEST_F(UIElementTreeSelectionTests, DropsWhatIsInAListColumn) {
  const auto column = selected({.role = "AXColumn", .title = "column", .identifier = "ListColumn"},
                               {item({}, {selected({.title = "inside"})})});
  EXPECT_THAT(selectedTitles(item({}, {column, selected({.title = "kept"})})), ElementsAre("kept"));
}

TEST_F(UIElementTreeSelectionTests, DropsACellThatSaysWhatItsSelectedRowSays) {
  const auto cell = selected({.role = "AXCell", .title = "Report"});
  const auto row = selected({.role = "AXRow", .roleDescription = "row"}, {cell});
  const auto otherCell = selected({.role = "AXCell", .title = "Lunch"});
  const auto silent = selected({.role = "AXCell"});
  EXPECT_THAT(selectedTitles(item({}, {row, otherCell, silent})), ElementsAre("-", "Lunch", "-"));
}

TEST_F(UIElementTreeSelectionTests, DescribesEachSelectionOneStepIn) {
  const auto cell = live_.item({.role = "AXCell"}, {}, {button("Open")});
  const auto row = selected({.role = "AXRow", .roleDescription = "row", .isSelected = true}, {cell});
  EXPECT_EQ(description(
                item({.role = "AXWindow", .title = "W"}, {row, selected({.role = "AXImage", .title = "I"})})),
            "\trow (selected)\n"
            "\t\tCell\n"
            "\t\t\t1 button Open\n"
            "\t2 Image I");
}

TEST_F(UIElementTreeSelectionTests, StopsAtFoldedRowsAndClosedMenusAndAddsNoDepthForApplications) {
  const auto folded = item({.role = "AXRow"}, {staticText("Report")});
  const auto menu =
      item({.role = "AXMenuBar"}, {item({.role = "AXMenuBarItem", .title = "File"}, {button("New")})});
  const auto application = selected({.role = "AXApplication", .title = "App"},
                                    {folded, menu, item({.role = "Debug"}, {button("x")})});
  EXPECT_EQ(description(item({.role = "AXGroup"}, {application})),
            "\t0 row Report\n\t2 menu bar\n\t\t3 File");
}

TEST_F(UIElementTreeSelectionTests, ASelectedTabIsNoSelection) {
  EXPECT_EQ(
      description(item({.role = "AXWindow"},
                       {selected({.role = "AXRadioButton", .roleDescription = "tab", .title = "Home"})})),
      std::nullopt);
}

TEST_F(UIElementTreeSelectionTests, ASelectionThatBeginsWithATabIsChrome) {
  const auto group = selected({.role = "AXApplication"}, {item({.roleDescription = "tab", .title = "Home"})});
  EXPECT_EQ(description(item({.role = "AXWindow"}, {group, selected({.title = "x"})})), std::nullopt);
}

TEST_F(UIElementTreeSelectionTests, NothingSelectedIsNoDescription) {
  EXPECT_EQ(description(item({.role = "AXWindow"}, {live_.item({.title = "a"})})), std::nullopt);
}

TEST_F(UIElementTreeSelectionTests, OpenMenusHaveNoSelection) {
  EXPECT_EQ(description(item({.role = "AXMenu"}, {selected({.title = "a"})})), std::nullopt);
}

TEST_F(UIElementTreeSelectionTests, SelectedTextTakesThePlaceOfSelectedElements) {
  const auto field =
      live_.item({.role = "AXTextField", .isFocused = true},
                 {.attributes = {{"AXValue", "Ada Lovelace"}, {"AXSelectedTextRange", TextRange{4, 4}}}});
  const auto made = tree(item({.role = "AXWindow"}, {field, selected({.title = "a"})}));
  desk_.run([&] {
    EXPECT_EQ(made->selectedElementText(), "Love");
    EXPECT_EQ(made->selectedElementsDescription(), std::nullopt);
    live_.node(field).attributes["AXSelectedText"] = "Lace";
    EXPECT_EQ(made->selectedElementText(), "Lace");
    live_.node(field).attributes["AXSelectedText"] = "";
    live_.node(field).attributes["AXSelectedTextRange"] = TextRange{4, 0};
    EXPECT_EQ(made->selectedElementText(), std::nullopt);
    EXPECT_EQ(made->selectedElementsDescription(), "\telement a");
  });
}

TEST_F(UIElementTreeSelectionTests, WithoutALiveFocusedElementNoTextIsSelected) {
  EXPECT_EQ(tree(item({}, {button("a")}))->selectedElementText(), std::nullopt);
  EXPECT_EQ(tree(item({.value = "a", .isFocused = true}))->selectedElementText(), std::nullopt);
}

}  // namespace
}  // namespace tavik
