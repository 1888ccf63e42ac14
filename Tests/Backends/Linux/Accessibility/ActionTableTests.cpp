#include "Backends/Linux/Accessibility/ActionTable.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

using Role = AccessibleRole;
using Names = std::vector<std::string>;

AccessibleFacts factsWith(Role role, const Names& ownNames, std::uint32_t interfaces = actionInterface) {
  AccessibleFacts facts;
  facts.role = role;
  facts.interfaces = interfaces;
  facts.states = std::uint64_t{1} << static_cast<int>(AccessibleState::enabled);
  for (const std::string& name : ownNames) facts.actions.push_back({.name = name});
  return facts;
}

Names translate(const AccessibleFacts& facts, Toolkit toolkit = Toolkit::gtk3) {
  Names names;
  for (const ActionTranslation& action : translateActions({.facts = facts, .toolkit = toolkit})) {
    names.push_back(action.name);
  }
  return names;
}

TEST(ActionTableTests, EveryToolkitsPressIsAPress) {
  for (const char* name :
       {"click", "press", "Press", "toggle", "Toggle", "jump", "check", "uncheck", "open"}) {
    EXPECT_EQ(translate(factsWith(Role::pushButton, {name})), Names{"AXPress"}) << name;
  }
}

TEST(ActionTableTests, ActivatingATextFieldConfirmsIt) {
  EXPECT_EQ(translate(factsWith(Role::text, {"activate"})), Names{"AXConfirm"});
  EXPECT_EQ(translate(factsWith(Role::icon, {"activate"})), Names{"AXPress"});
}

TEST(ActionTableTests, ARawNameIsOfferedOnceAndByTheFirstThatMeansIt) {
  AccessibleFacts facts = factsWith(Role::checkBox, {"SetFocus", "Toggle", "Press"});
  EXPECT_EQ(translate(facts, Toolkit::qt), Names{"AXPress"});
  EXPECT_EQ(translateActions({.facts = facts}).front().number, 1);
}

TEST(ActionTableTests, AMenuOpensByAPressAndAButtonShowsItsMenu) {
  EXPECT_EQ(translate(factsWith(Role::menuItem, {"ShowMenu"}), Toolkit::qt), Names{"AXPress"});
  EXPECT_EQ(translate(factsWith(Role::pushButton, {"ShowMenu"}), Toolkit::qt), Names{"AXShowMenu"});
}

TEST(ActionTableTests, ValuesAreSteppedWhereAPersonSetsThem) {
  EXPECT_EQ(translate(factsWith(Role::slider, {}, valueInterface)), (Names{"AXIncrement", "AXDecrement"}));
  EXPECT_EQ(translate(factsWith(Role::progressBar, {}, valueInterface)), Names{});
  EXPECT_EQ(
      translate(factsWith(Role::spinButton, {"Increase", "Decrease"}, valueInterface | actionInterface)),
      (Names{"AXIncrement", "AXDecrement"}));
}

TEST(ActionTableTests, ATextThatCanBeEditedScrollsToItsCaret) {
  AccessibleFacts facts = factsWith(Role::text, {}, textInterface | editableTextInterface);
  EXPECT_EQ(translate(facts), Names{}) << "not while it is read-only";
  facts.states |= std::uint64_t{1} << static_cast<int>(AccessibleState::editable);
  EXPECT_EQ(translate(facts), Names{"AXScrollToVisible"});
}

TEST(ActionTableTests, TheMenuCommandsOfAWindowAreLeftToItsMenus) {
  const AccessibleFacts facts = factsWith(Role::frame, {"page.save", "window.close", "press"});
  Names names;
  for (const auto& action : translateActions({.facts = facts, .toolkit = Toolkit::gtk4, .isTopLevel = true})) {
    names.push_back(action.name);
  }
  EXPECT_EQ(names, Names{"AXPress"});
}

TEST(ActionTableTests, ABrowsersDefaultActionCountsOnControlsOnly) {
  EXPECT_EQ(translate(factsWith(Role::pageTab, {"doDefault"}), Toolkit::chromium), Names{"AXPress"});
  EXPECT_EQ(translate(factsWith(Role::panel, {"doDefault", "showContextMenu"}), Toolkit::chromium), Names{});
}

TEST(ActionTableTests, ATermWithoutACounterpartPassesUnderItsOwnName) {
  EXPECT_EQ(translate(factsWith(Role::panel, {"page.goto-line"})), Names{"page.goto-line"});
}

TEST(ActionTableTests, AnActionWhoseNameIsNotKnownIsNotOffered) {
  EXPECT_EQ(translate(factsWith(Role::pushButton, {""})), Names{});
}

}  // namespace
}  // namespace tavik
