#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "AccessibilitySupport/Tree/TransformationPasses.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "Tests/Support/EmptyWorkspace.h"
#include "TreeOfItems.h"

namespace tavik {
namespace {

using enum UIElementTreeTransformation;
using testing::ElementsAre;
using testing::IsEmpty;

class UIElementTreeTransformationTests : public testing::Test {
 protected:
  /// Applies one pass to the items, which stand below a root of their own.
  const Item::Children& apply(UIElementTreeTransformation pass,
                              std::initializer_list<std::shared_ptr<Item>> items) {
    root_ = item({.role = "AXWindow"}, items);
    runner_.applyPass(pass, root_);
    return root_->childItems;
  }

  std::string transformed(const std::shared_ptr<Item>& root) {
    const auto made = tree(root);
    runner_.transform(*made);
    return made->serializeForAppState();
  }

  std::shared_ptr<Item> root_;
  EmptyWorkspace workspace_;
  UIElementTreeTransformationRunner runner_{workspace_};
};

std::shared_ptr<Item> cell(const std::string& text) {
  return item({.role = "AXCell"}, {staticText(text)});
}

std::shared_ptr<Item> row(std::initializer_list<std::shared_ptr<Item>> children) {
  return item({.role = "AXRow"}, children);
}

TEST_F(UIElementTreeTransformationTests, ListsAllPassesInTheOrderOfTheirRawValues) {
  ASSERT_EQ(allUIElementTreeTransformations.size(), 13u);
  for (int raw = 0; raw < 13; ++raw) {
    EXPECT_EQ(static_cast<int>(allUIElementTreeTransformations[static_cast<std::size_t>(raw)]), raw);
  }
}

TEST_F(UIElementTreeTransformationTests, GivesEveryItemButTheRootToAPass) {
  const auto root =
      item({.actions = {"Shake"}}, {item({.actions = {"Shake"}}, {item({.actions = {"Shake"}})})});
  runner_.applyPass(filterActions, root);
  EXPECT_THAT(root->actions, ElementsAre("Shake"));
  EXPECT_THAT(root->childItems[0]->actions, IsEmpty());
  EXPECT_THAT(root->childItems[0]->childItems[0]->actions, IsEmpty());
}

TEST_F(UIElementTreeTransformationTests, KeepsKnownActionsInTheirOrder) {
  const auto& items = apply(
      filterActions, {item({.actions = {"AXShowMenu", "Shake", "AXPress", "AXScrollDownByPage", "AXOpen"}})});
  EXPECT_THAT(items[0]->actions, ElementsAre("AXShowMenu", "AXPress", "AXScrollDownByPage"));
}

TEST_F(UIElementTreeTransformationTests, KeepsAllSixteenKnownActions) {
  const std::vector<std::string> known = {"AXPress",
                                          "AXConfirm",
                                          "AXRaise",
                                          "AXShowMenu",
                                          "AXIncrement",
                                          "AXDecrement",
                                          "AXCancel",
                                          "AXPick",
                                          "AXDelete",
                                          "AXZoomWindow",
                                          "AXShowAlternateUI",
                                          "AXScrollToVisible",
                                          "AXScrollLeftByPage",
                                          "AXScrollRightByPage",
                                          "AXScrollUpByPage",
                                          "AXScrollDownByPage"};
  EXPECT_EQ(apply(filterActions, {item({.actions = known})})[0]->actions, known);
}

TEST_F(UIElementTreeTransformationTests, FoldsARowOfTwoCellsIntoALabel) {
  const auto& items = apply(flattenIntoSelectableAncestor, {row({cell("Report"), cell("Friday")})});
  EXPECT_EQ(items[0]->syntheticFoldedRowLabel, "Report Friday");
  EXPECT_THAT(items[0]->childItems, IsEmpty());
}

TEST_F(UIElementTreeTransformationTests, FoldsWhatIsCalledARowInEnglishOrChinese) {
  for (const char* name : {"row", " Row\n", "ROW", "外框行", " 表格行 "}) {
    const auto& items = apply(flattenIntoSelectableAncestor,
                              {item({.role = "AXGroup", .roleDescription = name}, {cell("Report")})});
    EXPECT_EQ(items[0]->syntheticFoldedRowLabel, "Report") << name;
  }
  for (const char* name : {"rows", "arrow", "行", "row 1", ""}) {
    const auto& items = apply(flattenIntoSelectableAncestor,
                              {item({.role = "AXGroup", .roleDescription = name}, {cell("Report")})});
    EXPECT_EQ(items[0]->syntheticFoldedRowLabel, std::nullopt) << name;
  }
}

TEST_F(UIElementTreeTransformationTests, LeavesARowUnfoldedWhoseChildrenHoldAButton) {
  const auto& items = apply(flattenIntoSelectableAncestor,
                            {row({cell("Report"), item({.role = "AXCell"}, {item({.role = "AXButton"})})})});
  EXPECT_EQ(items[0]->syntheticFoldedRowLabel, std::nullopt);
  EXPECT_EQ(items[0]->childItems.size(), 2u);
}

TEST_F(UIElementTreeTransformationTests, LeavesARowUnfoldedWhereAnythingBelowCanBeOperated) {
  const UIElementTreeItemValues operable[] = {
      {.role = "AXButton"},     {.role = "AXCheckBox"},      {.role = "AXComboBox"},
      {.role = "AXMenuButton"}, {.role = "AXPopUpButton"},   {.role = "AXRadioButton"},
      {.role = "AXScrollArea"}, {.role = "AXScrollBar"},     {.role = "AXSlider"},
      {.role = "AXTextArea"},   {.role = "AXTextField"},     {.isValueSettable = true},
      {.help = "Opens it"},     {.placeholderValue = "Who"}, {.url = AXURL{"file:///a"}},
      {.actions = {"AXPress"}},
  };
  for (const auto& values : operable) {
    const auto& items =
        apply(flattenIntoSelectableAncestor, {row({cell("Report"), item({}, {item(values)})})});
    EXPECT_EQ(items[0]->childItems.size(), 2u) << values.role.value_or("a value");
  }
}

TEST_F(UIElementTreeTransformationTests, LeavesARowUnfoldedThatSaysSomethingItself) {
  const UIElementTreeItemValues speaking[] = {{.role = "AXRow", .title = "T"},
                                              {.role = "AXRow", .value = "V"},
                                              {.role = "AXRow", .elementDescription = "D"}};
  for (const auto& values : speaking) {
    const auto& items = apply(flattenIntoSelectableAncestor, {item(values, {cell("Report")})});
    EXPECT_EQ(items[0]->childItems.size(), 1u);
    EXPECT_EQ(items[0]->syntheticFoldedRowLabel, std::nullopt);
  }
}

TEST_F(UIElementTreeTransformationTests, LeavesARowUnfoldedWithoutAnyText) {
  const auto& items = apply(flattenIntoSelectableAncestor, {row({cell(" \n"), cell("")}), row({})});
  EXPECT_EQ(items[0]->childItems.size(), 2u);
  EXPECT_EQ(items[0]->syntheticFoldedRowLabel, std::nullopt);
  EXPECT_EQ(items[1]->syntheticFoldedRowLabel, std::nullopt);
}

TEST_F(UIElementTreeTransformationTests, FocusesAFoldedRowWhoseHiddenChildIsFocused) {
  const auto focusedCell =
      item({.role = "AXCell"}, {item({.role = "AXStaticText", .value = "a", .isFocused = true})});
  const auto& items =
      apply(flattenIntoSelectableAncestor, {row({cell("Report"), focusedCell}), row({cell("b")})});
  EXPECT_TRUE(items[0]->isFocused);
  EXPECT_FALSE(items[1]->isFocused);
}

TEST_F(UIElementTreeTransformationTests, SaysEachTextOfACellOnceAndNothingForAnImage) {
  const auto icon = item({.role = "AXImage", .title = "icon"}, {staticText(" under the icon ")});
  const auto& items = apply(flattenIntoSelectableAncestor,
                            {row({item({.title = " A ", .value = "A", .elementDescription = "A"}), icon,
                                  item({.title = "B", .value = "b", .elementDescription = "b"}),
                                  item({.title = "C", .value = "c", .elementDescription = "cc"}),
                                  item({.elementDescription = "D"})})});
  EXPECT_EQ(items[0]->syntheticFoldedRowLabel, "A under the icon B b C c cc D");
}

TEST_F(UIElementTreeTransformationTests, RemovesSubtreesThatSayNothing) {
  const auto& items =
      apply(pruneNonDescriptiveSubtrees,
            {item({.role = "AXGroup"},
                  {item({.role = "AXGroup"}, {item({.role = "AXUnknown"}), item({.title = ""})})}),
             item({.role = "AXGroup"}, {item({.role = "AXUnknown"}), staticText("kept")})});
  ASSERT_EQ(items.size(), 1u);
  ASSERT_EQ(items[0]->childItems.size(), 1u);
  EXPECT_EQ(items[0]->childItems[0]->value, "kept");
}

TEST_F(UIElementTreeTransformationTests, KeepsWhateverSaysOrDoesAnything) {
  const auto& items = apply(
      pruneNonDescriptiveSubtrees,
      {item({.title = "t"}), item({.value = "v"}), item({.elementDescription = "d"}),
       item({.placeholderValue = "p"}), item({.help = "h"}), item({.syntheticFoldedRowLabel = "l"}),
       item({.url = AXURL{"file:///a"}}), item({.identifier = "save"}), item({.actions = {"AXPress"}})});
  EXPECT_EQ(items.size(), 9u);
}

TEST_F(UIElementTreeTransformationTests, RemovesEmptySettableFocusedAndPrivatelyNamedItems) {
  EXPECT_THAT(apply(pruneNonDescriptiveSubtrees,
                    {item({.role = "AXTextField", .isValueSettable = true}), item({.isFocused = true}),
                     item({.identifier = "_private"}), item({.identifier = "my_NS:12"})}),
              IsEmpty());
}

TEST_F(UIElementTreeTransformationTests, RemovesADisabledEmptyLeafOnly) {
  const auto& items =
      apply(pruneEmptyDisabledElements,
            {item({.isEnabled = false, .actions = {"AXPress"}}), item({.isEnabled = true}),
             item({.title = "t", .isEnabled = false}), item({.value = "v", .isEnabled = false}),
             item({.elementDescription = "d", .isEnabled = false}),
             item({.isEnabled = false, .syntheticFoldedRowLabel = "l"}),
             item({.isEnabled = false}, {staticText("below")})});
  EXPECT_EQ(items.size(), 6u);
}

TEST_F(UIElementTreeTransformationTests, RemovesAnEnabledEmptyLeafByThePassBefore) {
  EXPECT_EQ(apply(pruneEmptyDisabledElements, {item({.isEnabled = true})}).size(), 1u);
  EXPECT_THAT(apply(pruneNonDescriptiveSubtrees, {item({.isEnabled = true})}), IsEmpty());
}

TEST_F(UIElementTreeTransformationTests, ReplacesAPlainGroupByItsOnlyChildWhichTakesTheFrame) {
  const Rect frame = {{1, 2}, {3, 4}};
  const auto& items =
      apply(mergeSingleItemGroups, {item({.role = "AXGroup", .frame = frame}, {button("Save")})});
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0]->title, "Save");
  EXPECT_EQ(items[0]->frame, frame);
  EXPECT_EQ(items[0]->parentItem(), root_);
}

TEST_F(UIElementTreeTransformationTests, LeavesTheFrameToAChildThatHasOne) {
  const Rect own = {{5, 6}, {7, 8}};
  const auto& items = apply(mergeSingleItemGroups, {item({.role = "AXGroup", .frame = Rect{{1, 2}, {3, 4}}},
                                                         {item({.role = "AXButton", .frame = own})})});
  EXPECT_EQ(items[0]->frame, own);
}

TEST_F(UIElementTreeTransformationTests, CollapsesGroupsInGroupsToTheInnermostChild) {
  const auto& items = apply(mergeSingleItemGroups,
                            {item({.role = "AXGroup"}, {item({.role = "AXGroup"}, {staticText("word")})})});
  EXPECT_EQ(items[0]->value, "word");
}

TEST_F(UIElementTreeTransformationTests, KeepsGroupsThatAreMoreThanAWrapper) {
  const UIElementTreeItemValues meaningful[] = {
      {.role = "AXGroup", .title = "t"},
      {.role = "AXGroup", .value = "v"},
      {.role = "AXGroup", .elementDescription = "d"},
      {.role = "AXGroup", .placeholderValue = "p"},
      {.role = "AXGroup", .help = "h"},
      {.role = "AXGroup", .url = AXURL{"file:///a"}},
      {.role = "AXGroup", .identifier = "save"},
      {.role = "AXGroup", .isValueSettable = true},
      {.role = "AXGroup", .actions = {"AXPress"}},
      {.role = "AXList"},
  };
  for (const auto& values : meaningful) {
    EXPECT_EQ(apply(mergeSingleItemGroups, {item(values, {button("Save")})})[0]->title, values.title);
  }
  EXPECT_EQ(apply(mergeSingleItemGroups, {item({.role = "AXGroup"}, {button("a"), button("b")})})[0]->title,
            std::nullopt);
}

TEST_F(UIElementTreeTransformationTests, KeepsTheOutermostLayoutContainersOfAWebPage) {
  const UIElementTreeItemValues container = {.role = "AXGroup", .roleDescription = "container"};
  const auto page = item({.role = "AXWebArea"}, {chain(5, container)});
  const auto& items = apply(mergeSingleItemGroups, {page});
  int kept = 0;
  for (const Item* item = items[0]->childItems[0].get(); !item->childItems.empty();
       item = item->childItems[0].get()) {
    EXPECT_EQ(item->roleDescription, "container");
    ++kept;
  }
  EXPECT_EQ(kept, 3);
}

TEST_F(UIElementTreeTransformationTests, LeavesRedundantHierarchyAsItIs) {
  const auto& items = apply(flattenRedundantHierarchy,
                            {item({.role = "AXGroup"}, {item({.role = "AXList"}, {staticText("a")})})});
  EXPECT_EQ(items[0]->role, "AXGroup");
  EXPECT_EQ(items[0]->childItems[0]->role, "AXList");
  EXPECT_EQ(items[0]->childItems[0]->childItems[0]->value, "a");
}

TEST_F(UIElementTreeTransformationTests, RemovesStaticTextsThatRepeatTheirParent) {
  const auto withChild = item({.role = "AXStaticText", .value = "Save"}, {staticText("x")});
  const auto& items =
      apply(flattenRepetitiveStaticText,
            {item({.role = "AXButton", .title = "Save"},
                  {staticText("Save"), withChild, item({.role = "AXStaticText", .title = "Save"}),
                   staticText("save"), item({.role = "AXImage", .title = "Save"}),
                   item({.role = "AXStaticText", .title = "", .value = "Save"}), staticText("Save ")})});
  std::vector<std::string> left;
  for (const auto& child : items[0]->childItems)
    left.push_back(child->role.value() + " " + child->value.value_or(""));
  EXPECT_THAT(left, ElementsAre("AXStaticText Save", "AXStaticText save", "AXImage ", "AXStaticText Save",
                                "AXStaticText Save "));
}

TEST_F(UIElementTreeTransformationTests, TakesTheTextOfAnItemFromItsValueOnlyWithoutATitle) {
  const auto& items =
      apply(flattenRepetitiveStaticText,
            {item({.value = "v"}, {staticText("v")}), item({.title = "", .value = "v"}, {staticText("v")}),
             item({}, {staticText("")})});
  EXPECT_THAT(items[0]->childItems, IsEmpty());
  EXPECT_EQ(items[1]->childItems.size(), 1u);
  EXPECT_EQ(items[2]->childItems.size(), 1u);
}

TEST_F(UIElementTreeTransformationTests, LeavesStaticTextsThatRepeatTheRoot) {
  const auto root = item({.role = "AXWindow", .title = "Mail"}, {staticText("Mail")});
  runner_.applyPass(flattenRepetitiveStaticText, root);
  EXPECT_EQ(root->childItems.size(), 1u);
}

TEST_F(UIElementTreeTransformationTests, TurnsALinkIntoMarkdown) {
  const auto& items =
      apply(flattenLinksIntoMarkdownText,
            {item({.role = "AXLink", .url = AXURL{"https://example.org/a?b#c"}}, {staticText("Docs")})});
  EXPECT_EQ(items[0]->value, "[Docs](https://example.org/a?b#c)");
  EXPECT_THAT(items[0]->childItems, IsEmpty());
}

TEST_F(UIElementTreeTransformationTests, CollectsTheTextOfALinkFromTheNearestTexts) {
  const auto link =
      item({.role = "AXLink", .url = AXURL{"U"}},
           {item({.role = "AXGroup"}, {staticText("Read"), staticText(""), item({.title = ""})}),
            item({.title = "the", .value = "hidden"}, {staticText("hidden too")}),
            item({.title = "", .value = "docs"})});
  EXPECT_EQ(apply(flattenLinksIntoMarkdownText, {link})[0]->value, "[Read the docs](U)");
}

TEST_F(UIElementTreeTransformationTests, KeepsTheChildrenOfALinkWithoutTextAndOfOneWithoutURL) {
  const auto& items = apply(flattenLinksIntoMarkdownText,
                            {item({.role = "AXLink", .url = AXURL{"U"}}, {item({.role = "AXImage"})}),
                             item({.role = "AXLink"}, {staticText("Docs")}),
                             item({.role = "AXButton", .url = AXURL{"U"}}, {staticText("Docs")})});
  for (const auto& link : items) {
    EXPECT_EQ(link->childItems.size(), 1u);
    EXPECT_EQ(link->value, std::nullopt);
  }
}

TEST_F(UIElementTreeTransformationTests, JoinsAdjacentTextsAndLeavesTheButtonAfterThem) {
  const auto& items =
      apply(mergeTextOnlySiblings, {item({.role = "AXGroup"}, {staticText(" one "), item({.title = "two"}),
                                                               staticText("three"), button("Go")})});
  const auto& children = items[0]->childItems;
  ASSERT_EQ(children.size(), 2u);
  EXPECT_EQ(children[0]->role, "AXStaticText");
  EXPECT_EQ(children[0]->value, "one two three");
  EXPECT_EQ(children[0]->roleDescription, std::nullopt);
  EXPECT_EQ(children[0]->title, std::nullopt);
  EXPECT_TRUE(children[0]->isEnabled);
  EXPECT_FALSE(children[0]->isFocused);
  EXPECT_FALSE(children[0]->axElement);
  EXPECT_EQ(children[0]->parentItem(), items[0]);
  EXPECT_EQ(children[1]->title, "Go");
}

TEST_F(UIElementTreeTransformationTests, JoinsEachRunOfTextsByItself) {
  const auto& items =
      apply(mergeTextOnlySiblings,
            {item({.role = "AXGroup"}, {staticText("a"), button("Go"), staticText("b"), staticText("c"),
                                        item({.role = "AXImage"}), staticText("d"), staticText("e")})});
  std::vector<std::string> values;
  for (const auto& child : items[0]->childItems) values.push_back(child->value.value_or("-"));
  EXPECT_THAT(values, ElementsAre("a", "-", "b c", "-", "d e"));
}

TEST_F(UIElementTreeTransformationTests, JoinsOnlyPlainTexts) {
  const auto& items = apply(
      mergeTextOnlySiblings,
      {item({.role = "AXGroup"},
            {staticText("a"), item({.role = "AXStaticText", .value = "b", .actions = {"AXPress"}}),
             staticText("c"), item({.role = "AXStaticText", .value = "d"}, {button("x")}), staticText("e"),
             item({.role = "AXStaticText"}), staticText("f"), item({.role = "AXHeading", .value = "g"})})});
  EXPECT_EQ(items[0]->childItems.size(), 8u);
}

TEST_F(UIElementTreeTransformationTests, FocusesAJoinedTextWhenAnyPartWasFocused) {
  const auto focused = item({.role = "AXStaticText", .value = "b", .isFocused = true});
  const auto& items = apply(mergeTextOnlySiblings, {item({}, {staticText("a"), focused})});
  EXPECT_TRUE(items[0]->childItems[0]->isFocused);
}

TEST_F(UIElementTreeTransformationTests, LeavesTheTextsOfTheRootApart) {
  EXPECT_EQ(apply(mergeTextOnlySiblings, {staticText("a"), staticText("b")}).size(), 2u);
}

TEST_F(UIElementTreeTransformationTests, ShapesAWholeWindowAndNumbersIt) {
  const auto window = item(
      {.role = "AXWindow", .roleDescription = "standard window", .title = "Mail"},
      {item({.role = "AXGroup"}, {item({.role = "AXGroup"}, {button("Send")})}), item({.role = "AXGroup"}),
       item({.role = "AXList", .roleDescription = "list", .elementDescription = "Messages"},
            {row({cell("Report"), cell("Friday")}), row({cell("Lunch"), cell("Monday")})}),
       item({.role = "AXGroup", .roleDescription = "group", .help = "Footer"},
            {staticText("3"), staticText("unread"), staticText("messages"),
             item({.role = "AXLink", .roleDescription = "link", .url = AXURL{"U"}}, {staticText("Docs")})})});
  EXPECT_EQ(transformed(window),
            "0 standard window Mail\n"
            "\t1 button Send\n"
            "\t2 list Description: Messages\n"
            "\t\t3 row Report Friday\n"
            "\t\t4 row Lunch Monday\n"
            "\t5 StaticText 3 unread messages\n"
            "\t6 link [Docs](U) URL: U");
}

TEST_F(UIElementTreeTransformationTests, RemovesALoneDisabledButtonThatOnlyAnUntransformedTreeShows) {
  const auto disabled = item({.role = "AXButton", .isEnabled = false, .actions = {"AXPress"}});
  EXPECT_EQ(transformed(item({.role = "AXWindow", .title = "Mail"}, {disabled, button("Send")})),
            "0 Window Mail\n\t1 button Send");
}

TEST_F(UIElementTreeTransformationTests, NumbersAnewWithEveryTransformation) {
  const auto made =
      tree(item({.role = "AXWindow", .title = "Mail"}, {button("a"), item({.role = "AXGroup"})}));
  made->itemsByIndex[17] = made->rootItem;
  runner_.transform(*made);
  ASSERT_EQ(made->itemsByIndex.size(), 2u);
  EXPECT_EQ(made->item(0), made->rootItem);
  EXPECT_EQ(made->item(1)->title, "a");
}

TEST_F(UIElementTreeTransformationTests, DescribesAFocusedItemThatWasDroppedWithoutIndex) {
  const auto focused =
      item({.role = "AXStaticText", .roleDescription = "text", .value = "b", .isFocused = true});
  const auto made =
      tree(item({.role = "AXWindow"}, {item({.role = "AXGroup", .help = "h"}, {staticText("a"), focused})}));
  made->focusedElement = focused;
  runner_.transform(*made);
  EXPECT_EQ(made->focusedElementDescription(), "text b");
}

TEST_F(UIElementTreeTransformationTests, PassesDoNotRecurse) {
  constexpr int depth = 100'000;
  const UIElementTreeItemValues links[] = {
      {.role = "AXGroup"},
      {.role = "AXList", .isSelectable = true, .actions = {"AXPress"}},
      {.role = "AXGroup", .roleDescription = "container"},
  };
  for (const auto& link : links) {
    const auto made = tree(item({.role = "AXWebArea"}, {chain(depth, link)}));
    runner_.transform(*made);
    const std::string text = made->serializeForAppState();
    EXPECT_TRUE(text.contains("StaticText deep")) << link.role.value();
  }
}

}  // namespace
}  // namespace tavik
