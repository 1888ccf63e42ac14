#include "Backends/Linux/Accessibility/RoleTable.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

using Role = AccessibleRole;
using State = AccessibleState;

std::uint64_t bits(std::initializer_list<State> states) {
  std::uint64_t result = 0;
  for (State state : states) result |= std::uint64_t{1} << static_cast<int>(state);
  return result;
}

struct Case {
  Role role;
  std::initializer_list<State> states = {};
  Role parent = Role::panel;
  bool isTopLevel = false;
  Toolkit toolkit = Toolkit::gtk3;
};

std::string translate(const Case& given) {
  AccessibleFacts facts;
  facts.role = given.role;
  facts.states = bits(given.states);
  NodeView node{
      .facts = facts, .toolkit = given.toolkit, .parentRole = given.parent, .isTopLevel = given.isTopLevel};
  RoleTranslation translation = translateRole(node);
  return std::string(translation.role) + "/" + translation.subrole + "/" + translation.description;
}

TEST(RoleTableTests, ControlsHaveTheirCounterparts) {
  EXPECT_EQ(translate({Role::pushButton}), "AXButton//button");
  EXPECT_EQ(translate({Role::checkBox}), "AXCheckBox//check box");
  EXPECT_EQ(translate({Role::radioButton}), "AXRadioButton//radio button");
  EXPECT_EQ(translate({Role::slider}), "AXSlider//slider");
  EXPECT_EQ(translate({Role::spinButton}), "AXIncrementor//stepper");
  EXPECT_EQ(translate({Role::scrollBar}), "AXScrollBar//scroll bar");
  EXPECT_EQ(translate({Role::link}), "AXLink//link");
  EXPECT_EQ(translate({Role::pageTab}), "AXRadioButton/AXTabButton/tab");
  EXPECT_EQ(translate({Role::documentWeb}), "AXWebArea//HTML content");
  EXPECT_EQ(translate({Role::label}), "AXStaticText//text");
}

TEST(RoleTableTests, AFrameIsAWindowOnlyAtTheTop) {
  EXPECT_EQ(translate({.role = Role::frame, .isTopLevel = true}),
            "AXWindow/AXStandardWindow/standard window");
  EXPECT_EQ(translate({Role::frame}), "AXGroup//group");
  EXPECT_EQ(translate({.role = Role::dialog, .isTopLevel = true}), "AXWindow/AXDialog/dialog");
  EXPECT_EQ(translate({Role::alert}), "AXGroup/AXApplicationAlert/alert");
}

TEST(RoleTableTests, AMenuIsWhatItsPlaceMakesIt) {
  EXPECT_EQ(translate({.role = Role::menu, .parent = Role::menuBar}), "AXMenuBarItem//menu bar item");
  EXPECT_EQ(translate({.role = Role::menuItem, .parent = Role::menuBar}), "AXMenuBarItem//menu bar item");
  EXPECT_EQ(translate({.role = Role::menu, .parent = Role::menu}), "AXMenuItem//menu item");
  EXPECT_EQ(translate({.role = Role::menu, .parent = Role::window}), "AXMenu//menu");
  EXPECT_EQ(translate({.role = Role::checkMenuItem, .parent = Role::menu}), "AXMenuItem//menu item");
  EXPECT_EQ(translate({.role = Role::separator, .parent = Role::menu}), "AXMenuItem//menu item");
  EXPECT_EQ(translate({Role::separator}), "AXSplitter//splitter");
}

TEST(RoleTableTests, StatesTellTextFieldsFromTextAreas) {
  EXPECT_EQ(translate({Role::text, {State::editable}}), "AXTextField//text field");
  EXPECT_EQ(translate({Role::text, {State::multiLine}}), "AXTextArea//text entry area");
  EXPECT_EQ(translate({Role::entry, {State::multiLine}}), "AXTextArea//text entry area");
  EXPECT_EQ(translate({Role::passwordText}), "AXTextField/AXSecureTextField/secure text field");
}

TEST(RoleTableTests, OnlyAnEditableChoiceIsACombinationBox) {
  EXPECT_EQ(translate({Role::comboBox}), "AXPopUpButton//pop up button");
  EXPECT_EQ(translate({Role::comboBox, {State::editable}}), "AXComboBox//combo box");
}

TEST(RoleTableTests, RowsAndCells) {
  EXPECT_EQ(translate({.role = Role::tableRow, .parent = Role::table}), "AXRow/AXTableRow/row");
  EXPECT_EQ(translate({.role = Role::tableRow, .parent = Role::treeTable}), "AXRow/AXOutlineRow/row");
  EXPECT_EQ(translate({Role::treeItem}), "AXRow/AXOutlineRow/row");
  EXPECT_EQ(translate({Role::listItem, {State::selectable}}), "AXRow/AXTableRow/row");
  EXPECT_EQ(translate({Role::listItem}), "AXGroup//group");
  EXPECT_EQ(translate({Role::tableCell}), "AXCell//cell");
}

TEST(RoleTableTests, WhatOnlyHoldsOthersIsAGroup) {
  for (Role role : {Role::panel, Role::filler, Role::section, Role::unknown, static_cast<Role>(4000)}) {
    EXPECT_EQ(translate({role}), "AXGroup//group");
  }
}

TEST(RoleTableTests, ALabelInABrowserHoldsItsWords) {
  EXPECT_EQ(translate({.role = Role::label, .toolkit = Toolkit::chromium}), "AXGroup//group");
  EXPECT_EQ(translate({.role = Role::staticText, .toolkit = Toolkit::chromium}), "AXStaticText//text");
}

}  // namespace
}  // namespace tavik
