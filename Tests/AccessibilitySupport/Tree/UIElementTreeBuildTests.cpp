#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "AccessDesk.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Item = UIElementTree::Item;

const std::string timedOut = "AX tree build timed out; returned partial accessibility tree";

AXArray array(const std::vector<AXElement>& elements) {
  return AXArray(elements.begin(), elements.end());
}

/// "AXWindow[AXButton -]": roles with their children; "-" for a bare item and
/// "..." for the marker of a build that ran out of time.
std::string outline(const Item& item) {
  if (item.roleDescription == "AX tree truncated") return "...";
  std::string text = item.role.value_or("-");
  if (item.childItems.empty()) return text;
  std::string children;
  for (const auto& child : item.childItems) children += (children.empty() ? "" : " ") + outline(*child);
  return text + "[" + children + "]";
}

class UIElementTreeBuildTests : public testing::Test {
 protected:
  UIElementTreeBuildTests() { node(application).attributes["AXRole"] = "AXApplication"; }

  ScriptedNode& node(const AXElement& element) { return desk.port.at(element); }

  AXElement element(const std::string& role, const std::vector<AXElement>& children = {}) {
    AXElement made = desk.port.add(AccessDesk::appPID, {.attributes = {{"AXRole", role}}});
    if (!children.empty()) node(made).attributes["AXChildren"] = array(children);
    return made;
  }

  AXElement offScreenButton() {
    AXElement made = element("AXButton");
    node(made).actions = {"AXPress"};
    return made;
  }

  /// A list that shows one of its children and has the others too.
  AXElement listShowing(const AXElement& visible, std::vector<AXElement> others) {
    AXElement list = element("AXList");
    node(list).attributes["AXVisibleChildren"] = array({visible});
    others.insert(others.begin(), visible);
    node(list).attributes["AXChildren"] = array(others);
    return list;
  }

  std::shared_ptr<UIElementTree> build(std::optional<AXElement> root = std::nullopt, int maxDepth = 50,
                                       Duration timeout = seconds(5)) {
    return UIElementTree::build(desk.access, scheduler, AccessDesk::appPID, root, maxDepth, timeout);
  }

  std::string builtOutline(std::optional<AXElement> root, int maxDepth = 50) {
    std::string text;
    desk.run([&] { text = outline(*build(root, maxDepth)->rootItem); });
    return text;
  }

  /// The item read from one element with these attributes.
  std::shared_ptr<Item> itemWith(std::map<std::string, AXValue> attributes) {
    return build(desk.port.add(AccessDesk::appPID, {.attributes = std::move(attributes)}))->rootItem;
  }

  void everyCallTakes(Duration duration) {
    desk.port.intercept = [this, duration](const auto&) -> std::optional<AXErrorCode> {
      scheduler.sleep(duration);
      return std::nullopt;
    };
  }

  SimulatedScheduler scheduler;
  AccessDesk desk{scheduler};
  AXElement application = desk.port.createApplication(AccessDesk::appPID);
  MonotonicTime start;
  bool isHung = false;
};

// What is read of an element

TEST_F(UIElementTreeBuildTests, EveryFieldOfAnElementIsRead) {
  const AXElement field =
      desk.port.add(AccessDesk::appPID, {.attributes = {{"AXRole", "AXTextField"},
                                                        {"AXRoleDescription", "text field"},
                                                        {"AXTitle", "Name"},
                                                        {"AXValue", "Ada"},
                                                        {"AXDescription", "your name"},
                                                        {"AXPlaceholderValue", "Name here"},
                                                        {"AXIdentifier", "name"},
                                                        {"AXSubrole", "AXSearchField"},
                                                        {"AXFrame", Rect{{1, 2}, {30, 40}}},
                                                        {"AXEnabled", false},
                                                        {"AXSelected", true},
                                                        {"AXFocused", true},
                                                        {"AXHelp", "Who are you?"},
                                                        {"AXURL", AXURL{"file:///x"}}},
                                         .actions = {"AXConfirm", "AXShowMenu"},
                                         .settable = {"AXValue"}});
  desk.run([&] {
    const auto item = build(field)->rootItem;
    EXPECT_EQ(item->role, "AXTextField");
    EXPECT_EQ(item->roleDescription, "text field");
    EXPECT_EQ(item->title, "Name");
    EXPECT_EQ(item->value, "Ada");
    EXPECT_EQ(item->valueType, "string");
    EXPECT_EQ(item->elementDescription, "your name");
    EXPECT_EQ(item->placeholderValue, "Name here");
    EXPECT_EQ(item->identifier, "name");
    EXPECT_EQ(item->subrole, "AXSearchField");
    EXPECT_EQ(item->frame, (Rect{{1, 2}, {30, 40}}));
    EXPECT_FALSE(item->isEnabled);
    EXPECT_TRUE(item->isSelectable && item->isSelected && item->isFocused && item->isValueSettable);
    EXPECT_EQ(item->help, "Who are you?");
    EXPECT_EQ(item->url, AXURL{"file:///x"});
    EXPECT_THAT(item->actions, ElementsAre("AXConfirm", "AXShowMenu"));
    EXPECT_EQ(item->axElement, field);
    EXPECT_EQ(item->access, &desk.access);
    EXPECT_EQ(item->elementIndex, std::nullopt);
    EXPECT_EQ(item->syntheticFoldedRowLabel, std::nullopt);
  });
}

TEST_F(UIElementTreeBuildTests, AnElementThatSaysNothingGivesEmptyFieldsAndIsEnabled) {
  desk.run([&] {
    const auto item = itemWith({});
    EXPECT_EQ(item->role, std::nullopt);
    EXPECT_EQ(item->value, std::nullopt);
    EXPECT_EQ(item->valueType, std::nullopt);
    EXPECT_EQ(item->frame, std::nullopt);
    EXPECT_EQ(item->url, std::nullopt);
    EXPECT_TRUE(item->isEnabled);
    EXPECT_FALSE(item->isSelectable || item->isSelected || item->isFocused || item->isValueSettable);
  });
}

TEST_F(UIElementTreeBuildTests, ValuesAreWrittenAsTextAndNamedByTheirType) {
  struct Case {
    AXValue value;
    std::optional<std::string> text;
    std::optional<std::string> type;
  };
  const std::vector<Case> cases = {
      {"words", "words", "string"},
      {"", "", "string"},
      {true, "true", "bool"},
      {false, "false", "bool"},
      {0, "0", "float"},
      {-42, "-42", "float"},
      {std::numeric_limits<std::int64_t>::max(), "9223372036854775807", "float"},
      {3.0, "3", "float"},
      {0.5, "0.5", "float"},
      {-0.0, "0", "float"},
      {0.1, "0.1", "float"},
      {-12.25, "-12.25", "float"},
      {1e20, "100000000000000000000", "float"},
      {0.000001, "0.000001", "float"},
      {Point{1, 2}, std::nullopt, "value"},
      {Size{1, 2}, std::nullopt, "value"},
      {Rect{}, std::nullopt, "value"},
      {TextRange{1, 2}, std::nullopt, "value"},
      {AXURL{"https://example.com"}, std::nullopt, "url"},
      {AXAttributedText{"words"}, std::nullopt, std::nullopt},
      {AXArray{AXValue("words")}, std::nullopt, std::nullopt},
      {AXTextMarkerRange{}, std::nullopt, std::nullopt},
      {AXErrorMark{}, std::nullopt, std::nullopt},
  };
  desk.run([&] {
    for (const auto& expected : cases) {
      const auto item = itemWith({{"AXValue", expected.value}});
      EXPECT_EQ(item->value, expected.text);
      EXPECT_EQ(item->valueType, expected.type) << expected.text.value_or("no text");
    }
  });
}

TEST_F(UIElementTreeBuildTests, TheFrameIsARectangleAPointOrASize) {
  desk.run([&] {
    EXPECT_EQ(itemWith({{"AXFrame", Rect{{1, 2}, {3, 4}}}})->frame, (Rect{{1, 2}, {3, 4}}));
    EXPECT_EQ(itemWith({{"AXFrame", Point{5, 6}}})->frame, (Rect{{5, 6}, {0, 0}}));
    EXPECT_EQ(itemWith({{"AXFrame", Size{7, 8}}})->frame, (Rect{{0, 0}, {7, 8}}));
    EXPECT_EQ(itemWith({{"AXFrame", TextRange{1, 2}}})->frame, std::nullopt);
    EXPECT_EQ(itemWith({{"AXFrame", "1 2 3 4"}})->frame, std::nullopt);
  });
}

TEST_F(UIElementTreeBuildTests, AnythingPresentInSelectedMakesAnElementSelectable) {
  desk.run([&] {
    for (const AXValue& present : {AXValue(true), AXValue(false), AXValue("yes"), AXValue(1)}) {
      EXPECT_TRUE(itemWith({{"AXSelected", present}})->isSelectable);
    }
    EXPECT_FALSE(itemWith({{"AXSelected", AXValue()}})->isSelectable);
    EXPECT_FALSE(itemWith({{"AXSelected", AXErrorMark{}}})->isSelectable);
    EXPECT_FALSE(itemWith({{"AXSelected", 1}})->isSelected);
    EXPECT_FALSE(itemWith({{"AXFocused", "true"}})->isFocused);
    EXPECT_TRUE(itemWith({{"AXEnabled", 0}})->isEnabled);
  });
}

TEST_F(UIElementTreeBuildTests, AURLIsAURLOrATextThatCanBeOne) {
  desk.run([&] {
    EXPECT_EQ(itemWith({{"AXURL", "https://example.com/a?b#c"}})->url, AXURL{"https://example.com/a?b#c"});
    EXPECT_EQ(itemWith({{"AXURL", AXURL{"mailto:a@b.c"}}})->url, AXURL{"mailto:a@b.c"});
    EXPECT_EQ(itemWith({{"AXURL", ""}})->url, std::nullopt);
    EXPECT_EQ(itemWith({{"AXURL", "not a url"}})->url, std::nullopt);
    EXPECT_EQ(itemWith({{"AXURL", 80}})->url, std::nullopt);
  });
}

TEST_F(UIElementTreeBuildTests, AnElementThatFailsToNameItsActionsHasNone) {
  const AXElement button = offScreenButton();
  node(button).settable = {"AXValue"};
  desk.port.intercept = [](const auto& call) -> std::optional<AXErrorCode> {
    if (call.operation == "copyActionNames" || call.operation == "isAttributeSettable")
      return AXError::failure;
    return std::nullopt;
  };
  desk.run([&] {
    const auto item = build(button)->rootItem;
    EXPECT_EQ(item->role, "AXButton");
    EXPECT_THAT(item->actions, IsEmpty());
    EXPECT_FALSE(item->isValueSettable);
  });
}

TEST_F(UIElementTreeBuildTests, OneNodeCostsOneBatchedReadAndAFewSingleOnes) {
  desk.run([&] {
    build(element("AXButton"));
    EXPECT_THAT(desk.port.calls(),
                ElementsAre("copyAttributeValue AXRole", "beginReadScope", "copyMultipleAttributeValues",
                            "copyActionNames", "isAttributeSettable AXValue",
                            "copyAttributeValue AXVisibleChildren", "getAttributeValueCount AXChildren",
                            "copyAttributeValue AXSelectedChildren", "copyAttributeValue AXSelectedRows",
                            "copyAttributeValue AXSelectedCells", "copyAttributeValue AXFocusedUIElement"));
    EXPECT_EQ(desk.port.openReadScopes(), 0);
  });
}

// Depth and children

TEST_F(UIElementTreeBuildTests, WithoutARootTheWholeApplicationIsRead) {
  node(application).attributes["AXChildren"] = array({element("AXWindow", {element("AXButton")})});
  desk.run([&] {
    const auto tree = build();
    EXPECT_EQ(outline(*tree->rootItem), "AXApplication[AXWindow[AXButton]]");
    EXPECT_EQ(tree->pid, AccessDesk::appPID);
    EXPECT_THAT(tree->diagnostics, IsEmpty());
    EXPECT_EQ(tree->rootItem->childItems[0]->parentItem(), tree->rootItem);
    EXPECT_EQ(tree->rootItem->parentItem(), nullptr);
  });
}

TEST_F(UIElementTreeBuildTests, BelowTheDepthLimitStandBareItems) {
  const AXElement grandchild = element("AXButton", {element("AXImage")});
  const AXElement root = element("AXWindow", {element("AXGroup", {grandchild})});
  desk.run([&] {
    const auto tree = build(root, 2);
    EXPECT_EQ(outline(*tree->rootItem), "AXWindow[AXGroup[-]]");
    const auto bare = tree->findItem(grandchild);
    ASSERT_NE(bare, nullptr);
    EXPECT_TRUE(bare->isEnabled);
    EXPECT_THAT(bare->actions, IsEmpty());
    tree->assignIndices();
    EXPECT_THAT(tree->serializeForAppState(), IsEmpty());
  });
}

TEST_F(UIElementTreeBuildTests, ADepthOfNothingGivesABareRoot) {
  EXPECT_EQ(builtOutline(element("AXWindow"), 0), "-");
}

TEST_F(UIElementTreeBuildTests, AnElementThatCannotBeReadIsABareChildAndNotAMissingOne) {
  const AXElement broken = element("AXGroup", {element("AXImage")});
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    if (call.element == broken) return AXError::failure;
    return std::nullopt;
  };
  EXPECT_EQ(builtOutline(element("AXWindow", {element("AXButton"), broken, element("AXSlider")})),
            "AXWindow[AXButton - AXSlider]");
}

TEST_F(UIElementTreeBuildTests, FiveHundredChildrenAreNotReadSaveForSelectedOnes) {
  std::vector<AXElement> rows;
  for (int i = 0; i < 500; ++i) rows.push_back(element("AXRow"));
  const AXElement list = element("AXList", rows);
  node(list).attributes["AXSelectedRows"] = array({rows[400], rows[3]});
  desk.run([&] {
    const auto tree = build(list);
    ASSERT_EQ(tree->rootItem->childItems.size(), 2u);
    EXPECT_EQ(tree->rootItem->childItems[0]->axElement, rows[400]);
    EXPECT_EQ(tree->rootItem->childItems[1]->axElement, rows[3]);
    EXPECT_EQ(desk.port.callCount("copyAttributeValues AXChildren"), 0);

    rows.pop_back();
    EXPECT_EQ(build(element("AXList", rows))->rootItem->childItems.size(), 499u);
  });
}

TEST_F(UIElementTreeBuildTests, SelectedChildrenAreAppendedOnceInTheOrderOfTheAttributes) {
  const AXElement child = element("AXButton");
  const AXElement cell = element("AXCell");
  const AXElement row = element("AXRow");
  const AXElement item = element("AXMenuItem");
  const AXElement table = element("AXTable", {child});
  node(table).attributes["AXSelectedCells"] = array({cell, row});
  node(table).attributes["AXSelectedRows"] = array({row, child, item});
  node(table).attributes["AXSelectedChildren"] = array({child, item});
  EXPECT_EQ(builtOutline(table), "AXTable[AXButton AXMenuItem AXRow AXCell]");
}

TEST_F(UIElementTreeBuildTests, ASelectionThatIsNoArrayOrFailsIsPassedOver) {
  const AXElement cell = element("AXCell");
  const AXElement table = element("AXTable");
  node(table).attributes["AXSelectedChildren"] = "all";
  node(table).attributeErrors["AXSelectedRows"] = AXError::failure;
  node(table).attributes["AXSelectedCells"] = AXArray{AXValue("x"), AXValue(AXElement()), AXValue(cell)};
  EXPECT_EQ(builtOutline(table), "AXTable[AXCell]");
}

// Supplemental children

TEST_F(UIElementTreeBuildTests, AToolbarThatTheWindowDoesNotShowIsKeptAfterTheVisibleChildren) {
  const AXElement window = element("AXWindow");
  const AXElement toolbar = element("AXToolbar");
  const AXElement content = element("AXGroup");
  const AXElement hidden = element("AXGroup");
  node(window).attributes["AXChildren"] = array({toolbar, hidden, content});
  node(window).attributes["AXVisibleChildren"] = array({content});
  EXPECT_EQ(builtOutline(window), "AXWindow[AXGroup AXToolbar]");
}

TEST_F(UIElementTreeBuildTests, OfThirtyOffScreenButtonsTheFirstTwentyFourAreKept) {
  std::vector<AXElement> buttons;
  for (int i = 0; i < 30; ++i) buttons.push_back(offScreenButton());
  const AXElement list = listShowing(element("AXStaticText"), buttons);
  desk.run([&] {
    const auto tree = build(list);
    const auto& children = tree->rootItem->childItems;
    ASSERT_EQ(children.size(), 25u);
    EXPECT_EQ(children[0]->role, "AXStaticText");
    EXPECT_EQ(children[24]->axElement, buttons[23]);
  });
}

TEST_F(UIElementTreeBuildTests, TheSearchEndsAfterNinetySixChildrenNotCountingVisibleOnes) {
  for (const auto& [plainOnes, isFound] : {std::pair{95, true}, std::pair{96, false}}) {
    SCOPED_TRACE(plainOnes);
    SimulatedScheduler ownScheduler;
    AccessDesk ownDesk(ownScheduler);
    const auto make = [&](const char* role) {
      return ownDesk.port.add(AccessDesk::appPID, {.attributes = {{"AXRole", role}}});
    };
    std::vector<AXElement> visible;
    for (int i = 0; i < 50; ++i) visible.push_back(make("AXStaticText"));
    std::vector<AXElement> all = visible;
    for (int i = 0; i < plainOnes; ++i) all.push_back(make("AXStaticText"));
    all.push_back(make("AXToolbar"));
    const AXElement list = make("AXList");
    ownDesk.port.at(list).attributes["AXVisibleChildren"] = array(visible);
    ownDesk.port.at(list).attributes["AXChildren"] = array(all);
    ownDesk.port.at(ownDesk.port.createApplication(AccessDesk::appPID)).attributes["AXRole"] =
        "AXApplication";
    ownDesk.run([&] {
      const auto tree =
          UIElementTree::build(ownDesk.access, ownScheduler, AccessDesk::appPID, list, 50, seconds(5));
      EXPECT_EQ(tree->rootItem->childItems.size(), isFound ? 51u : 50u);
    });
  }
}

TEST_F(UIElementTreeBuildTests, OffScreenChildrenAreKeptWhenTheyAreContentOrCanBeActedOn) {
  const AXElement web = element("AXWebArea");
  const AXElement html = element("AXGroup");
  node(html).attributes["AXRoleDescription"] = "some html Inhalt";
  const AXElement idleButton = element("AXButton");
  const AXElement field = element("AXTextField");
  node(field).settable = {"AXValue"};
  const AXElement fixedField = element("AXTextField");
  const AXElement actingGroup = element("AXGroup");
  node(actingGroup).actions = {"AXPress"};
  const AXElement combo = element("AXComboBox");
  node(combo).settable = {"AXValue"};
  const AXElement list = listShowing(element("AXStaticText"), {web, html, idleButton, field, fixedField,
                                                               actingGroup, combo, offScreenButton()});
  EXPECT_EQ(builtOutline(list), "AXList[AXStaticText AXWebArea AXGroup AXTextField AXComboBox AXButton]");
}

TEST_F(UIElementTreeBuildTests, AButtonEightLevelsDownKeepsItsAncestorAndOneNineLevelsDownDoesNot) {
  const auto buttonUnder = [&](int groups) {
    AXElement top = offScreenButton();
    for (int i = 0; i < groups; ++i) top = element("AXGroup", {top});
    return top;
  };
  const AXElement reachable = buttonUnder(8);
  const AXElement tooDeep = buttonUnder(9);
  const AXElement list = listShowing(element("AXStaticText"), {tooDeep, reachable});
  desk.run([&] {
    const auto tree = build(list);
    EXPECT_NE(tree->findItem(reachable), nullptr);
    EXPECT_EQ(tree->findItem(tooDeep), nullptr);
  });
}

TEST_F(UIElementTreeBuildTests, FiveHundredOffScreenChildrenAreNotSearched) {
  std::vector<AXElement> buttons;
  for (int i = 0; i < 499; ++i) buttons.push_back(offScreenButton());
  EXPECT_EQ(builtOutline(listShowing(element("AXStaticText"), buttons)), "AXList[AXStaticText]");
}

TEST_F(UIElementTreeBuildTests, AnEmptyListOfVisibleChildrenMeansAllChildren) {
  const AXElement list = element("AXList", {element("AXStaticText")});
  node(list).attributes["AXVisibleChildren"] = AXArray();
  EXPECT_EQ(builtOutline(list), "AXList[AXStaticText]");
}

// Focus

TEST_F(UIElementTreeBuildTests, TheFocusedElementIsFoundInTheTree) {
  const AXElement field = element("AXTextField");
  node(application).attributes["AXFocusedUIElement"] = field;
  desk.run([&] {
    const auto tree = build(element("AXWindow", {field}));
    EXPECT_EQ(tree->focusedElement, tree->rootItem->childItems[0]);
  });
}

TEST_F(UIElementTreeBuildTests, AFocusedElementOutsideTheTreeOrOfNoUseLeavesTheFocusEmpty) {
  desk.run([&] {
    for (const AXValue& focused : {AXValue(element("AXTextField")), AXValue("field"), AXValue(AXElement())}) {
      node(application).attributes["AXFocusedUIElement"] = focused;
      EXPECT_EQ(build(element("AXWindow"))->focusedElement, nullptr);
    }
    node(application).attributes.erase("AXFocusedUIElement");
    EXPECT_EQ(build(element("AXWindow"))->focusedElement, nullptr);
  });
}

// Time

TEST_F(UIElementTreeBuildTests, EveryBuildWaitsAHundredMillisecondsFirst) {
  desk.run([&] {
    const MonotonicTime start = scheduler.now();
    build(element("AXWindow"));
    EXPECT_EQ(scheduler.now() - start, milliseconds(100));
  });
}

TEST_F(UIElementTreeBuildTests, ABuildWithoutTimeGivesAMarkerAndOneDiagnostic) {
  const AXElement window = element("AXWindow");
  desk.run([&] {
    for (const Duration none : {Duration(0), seconds(-3)}) {
      const MonotonicTime start = scheduler.now();
      const auto tree = build(window, 50, none);
      EXPECT_EQ(scheduler.now(), start);
      EXPECT_EQ(tree->rootItem->role, "AXGroup");
      EXPECT_EQ(tree->rootItem->roleDescription, "AX tree truncated");
      EXPECT_EQ(tree->rootItem->elementDescription,
                "AX tree build budget was reached; call get_app_state again if more detail is needed.");
      EXPECT_TRUE(tree->rootItem->isEnabled);
      EXPECT_EQ(tree->rootItem->axElement, window);
      EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
    }
    EXPECT_THAT(desk.port.calls(), ElementsAre("beginReadScope", "beginReadScope"));
  });
}

TEST_F(UIElementTreeBuildTests, TheSettleWaitEndsWithTheFirstAnswerOfTheApplication) {
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    const bool isStarting = call.element == application && scheduler.now() < start + milliseconds(250);
    return isStarting ? std::optional(AXError::failure) : std::nullopt;
  };
  desk.run([&] {
    start = scheduler.now();
    EXPECT_EQ(outline(*build(element("AXWindow"))->rootItem), "AXWindow");
    EXPECT_EQ(scheduler.now() - start, milliseconds(300));
  });
}

TEST_F(UIElementTreeBuildTests, AnApplicationThatNeverAnswersUsesUpTheWholeBudget) {
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    return call.element == application ? std::optional(AXError::failure) : std::nullopt;
  };
  desk.run([&] {
    const MonotonicTime start = scheduler.now();
    const auto tree = build(element("AXWindow"), 50, seconds(2));
    EXPECT_EQ(scheduler.now() - start, seconds(2));
    EXPECT_EQ(outline(*tree->rootItem), "...");
    EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
    EXPECT_EQ(tree->focusedElement, nullptr);
  });
}

TEST_F(UIElementTreeBuildTests, ABuildIsCancelledWhileItWaits) {
  desk.run([&] {
    bool wasCancelled = false;
    const Task task = scheduler.start("building", [&] {
      try {
        build(element("AXWindow"));
      } catch (const CancellationError&) {
        wasCancelled = true;
      }
    });
    scheduler.sleep(milliseconds(50));
    const MonotonicTime start = scheduler.now();
    task.cancel();
    task.join();
    EXPECT_TRUE(wasCancelled);
    EXPECT_EQ(scheduler.now(), start);
  });
}

TEST_F(UIElementTreeBuildTests, TheDeadlineBetweenTwoSiblingsPutsOneMarkerAtEachOpenLevel) {
  const AXElement last = element("AXSlider");
  const AXElement group =
      element("AXGroup", {element("AXButton"), last, element("AXImage"), element("AXImage")});
  const AXElement window = element("AXWindow", {group, element("AXToolbar"), element("AXToolbar")});
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    if (call.element == last && call.name == "AXSelectedCells") scheduler.sleep(seconds(5));
    return std::nullopt;
  };
  desk.run([&] {
    const auto tree = build(window);
    EXPECT_EQ(outline(*tree->rootItem), "AXWindow[AXGroup[AXButton AXSlider ...] ...]");
    EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
    EXPECT_EQ(tree->rootItem->childItems[0]->childItems[2]->parentItem(), tree->rootItem->childItems[0]);
  });
}

TEST_F(UIElementTreeBuildTests, ATimeOutNoticedOnlyAtTheEndIsNotInTheDiagnosticsAndLeavesTheFocusEmpty) {
  const AXElement window = element("AXWindow");
  node(application).attributes["AXFocusedUIElement"] = window;
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    if (call.name == "AXSelectedCells") scheduler.sleep(seconds(5));
    return std::nullopt;
  };
  desk.run([&] {
    const auto tree = build(window);
    EXPECT_EQ(outline(*tree->rootItem), "AXWindow");
    EXPECT_THAT(tree->diagnostics, IsEmpty());
    EXPECT_EQ(tree->focusedElement, nullptr);
  });
}

TEST_F(UIElementTreeBuildTests, ADeadlineDuringTheSupplementalSearchEndsIt) {
  std::vector<AXElement> buttons;
  for (int i = 0; i < 10; ++i) buttons.push_back(offScreenButton());
  const AXElement list = listShowing(element("AXStaticText"), buttons);
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    if (call.element == buttons[3]) scheduler.sleep(seconds(5));
    return std::nullopt;
  };
  desk.run([&] {
    const auto tree = build(list);
    EXPECT_EQ(outline(*tree->rootItem), "AXList[...]");
    EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
    EXPECT_EQ(desk.port.callCount("copyMultipleAttributeValues"), 1);
  });
}

TEST_F(UIElementTreeBuildTests, ASlowApplicationIsReadAsFarAsTheBudgetGoes) {
  std::vector<AXElement> windows;
  for (int i = 0; i < 400; ++i) windows.push_back(element("AXWindow", {element("AXButton")}));
  node(application).attributes["AXChildren"] = array(windows);
  everyCallTakes(milliseconds(10));
  desk.run([&] {
    const MonotonicTime start = scheduler.now();
    const auto tree = build(std::nullopt, 50, seconds(2));
    EXPECT_LE(scheduler.now() - start, milliseconds(2100));
    EXPECT_GT(tree->rootItem->childItems.size(), 5u);
    EXPECT_EQ(outline(*tree->rootItem->childItems.back()), "...");
    EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
  });
}

// Hostile applications

TEST_F(UIElementTreeBuildTests, AHungApplicationYieldsBareItemsWithoutOneTimeOutEach) {
  std::vector<AXElement> windows;
  for (int i = 0; i < 300; ++i) windows.push_back(element("AXWindow", {element("AXButton")}));
  node(application).attributes["AXChildren"] = array(windows);
  desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
    if (call.element == windows[0]) isHung = true;
    if (!isHung) return std::nullopt;
    scheduler.sleep(seconds(1));
    return AXError::cannotComplete;
  };
  desk.run([&] {
    const MonotonicTime start = scheduler.now();
    const auto tree = build(std::nullopt, 50, seconds(60));
    EXPECT_LE(scheduler.now() - start, seconds(10));
    ASSERT_EQ(tree->rootItem->childItems.size(), 300u);
    for (const auto& child : tree->rootItem->childItems) EXPECT_EQ(outline(*child), "-");
    EXPECT_EQ(tree->focusedElement, nullptr);
    EXPECT_LE(desk.port.callCount("copyMultipleAttributeValues"), 4);
  });
}

TEST_F(UIElementTreeBuildTests, AnElementThatDiesWhileItIsReadGivesWhatWasReadOfIt) {
  const AXElement dying = element("AXGroup", {element("AXButton")});
  const AXElement window = element("AXWindow", {dying, element("AXSlider")});
  for (int survivedCalls = 0; survivedCalls < 9; ++survivedCalls) {
    SCOPED_TRACE(survivedCalls);
    SimulatedScheduler ownScheduler;
    MainQueue mainQueue(ownScheduler);
    AXWrapper access(desk.port, desk.process, ownScheduler, mainQueue);
    int calls = 0;
    desk.port.intercept = [&](const auto& call) -> std::optional<AXErrorCode> {
      if (call.element != dying || calls++ < survivedCalls) return std::nullopt;
      return AXError::invalidUIElement;
    };
    ownScheduler.run([&] {
      const auto tree =
          UIElementTree::build(access, ownScheduler, AccessDesk::appPID, window, 50, seconds(5));
      ASSERT_EQ(tree->rootItem->childItems.size(), 2u);
      EXPECT_EQ(tree->rootItem->childItems[0]->axElement, dying);
      EXPECT_EQ(outline(*tree->rootItem->childItems[1]), "AXSlider");
      EXPECT_EQ(outline(*tree->rootItem->childItems[0]), survivedCalls == 0  ? "-"
                                                         : survivedCalls < 6 ? "AXGroup"
                                                                             : "AXGroup[AXButton]");
    });
  }
}

TEST_F(UIElementTreeBuildTests, ACycleEndsAtTheDepthLimit) {
  const AXElement parent = element("AXGroup");
  const AXElement child = element("AXGroup", {parent});
  node(parent).attributes["AXChildren"] = array({child});
  desk.run([&] {
    const auto tree = build(parent, 50);
    EXPECT_EQ(tree->allItems().size(), 51u);
    EXPECT_EQ(outline(*tree->allItems().back()), "-");
    EXPECT_THAT(tree->diagnostics, IsEmpty());
  });
}

TEST_F(UIElementTreeBuildTests, ABranchingCycleEndsAtTheDeadline) {
  const AXElement parent = element("AXGroup");
  node(parent).attributes["AXChildren"] = array({parent, parent, parent});
  everyCallTakes(milliseconds(1));
  desk.run([&] {
    const MonotonicTime start = scheduler.now();
    const auto tree = build(parent, 50, seconds(2));
    EXPECT_LE(scheduler.now() - start, milliseconds(2020));
    EXPECT_THAT(tree->diagnostics, ElementsAre(timedOut));
    EXPECT_GT(tree->allItems().size(), 100u);
  });
}

TEST_F(UIElementTreeBuildTests, ACycleAmongOffScreenChildrenIsSearchedToItsLimit) {
  const AXElement group = element("AXGroup");
  node(group).attributes["AXChildren"] = array({group});
  EXPECT_EQ(builtOutline(listShowing(element("AXStaticText"), {group})), "AXList[AXStaticText]");
}

TEST_F(UIElementTreeBuildTests, AHundredThousandNodesAreRead) {
  std::vector<AXElement> groups;
  for (int i = 0; i < 250; ++i) {
    std::vector<AXElement> texts;
    for (int j = 0; j < 399; ++j) texts.push_back(element("AXStaticText"));
    groups.push_back(element("AXGroup", texts));
  }
  desk.run([&] {
    const auto tree = build(element("AXWindow", groups));
    EXPECT_EQ(tree->allItems().size(), 100'001u);
    EXPECT_THAT(tree->diagnostics, IsEmpty());
  });
}

TEST_F(UIElementTreeBuildTests, AnyKindOfValueInAnyAttributeGivesATree) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const AXElement child = element("AXButton");
  const std::vector<AXValue> garbage = {AXValue(),
                                        std::string(1'000'000, 'x'),
                                        "\xff\xfe\x80",
                                        std::string("a\0b", 3),
                                        true,
                                        std::numeric_limits<std::int64_t>::min(),
                                        nan,
                                        -infinity,
                                        1e308,
                                        5e-324,
                                        Point{nan, infinity},
                                        Size{-1, nan},
                                        Rect{{infinity, nan}, {-5, -5}},
                                        TextRange{-7, std::numeric_limits<long>::max()},
                                        AXURL{""},
                                        AXElement(),
                                        child,
                                        AXArray{},
                                        AXArray{AXValue(), AXValue("x"), AXValue(AXArray{AXValue(child)})},
                                        AXArray{AXValue(AXElement()), AXValue(child), AXValue(child)},
                                        AXAttributedText{"x"},
                                        AXTextMarkerRange{},
                                        AXErrorMark{}};
  std::vector<std::string> attributes = AXAttributes::batchAttributes;
  for (const char* name :
       {"AXChildren", "AXVisibleChildren", "AXSelectedChildren", "AXSelectedRows", "AXSelectedCells"}) {
    attributes.emplace_back(name);
  }
  desk.run([&] {
    for (const auto& value : garbage) {
      std::map<std::string, AXValue> everything;
      for (const auto& attribute : attributes) {
        const auto item = itemWith({{attribute, value}});
        EXPECT_EQ(item->role.has_value(), attribute == "AXRole" && value.get<std::string>());
        EXPECT_LE(item->childItems.size(), 2u);
        everything[attribute] = value;
      }
      node(application).attributes["AXFocusedUIElement"] = value;
      const auto tree = build(desk.port.add(AccessDesk::appPID, {.attributes = everything}));
      EXPECT_EQ(tree->rootItem->title.has_value(), value.get<std::string>() != nullptr);
      EXPECT_THAT(tree->diagnostics, IsEmpty());
    }
  });
}

}  // namespace
}  // namespace tavik
