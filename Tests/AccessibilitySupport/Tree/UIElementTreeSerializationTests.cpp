#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "TreeOfItems.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The line of an item by itself, without index.
std::string lineOf(UIElementTreeItemValues values) {
  return item(std::move(values))->appStateDescriptionWithoutIndex();
}

bool getsIndex(UIElementTreeItemValues values) {
  const auto made = tree(item(std::move(values)));
  made->assignIndices();
  return made->rootItem->elementIndex.has_value();
}

/// The item with a given index in its line.
std::string lineWithIndex(int index, UIElementTreeItemValues values) {
  const auto made = item(std::move(values));
  made->elementIndex = index;
  return tree(made)->serializeForAppState();
}

TEST(UIElementTreeLineTests, WindowShowsNoChromeActionsAndIsNotSelectable) {
  EXPECT_EQ(lineWithIndex(0, {.role = "AXWindow",
                              .roleDescription = "standard window",
                              .title = "Untitled",
                              .isSelectable = true,
                              .actions = {"AXRaise", "AXZoomWindow"}}),
            "0 standard window Untitled");
}

TEST(UIElementTreeLineTests, ButtonShowsItsTitleAndIdentifierButNotThePress) {
  EXPECT_EQ(lineWithIndex(1, {.role = "AXButton",
                              .roleDescription = "button",
                              .title = "Save",
                              .identifier = "saveButton",
                              .actions = {"AXPress"}}),
            "1 button Save, ID: saveButton");
}

TEST(UIElementTreeLineTests, TextFieldShowsTypeValueAndPlaceholder) {
  EXPECT_EQ(lineWithIndex(2, {.role = "AXTextField",
                              .roleDescription = "text field",
                              .title = "Name",
                              .value = "Ada",
                              .placeholderValue = "Your name",
                              .isValueSettable = true,
                              .valueType = "string"}),
            "2 text field (settable, string) Name, Value: Ada, Placeholder: Your name");
}

TEST(UIElementTreeLineTests, TextShowsItsValueBare) {
  EXPECT_EQ(lineWithIndex(3, {.role = "AXStaticText", .roleDescription = "text", .value = "Hello world"}),
            "3 text Hello world");
}

TEST(UIElementTreeLineTests, FoldedRowShowsItsLabel) {
  EXPECT_EQ(lineWithIndex(4, {.role = "AXRow",
                              .roleDescription = "table row",
                              .isSelectable = true,
                              .isSelected = true,
                              .syntheticFoldedRowLabel = "Report Friday"}),
            "4 row (selected) Report Friday");
}

TEST(UIElementTreeLineTests, LinkShowsItsMarkdownAndItsURL) {
  EXPECT_EQ(lineWithIndex(
                5, {.role = "AXLink", .roleDescription = "link", .value = "[Docs](U)", .url = AXURL{"U"}}),
            "5 link [Docs](U) URL: U");
}

TEST(UIElementTreeLineTests, ScrollBarShowsItsValueBareAndItsPagesAsScrolls) {
  EXPECT_EQ(lineWithIndex(6, {.role = "AXScrollBar",
                              .roleDescription = "scroll bar",
                              .value = "0.5",
                              .isValueSettable = true,
                              .valueType = "float",
                              .actions = {"AXScrollUpByPage", "AXScrollDownByPage"}}),
            "6 scroll bar (settable, float) 0.5 Secondary Actions: Scroll Up, Scroll Down");
}

TEST(UIElementTreeLineTests, MenuBarShowsItsTitlesWithoutTheirMenus) {
  const auto bar =
      item({.role = "AXMenuBar", .roleDescription = "menu bar", .title = "ignored"},
           {item({.role = "AXMenuBarItem", .title = "Apple"}, {item({.role = "AXMenu", .title = "m"})}),
            item({.role = "AXMenuBarItem", .roleDescription = "menu bar item", .title = "File"},
                 {item({.role = "AXMenu", .title = "New"})}),
            item({.role = "AXMenuBarItem",
                  .roleDescription = "menu bar item",
                  .isEnabled = false,
                  .actions = {"AXPress"}})});
  EXPECT_EQ(textOf({bar}), "0 menu bar\n\t1 File\n\t2 menu bar item");
}

TEST(UIElementTreeLineTests, LoneDisabledButtonGetsAnIndexForItsAction) {
  EXPECT_EQ(textOf({staticText("a"), staticText("b"),
                    item({.role = "AXButton",
                          .roleDescription = "button",
                          .isEnabled = false,
                          .actions = {"AXPress"}})}),
            "0 StaticText a\n1 StaticText b\n2 button (disabled)");
}

TEST(UIElementTreeLineTests, RoleIsTheDescriptionElseTheBareRoleElseElement) {
  EXPECT_EQ(lineOf({.role = "AXSplitter"}), "Splitter");
  EXPECT_EQ(lineOf({.role = "AXSplitter", .roleDescription = ""}), "Splitter");
  EXPECT_EQ(lineOf({.role = "push button"}), "push button");
  EXPECT_EQ(lineOf({.roleDescription = "splitter"}), "splitter");
  EXPECT_EQ(lineOf({}), "element");
  EXPECT_EQ(lineOf({.role = ""}), "element");
}

TEST(UIElementTreeLineTests, SelectionStates) {
  EXPECT_EQ(lineOf({.role = "AXCell", .isSelectable = true}), "Cell (selectable)");
  EXPECT_EQ(lineOf({.role = "AXCell", .isSelectable = true, .isSelected = true}), "Cell (selected)");
  EXPECT_EQ(lineOf({.role = "AXCell", .isSelected = true}), "Cell (selected)");
  EXPECT_EQ(lineOf({.role = "AXRow", .isSelectable = true}), "row");
  EXPECT_EQ(lineOf({.role = "AXRow", .isSelectable = true, .isSelected = true}), "row (selected)");
}

TEST(UIElementTreeLineTests, NothingIsSelectableOnTheWeb) {
  const auto cell = [] {
    return item({.role = "AXCell", .value = "v", .isSelectable = true, .isSelected = true});
  };
  EXPECT_EQ(textOf({item({.role = "AXWebArea", .isSelectable = true, .actions = {"AXPress"}},
                         {item({.role = "AXGroup"}, {cell()})})}),
            "0 WebArea\n\t1 Cell v");
  EXPECT_EQ(textOf({item({.role = "AXGroup", .roleDescription = "HTML 内容"}, {cell()})}), "0 Cell v");
  EXPECT_EQ(textOf({item({.role = "AXGroup", .roleDescription = "html 内容"}, {cell()})}),
            "0 Cell (selected) v");
}

TEST(UIElementTreeLineTests, StatesStandInOrder) {
  EXPECT_EQ(lineOf({.role = "AXSlider",
                    .isEnabled = false,
                    .isSelectable = true,
                    .isValueSettable = true,
                    .valueType = "float"}),
            "Slider (selectable, disabled, settable, float)");
  EXPECT_EQ(lineOf({.role = "AXSlider", .isValueSettable = true}), "Slider (settable)");
}

TEST(UIElementTreeLineTests, VirtualEditorsAreNotCalledSettable) {
  EXPECT_EQ(lineOf({.roleDescription = " Editor ", .isValueSettable = true, .valueType = "string"}),
            " Editor ");
  EXPECT_EQ(lineOf({.role = "AXTextArea",
                    .elementDescription = "Main EDITOR Group, 1",
                    .isValueSettable = true,
                    .valueType = "string"}),
            "TextArea Description: Main EDITOR Group, 1");
  EXPECT_EQ(lineOf({.roleDescription = "editors", .isValueSettable = true}), "editors (settable)");
}

TEST(UIElementTreeLineTests, WindowChrome) {
  const auto nameless = item({.role = "AXButton", .isSelectable = true, .actions = {"AXZoomWindow"}});
  const auto named =
      item({.role = "AXButton", .identifier = "_x", .isSelectable = true, .actions = {"AXZoomWindow"}});
  const auto titleBar =
      item({.role = "AXGroup", .value = "T", .isValueSettable = true, .valueType = "string"});
  const auto other = item({.role = "AXGroup", .value = "1", .isValueSettable = true, .valueType = "float"});
  EXPECT_EQ(textOf({item({.role = "AXStandardWindow", .title = "W", .isValueSettable = true},
                         {nameless, named, titleBar, other})}),
            "0 StandardWindow W\n"
            "\t1 Button\n"
            "\t2 Button (selectable) Secondary Actions: Zoom Window\n"
            "\t3 Group Value: T\n"
            "\t4 Group (settable, float) Value: 1");
}

TEST(UIElementTreeLineTests, DetailsStandInOrderAndFollowATitleAfterAComma) {
  const UIElementTreeItemValues all = {.role = "AXImage",
                                       .value = "v",
                                       .elementDescription = "d",
                                       .placeholderValue = "p",
                                       .identifier = "i",
                                       .help = "h",
                                       .url = AXURL{"U"},
                                       .actions = {"AXPress", "AXPick", "AXIncrement"}};
  EXPECT_EQ(lineOf(all),
            "Image Description: d, Help: h, ID: i, Value: v, Placeholder: p, URL: U, "
            "Secondary Actions: Pick, Increment");
  auto titled = all;
  titled.title = "t";
  EXPECT_EQ(lineOf(titled),
            "Image t, Description: d, Help: h, ID: i, Value: v, Placeholder: p, URL: U, "
            "Secondary Actions: Pick, Increment");
}

TEST(UIElementTreeLineTests, ATitleEqualToTheDescriptionShowsTheTextOnce) {
  EXPECT_EQ(lineOf({.role = "AXButton", .title = "Save", .elementDescription = "Save"}), "Button Save");
}

TEST(UIElementTreeLineTests, ARowShowsItsDescriptionInPlaceOfATitle) {
  EXPECT_EQ(lineOf({.role = "AXRow", .elementDescription = "Report", .help = "h"}), "row Report Help: h");
  EXPECT_EQ(lineOf({.role = "AXRow", .title = "T", .elementDescription = "Report"}),
            "row T, Description: Report");
  EXPECT_EQ(lineOf({.role = "AXRow", .elementDescription = "Report", .syntheticFoldedRowLabel = "L"}),
            "row L Description: Report");
}

TEST(UIElementTreeLineTests, AValueIsLabelledWhereAnotherNameIsPresentThoughEmpty) {
  EXPECT_EQ(lineOf({.role = "AXStaticText", .roleDescription = "text", .title = "", .value = "z"}),
            "text Value: z");
  EXPECT_EQ(
      lineOf({.role = "AXStaticText", .roleDescription = "text", .value = "z", .elementDescription = ""}),
      "text Value: z");
  EXPECT_EQ(lineOf({.role = "AXStaticText", .roleDescription = "text", .value = "z", .identifier = "_NS:1"}),
            "text Value: z");
  EXPECT_EQ(
      lineOf({.role = "AXStaticText", .roleDescription = "text", .value = "z", .isValueSettable = true}),
      "text (settable) Value: z");
  EXPECT_EQ(lineOf({.role = "AXStaticText", .roleDescription = "text", .value = "z", .help = "h"}),
            "text z Help: h");
  EXPECT_EQ(lineOf({.role = "AXScrollBar", .title = "t", .value = "0"}), "ScrollBar t 0");
  EXPECT_EQ(lineOf({.role = "AXStaticText", .roleDescription = "text", .value = ""}), "text");
}

TEST(UIElementTreeLineTests, PrivateIdentifiersAreNotShown) {
  EXPECT_EQ(lineOf({.role = "AXButton", .identifier = "_NS:123"}), "Button");
  EXPECT_EQ(lineOf({.role = "AXButton", .identifier = "x_NS1"}), "Button");
  EXPECT_EQ(lineOf({.role = "AXButton", .identifier = "save_1"}), "Button ID: save_1");
}

TEST(UIElementTreeLineTests, ActionsThatSayNothingAreLeftOut) {
  EXPECT_EQ(lineOf({.role = "AXButton",
                    .actions = {"AXRaise", "AXPress", "AXShowMenu", "AXScrollToVisible", "unheard of",
                                "AXDelete", "AXZoomWindow", "AXShowAlternateUI", "AXScrollLeftByPage"}}),
            "Button Secondary Actions: Delete, Zoom Window, Show Alternate UI, Scroll Left");
  EXPECT_EQ(lineOf({.role = "AXRow", .actions = {"AXShowAlternateUI"}}), "row");
  EXPECT_EQ(lineOf({.role = "AXButton", .actions = {"unheard of"}}), "Button");
}

TEST(UIElementTreeLineTests, ValuesStandAsTheyAre) {
  EXPECT_EQ(lineOf({.role = "AXStaticText", .value = "a\n\tb \xff\xfe c"}), "StaticText a\n\tb \xff\xfe c");
}

TEST(UIElementTreeIndexTests, TheRulesInTheirOrder) {
  EXPECT_FALSE(getsIndex({.role = "AXApplication", .title = "App", .identifier = "app"}));
  EXPECT_TRUE(getsIndex({.role = "AXMenuBar"}));
  EXPECT_FALSE(getsIndex({.role = "AXMenuBarItem", .title = "Apple", .actions = {"AXPress"}}));
  EXPECT_TRUE(getsIndex({.role = "AXToolbar"}));
  EXPECT_TRUE(getsIndex({.role = "AXGroup", .identifier = "public"}));
  EXPECT_TRUE(getsIndex({.role = "AXUnknown", .actions = {"AXPress"}}));
  EXPECT_TRUE(getsIndex({.role = "AXRow", .syntheticFoldedRowLabel = "label"}));
  EXPECT_TRUE(getsIndex({.value = "v"}));
  EXPECT_TRUE(getsIndex({.title = "t"}));
  EXPECT_TRUE(getsIndex({.elementDescription = "d"}));
  EXPECT_TRUE(getsIndex({.placeholderValue = "p"}));
  EXPECT_TRUE(getsIndex({.role = "AXUnknown", .help = "h"}));
  EXPECT_TRUE(getsIndex({.role = "AXGroup", .url = AXURL{"U"}}));
  EXPECT_FALSE(getsIndex({.role = "AXUnknown"}));
}

TEST(UIElementTreeIndexTests, APrivateIdentifierEarnsNoIndex) {
  EXPECT_FALSE(getsIndex({.role = "AXGroup", .identifier = "_NS:123"}));
}

TEST(UIElementTreeIndexTests, PlainWrappersEarnNoneByActionsOrHelpAlone) {
  for (const char* role : {"AXGroup", "AXLayoutArea", "AXLayoutItem", "AXList"}) {
    EXPECT_FALSE(getsIndex({.role = role, .actions = {"AXPress"}})) << role;
    EXPECT_FALSE(getsIndex({.role = role, .help = "h"})) << role;
    EXPECT_TRUE(getsIndex({.role = role, .help = "h", .actions = {"AXPress"}})) << role;
  }
}

TEST(UIElementTreeIndexTests, SettableItemsEarnOneByRoleOrName) {
  for (const char* role : {"AXTextField", "AXTextArea", "AXComboBox", "AXSlider", "AXScrollBar", "AXCheckBox",
                           "AXRadioButton", "AXPopUpButton"}) {
    EXPECT_TRUE(getsIndex({.role = role, .isValueSettable = true})) << role;
    EXPECT_FALSE(getsIndex({.role = role})) << role;
  }
  EXPECT_FALSE(getsIndex({.role = "AXSplitter", .isValueSettable = true}));
}

TEST(UIElementTreeIndexTests, AGroupWithActionsOnlyAddsNeitherLineNorDepth) {
  EXPECT_EQ(textOf({item({.role = "AXGroup", .actions = {"AXPress"}}, {button("Save"), button("Open")})}),
            "0 button Save\n1 button Open");
}

TEST(UIElementTreeIndexTests, AGroupWithHelpOnlyAddsNeitherLineNorDepth) {
  EXPECT_EQ(textOf({item({.role = "AXGroup", .help = "h"}, {button("Save")})}), "0 button Save");
}

TEST(UIElementTreeIndexTests, IndicesHaveNoGapsInTheTableThoughTheTextMay) {
  const auto made = tree(item({.role = "AXApplication"},
                              {button("a"), item({.role = "Debug"}, {button("hidden")}), button("b")}));
  made->assignIndices();
  EXPECT_EQ(made->serializeForAppState(), "0 button a\n2 button b");
  EXPECT_EQ(made->itemsByIndex.size(), 3u);
  EXPECT_EQ(made->item(1)->title, "hidden");
  EXPECT_EQ(made->item(3), nullptr);
}

TEST(UIElementTreeIndexTests, EveryAssignmentStartsAnew) {
  const auto made = tree(item({.role = "AXApplication"}, {button("a"), button("b")}));
  made->assignIndices();
  const std::string text = made->serializeForAppState();
  made->rootItem->childItems[0]->title.reset();
  made->rootItem->childItems[0]->actions.clear();
  made->assignIndices();
  EXPECT_EQ(made->rootItem->childItems[0]->elementIndex, std::nullopt);
  EXPECT_EQ(made->rootItem->childItems[1]->elementIndex, 0);
  EXPECT_EQ(made->itemsByIndex.size(), 1u);
  EXPECT_EQ(text, "0 button a\n1 button b");
}

TEST(UIElementTreeIndexTests, MinimalAssignmentNumbersExactlyTheMaximum) {
  const auto made =
      tree(item({.role = "AXApplication"},
                {item({.role = "AXWindow"}, {item({.role = "AXGroup"}), item({.title = "no role"}),
                                             item({.roleDescription = "thing"}), button("late")})}));
  made->assignIndices();
  made->assignMinimalAppStateIndices(3);
  EXPECT_EQ(made->itemsByIndex.size(), 3u);
  EXPECT_EQ(made->serializeForAppState(), "0 Window\n\t1 Group\n\t2 thing");
  EXPECT_EQ(made->rootItem->childItems[0]->childItems[3]->elementIndex, std::nullopt);
}

TEST(UIElementTreeIndexTests, MinimalAssignmentLeavesOutWhatIsNeverShown) {
  const auto excluded = item({.role = "Services"}, {button("in services")});
  const auto column = item({.role = "AXColumn", .identifier = "ListColumn"}, {button("in column")});
  const auto systemMenu = item({.role = "AXMenuBarItem", .title = "Apple"}, {button("in system menu")});
  const auto menu = item({.role = "AXMenuBarItem", .title = "File"}, {button("in menu")});
  const auto made = tree(
      item({.role = "AXApplication"}, {excluded, column, item({.role = "AXMenuBar"}, {systemMenu, menu})}));
  made->assignIndices();
  made->assignMinimalAppStateIndices(100);
  EXPECT_EQ(made->serializeForAppState(), "0 menu bar\n\t1 File");
  EXPECT_EQ(excluded->childItems[0]->elementIndex, std::nullopt);
  EXPECT_EQ(column->childItems[0]->elementIndex, std::nullopt);
  EXPECT_EQ(systemMenu->elementIndex, std::nullopt);
}

TEST(UIElementTreeIndexTests, ClearingTakesTheIndicesButNotTheTable) {
  const auto made = tree(item({.role = "AXWindow", .title = "W"}, {button("a")}));
  made->assignIndices();
  UIElementTree::clearIndices(*made->rootItem);
  EXPECT_EQ(made->rootItem->elementIndex, std::nullopt);
  EXPECT_EQ(made->rootItem->childItems[0]->elementIndex, std::nullopt);
  EXPECT_EQ(made->itemsByIndex.size(), 2u);
}

TEST(UIElementTreeSerializationTests, LeavesOutExcludedSubtrees) {
  EXPECT_EQ(
      textOf({item({.role = "Debug", .title = "a"}, {button("x")}), item({.role = "Services", .title = "b"}),
              item({.role = "Host", .title = "c"}), item({.role = "Window", .title = "d"}),
              item({.role = "AXColumn", .title = "e", .identifier = "ListColumn"}),
              item({.role = "AXColumn", .title = "f", .identifier = "OtherColumn"})}),
      "6 Column f, ID: OtherColumn");
}

TEST(UIElementTreeSerializationTests, FoldsRowsOfAnUntransformedTreeToo) {
  EXPECT_EQ(textOf({item({.role = "AXRow"},
                         {item({.role = "AXCell"}, {staticText("Report")}), staticText("Friday")}),
                    item({.role = "AXRow"}, {staticText("Report"), button("Open")})}),
            "0 row Report Friday\n3 StaticText Report\n4 button Open");
}

TEST(UIElementTreeSerializationTests, ShowsTheOuterLayoutOfAWebPage) {
  const UIElementTreeItemValues container = {.role = "AXGroup", .roleDescription = " Container "};
  EXPECT_EQ(textOf({item({.role = "AXWebArea", .title = "Page"}, {chain(4, container)})}),
            "0 WebArea Page\n"
            "\t1 container\n"
            "\t\t2 container\n"
            "\t\t\t3 container\n"
            "\t\t\t\t4 StaticText deep");
  EXPECT_EQ(textOf({chain(1, container)}), "0 StaticText deep");
  EXPECT_EQ(textOf({item({.role = "AXWebArea"},
                         {item({.role = "AXGroup", .roleDescription = "应用"}, {button("a")})})}),
            "0 container\n\t1 button a");
}

TEST(UIElementTreeSerializationTests, ALayoutContainerSaysAndDoesNothing) {
  const UIElementTreeItemValues speaking[] = {
      {.role = "AXGroup", .roleDescription = "container", .title = "t"},
      {.role = "AXGroup", .roleDescription = "container", .help = "t"},
      {.role = "AXGroup", .roleDescription = "container", .isValueSettable = true},
      {.role = "AXGroup", .roleDescription = "container", .actions = {"AXPick"}},
      {.role = "AXList", .roleDescription = "container"},
      {.role = "AXGroup", .roleDescription = "group"},
  };
  for (const auto& values : speaking) {
    const auto group = item(values, {button("a")});
    const auto page = item({.role = "AXWebArea"}, {group});
    EXPECT_FALSE(group->appStateIsWebLayoutContainer());
  }
  const auto silent =
      item({.role = "AXGroup", .roleDescription = "container", .actions = {"AXPress"}}, {button("a")});
  const auto page = item({.role = "AXWebArea"}, {silent});
  EXPECT_TRUE(silent->appStateIsWebLayoutContainer());
  silent->setChildItems({});
  EXPECT_FALSE(silent->appStateIsWebLayoutContainer());
}

TEST(UIElementTreeSerializationTests, TheSameTreeGivesTheSameText) {
  const auto made = tree(item({.role = "AXWindow", .title = "W"}, {button("a"), staticText("b")}));
  made->assignIndices();
  EXPECT_EQ(made->serializeForAppState(), made->serializeForAppState());
  EXPECT_EQ(made->windowTreeDescription(), "0 Window W\n\t1 button a\n\t2 StaticText b");
}

TEST(UIElementTreeSerializationTests, AnItemWithoutIndexHasNoLine) {
  EXPECT_EQ(tree(button("a"))->serializeForAppState(), "");
}

TEST(UIElementTreeSerializationTests, DebugFormNamesEveryItem) {
  const auto made = tree(
      item({.role = "AXApplication", .title = "App"},
           {item({.role = "AXGroup"}, {item({}, {button("Save")})}),
            item({.role = "Debug"}, {button("hidden")}), item({.role = "AXMenuBarItem", .title = "Apple"})}));
  made->assignIndices();
  EXPECT_EQ(made->serialize(),
            "AXApplication \"App\"\n"
            "  AXGroup\n"
            "      [0] AXButton \"Save\" actions: [Press]\n"
            "  AXMenuBarItem \"Apple\"");
}

TEST(UIElementTreeSerializationTests, ReadableDescriptionNamesAllThatIsThere) {
  EXPECT_EQ(
      item({.role = "AXTextField",
            .roleDescription = "text field",
            .title = "t",
            .value = "v",
            .elementDescription = "d",
            .placeholderValue = "p",
            .isEnabled = false,
            .help = "h",
            .url = AXURL{"U"},
            .actions = {"AXPress", "AXDelete", "AXScrollUpByPage"}})
          ->buildReadableDescription(),
      "AXTextField \"t\" value: \"v\" description: \"d\" placeholder: \"p\" help: \"h\" url: U (disabled) "
      "actions: [Press, AXDelete, Scroll Up By Page]");
  EXPECT_EQ(item({.title = ""})->buildReadableDescription(), "");
}

TEST(UIElementTreeSerializationTests, HostileTextPassesThrough) {
  const std::string illFormed = "\xc3\x28\xa0\xa1\xe2\x28\xf0\x9f";
  const std::string huge(5'000'000, 'x');
  const auto made = tree(
      item({.role = illFormed, .roleDescription = illFormed},
           {item({.role = "AXRow", .roleDescription = illFormed}, {staticText(illFormed), staticText(huge)}),
            item({.role = "AXTextArea",
                  .roleDescription = huge,
                  .elementDescription = huge,
                  .isValueSettable = true})}));
  made->assignIndices();
  const std::string text = made->serializeForAppState();
  EXPECT_TRUE(text.contains(huge));
  EXPECT_TRUE(text.starts_with("0 row "));
}

}  // namespace
}  // namespace tavik
