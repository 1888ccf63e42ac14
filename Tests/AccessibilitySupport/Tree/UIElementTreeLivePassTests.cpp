#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "LiveTree.h"
#include "Tests/Support/EmptyWorkspace.h"

// The passes that ask the live elements, on elements that answer to the letter.

namespace tavik {
namespace {

using enum UIElementTreeTransformation;
using testing::IsEmpty;

/// Knows which application one process is.
class OneApplication : public EmptyWorkspace {
 public:
  std::optional<RunningApplication> runningApplication(std::int32_t pid) override {
    ++questions;
    if (pid != AccessDesk::appPID) return std::nullopt;
    RunningApplication application;
    application.pid = pid;
    application.bundleIdentifier = bundleIdentifier;
    return application;
  }

  std::optional<std::string> bundleIdentifier;
  int questions = 0;
};

class UIElementTreeLivePassTests : public testing::Test {
 protected:
  void apply(UIElementTreeTransformation pass, std::initializer_list<std::shared_ptr<Item>> items) {
    root_ = item({.role = "AXWindow"}, items);
    desk_.run([&] { runner_.applyPass(pass, root_); });
  }

  SimulatedScheduler scheduler_;
  AccessDesk desk_{scheduler_};
  LiveTree live_{desk_};
  OneApplication workspace_;
  UIElementTreeTransformationRunner runner_{workspace_};
  std::shared_ptr<Item> root_;
};

TEST_F(UIElementTreeLivePassTests, AnItemTakesTheTitleOfItsLabel) {
  const auto label = live_.item({.title = "Name:", .value = "unused"});
  const auto field = live_.item({}, {.attributes = {{"AXTitleUIElement", label->axElement}}});
  apply(associateTitleUIElements, {field, label});
  EXPECT_EQ(field->title, "Name:");
}

TEST_F(UIElementTreeLivePassTests, AnItemTakesTheValueOfALabelWithoutTitle) {
  const auto label = live_.item({.value = "Name:"});
  const auto field = live_.item({.title = ""}, {.attributes = {{"AXTitleUIElement", label->axElement}}});
  apply(associateTitleUIElements, {label, field});
  EXPECT_EQ(field->title, "Name:");
}

TEST_F(UIElementTreeLivePassTests, AnItemKeepsTheTitleThatItHas) {
  const auto label = live_.item({.title = "Name:"});
  const auto field = live_.item({.title = "own"}, {.attributes = {{"AXTitleUIElement", label->axElement}}});
  apply(associateTitleUIElements, {label, field});
  EXPECT_EQ(field->title, "own");
}

TEST_F(UIElementTreeLivePassTests, ALabelElsewhereOrOfAnotherKindGivesNoTitle) {
  const auto elsewhere = live_.item({.title = "Name:"});
  const auto box = item({.role = "AXGroup"}, {elsewhere});
  const auto far = live_.item({}, {.attributes = {{"AXTitleUIElement", elsewhere->axElement}}});
  const auto odd = live_.item({}, {.attributes = {{"AXTitleUIElement", "Name:"}}});
  const auto broken = live_.item({}, {.attributeErrors = {{"AXTitleUIElement", AXError::noValue}}});
  const auto plain = item({.role = "AXTextField"});
  apply(associateTitleUIElements, {box, far, odd, broken, plain});
  for (const auto& item : {far, odd, broken, plain}) EXPECT_EQ(item->title, std::nullopt);
}

TEST_F(UIElementTreeLivePassTests, GroupsOfTheCalendarAreEmptied) {
  workspace_.bundleIdentifier = "com.apple.iCal";
  const auto event =
      live_.item({.role = "AXGroup", .title = "Lunch"}, {}, {staticText("12:00"), staticText("Café")});
  const auto second = live_.item({.role = "AXGroup", .title = "Tea"}, {}, {staticText("16:00")});
  const auto list = live_.item({.role = "AXList"}, {}, {staticText("kept")});
  const auto unknown = item({.role = "AXGroup"}, {staticText("kept")});
  apply(removeElementsUnderCalendarEvents, {event, second, list, unknown});
  EXPECT_THAT(event->childItems, IsEmpty());
  EXPECT_THAT(second->childItems, IsEmpty());
  EXPECT_EQ(list->childItems.size(), 1u);
  EXPECT_EQ(unknown->childItems.size(), 1u);
  EXPECT_EQ(workspace_.questions, 1);
}

TEST_F(UIElementTreeLivePassTests, GroupsOfOtherApplicationsKeepTheirChildren) {
  const auto group = live_.item({.role = "AXGroup"}, {}, {staticText("kept")});
  workspace_.bundleIdentifier = "org.example.Calendar";
  apply(removeElementsUnderCalendarEvents, {group});
  EXPECT_EQ(group->childItems.size(), 1u);
}

TEST_F(UIElementTreeLivePassTests, GroupsOfAProcessThatCannotBeToldKeepTheirChildren) {
  workspace_.bundleIdentifier = "com.apple.iCal";
  const auto group =
      item({.role = "AXGroup", .axElement = desk_.port.addWithoutPID(), .access = &desk_.access},
           {staticText("kept")});
  apply(removeElementsUnderCalendarEvents, {group});
  EXPECT_EQ(group->childItems.size(), 1u);
}

const AXValue visibleRange = TextRange{3, 8};

TEST_F(UIElementTreeLivePassTests, ATextAreaShowsItsVisibleAttributedText) {
  const auto area = live_.item({.role = "AXTextArea", .value = "all of it"},
                               {.attributes = {{"AXVisibleCharacterRange", visibleRange},
                                               {"AXAttributedStringForRange", AXAttributedText{"in sight"}},
                                               {"AXStringForRange", "plain"}}});
  apply(retrieveAttributedTextFromTextAreas, {area});
  EXPECT_EQ(area->value, "in sight");
  EXPECT_EQ(desk_.port.lastParameter, visibleRange);
}

TEST_F(UIElementTreeLivePassTests, ATextAreaWithoutAttributedTextShowsItsPlainText) {
  const auto area =
      live_.item({.role = "AXTextArea"}, {.attributes = {{"AXVisibleCharacterRange", visibleRange},
                                                         {"AXAttributedStringForRange", "no attributes"},
                                                         {"AXStringForRange", "plain"}}});
  apply(retrieveAttributedTextFromTextAreas, {area});
  EXPECT_EQ(area->value, "plain");
}

TEST_F(UIElementTreeLivePassTests, TextMarkersServeWhereRangesGiveNothing) {
  const AXValue selected = "selected markers";
  const AXValue all = "all markers";
  const auto withSelection =
      live_.item({.role = "AXWebArea"},
                 {.attributes = {{"AXVisibleCharacterRange", visibleRange},
                                 {"AXSelectedTextMarkerRange", selected},
                                 {"AXTextMarkerRange", all},
                                 {"AXAttributedStringForTextMarkerRange", AXAttributedText{"marked"}}}});
  apply(retrieveAttributedTextFromWebAreas, {withSelection});
  EXPECT_EQ(withSelection->value, "marked");
  EXPECT_EQ(desk_.port.lastParameter, selected);
}

TEST_F(UIElementTreeLivePassTests, TheWholeMarkerRangeServesWithoutASelectedOne) {
  const AXValue all = "all markers";
  const auto area =
      live_.item({.role = "AXWebArea"},
                 {.attributes = {{"AXTextMarkerRange", all}, {"AXStringForTextMarkerRange", "marked"}}});
  apply(retrieveAttributedTextFromWebAreas, {area});
  EXPECT_EQ(area->value, "marked");
  EXPECT_EQ(desk_.port.lastParameter, all);
}

TEST_F(UIElementTreeLivePassTests, AnAreaWithoutVisibleTextStaysAsItIs) {
  const auto silent = live_.item({.role = "AXTextArea", .value = "old"});
  const auto empty = live_.item({.role = "AXTextArea", .value = "old"},
                                {.attributes = {{"AXVisibleCharacterRange", visibleRange},
                                                {"AXAttributedStringForRange", AXAttributedText{""}},
                                                {"AXTextMarkerRange", "markers"},
                                                {"AXStringForTextMarkerRange", "not asked for"}}});
  const auto plain = item({.role = "AXTextArea", .value = "old"});
  apply(retrieveAttributedTextFromTextAreas, {silent, empty, plain});
  for (const auto& area : {silent, empty, plain}) EXPECT_EQ(area->value, "old");
}

TEST_F(UIElementTreeLivePassTests, EachAreaPassKeepsToItsRole) {
  const ScriptedNode node = {
      .attributes = {{"AXVisibleCharacterRange", visibleRange}, {"AXStringForRange", "new"}}};
  const auto text = live_.item({.role = "AXTextArea", .value = "old"}, node);
  const auto web = live_.item({.role = "AXWebArea", .value = "old"}, node);
  const auto field = live_.item({.role = "AXTextField", .value = "old"}, node);
  apply(retrieveAttributedTextFromTextAreas, {text, web, field});
  EXPECT_EQ(text->value, "new");
  EXPECT_EQ(web->value, "old");
  EXPECT_EQ(field->value, "old");
}

TEST_F(UIElementTreeLivePassTests, AWebAreaLosesItsInaccessibilityNoticeOnceTextIsFound) {
  for (const char* notice :
       {"Use SCREEN Reader Optimized Mode to read", "The editor is not accessible at this time."}) {
    const auto area = live_.item(
        {.role = "AXWebArea", .elementDescription = notice},
        {.attributes = {{"AXVisibleCharacterRange", visibleRange}, {"AXStringForRange", "int main"}}});
    const auto root = item({}, {area});
    SimulatedScheduler scheduler;
    scheduler.run([&] { runner_.applyPass(retrieveAttributedTextFromWebAreas, root); });
    EXPECT_EQ(area->value, "int main");
    EXPECT_EQ(area->elementDescription, std::nullopt);
  }
}

TEST_F(UIElementTreeLivePassTests, AWebAreaKeepsItsNoticeWithoutTextAndAnyOtherDescription) {
  const char* notice = "screen reader optimized mode";
  const auto silent = live_.item({.role = "AXWebArea", .elementDescription = notice});
  const auto other =
      live_.item({.role = "AXWebArea", .elementDescription = "A page"},
                 {.attributes = {{"AXVisibleCharacterRange", visibleRange}, {"AXStringForRange", "text"}}});
  apply(retrieveAttributedTextFromWebAreas, {silent, other});
  EXPECT_EQ(silent->elementDescription, notice);
  EXPECT_EQ(other->elementDescription, "A page");
}

TEST_F(UIElementTreeLivePassTests, AnApplicationInCooldownIsLeftInPeaceAndTheTreeStillComesOut) {
  desk_.port.intercept = [](const auto&) { return AXError::cannotComplete; };
  const auto made =
      tree(live_.item({.role = "AXWindow", .title = "W"}, {},
                      {live_.item({.role = "AXTextArea", .value = "a"}),
                       live_.item({.role = "AXGroup", .title = "g"}, {}, {live_.item({.title = "b"})})}));
  desk_.run([&] { runner_.transform(*made); });
  EXPECT_EQ(made->serializeForAppState(), "0 Window W\n\t1 TextArea a\n\t2 Group g\n\t\t3 element b");
  EXPECT_EQ(desk_.port.calls().size(), 1u);
}

TEST_F(UIElementTreeLivePassTests, ActionsAreCalledWhatTheApplicationCallsThem) {
  const auto item =
      live_.item({.role = "AXButton",
                  .actions = {"AXDelete", "AXZoomWindow", "AXPick", "Shake", "Page By Page", "Mute"}},
                 {.actionDescriptions = {{"AXDelete", "Throw away"},
                                         {"AXZoomWindow", "Fill"},
                                         {"AXPick", "not asked for"},
                                         {"Shake", "shake it"},
                                         {"Page By Page", "Turn By Page"},
                                         {"Mute", ""}}});
  EXPECT_EQ(item->appStateDescriptionWithoutIndex(),
            "Button Secondary Actions: Throw away, Fill, Pick, shake it, Turn");
  EXPECT_EQ(item->appStateActionName("AXDelete"), "Throw away");
  EXPECT_EQ(item->actionDescription("Mute"), std::nullopt);
}

}  // namespace
}  // namespace tavik
