#include "Backends/Linux/Accessibility/NodeView.h"

#include <gtest/gtest.h>

#include "Backends/Linux/Accessibility/LinuxElement.h"
#include "Backends/Linux/Accessibility/TextUnits.h"

namespace tavik {
namespace {

using Role = AccessibleRole;
using State = AccessibleState;

AccessibleFacts facts(Role role, const std::string& name, std::initializer_list<State> states = {}) {
  AccessibleFacts result;
  result.role = role;
  result.name = name;
  for (State state : states) result.states |= std::uint64_t{1} << static_cast<int>(state);
  return result;
}

std::string nameIn(Toolkit toolkit, Role role, const std::string& name) {
  AccessibleFacts given = facts(role, name);
  return displayName({.facts = given, .toolkit = toolkit});
}

TEST(NodeViewTests, AClassNameIsNoName) {
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::text, "GtkEntry"), "");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::pushButton, "AdwTab"), "");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::filler, "EditorPage"), "");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::label, "JavaScript"), "JavaScript");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::pushButton, "Open"), "Open");
  EXPECT_EQ(nameIn(Toolkit::gtk3, Role::text, "GtkEntry"), "GtkEntry") << "only GTK 4 does this";
}

TEST(NodeViewTests, MnemonicsAreNoPartOfAName) {
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::pushButton, "_Retry Retry"), "Retry");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::pushButton, "Di_scard… Discard…"), "Discard…");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::panel, "Page _1"), "Page 1");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::label, "my_file.txt"), "my_file.txt");
  EXPECT_EQ(nameIn(Toolkit::gtk4, Role::label, "a_b_c"), "a_b_c");
  EXPECT_EQ(nameIn(Toolkit::gtk3, Role::menuItem, "New      "), "New");
}

TEST(NodeViewTests, WhatShowsDependsOnTheToolkit) {
  AccessibleFacts visible = facts(Role::panel, "", {State::visible});
  visible.interfaces = componentInterface;
  EXPECT_FALSE(mayShow({.facts = visible, .toolkit = Toolkit::gtk3}));
  EXPECT_TRUE(mayShow({.facts = visible, .toolkit = Toolkit::gtk4}));
  visible.known |= extentsFacet;
  EXPECT_FALSE(isShowing({.facts = visible, .toolkit = Toolkit::gtk4})) << "it has no room";
  visible.extents = {{0, 0}, {5, 5}};
  EXPECT_TRUE(isShowing({.facts = visible, .toolkit = Toolkit::gtk4}));

  AccessibleFacts showing = facts(Role::panel, "", {State::showing, State::visible});
  showing.interfaces = componentInterface;
  showing.known |= extentsFacet;
  showing.extents = {{-500, -500}, {100, 100}};
  EXPECT_TRUE(isShowing({.facts = showing, .toolkit = Toolkit::gtk3}));
  EXPECT_FALSE(isShowing({.facts = showing, .toolkit = Toolkit::qt})) << "it lies off the screen";

  AccessibleFacts minimised = facts(Role::frame, "", {State::iconified});
  EXPECT_TRUE(mayShow({.facts = minimised, .toolkit = Toolkit::gtk3, .isTopLevel = true}));
  AccessibleFacts dead = facts(Role::frame, "", {State::showing, State::defunct});
  EXPECT_FALSE(mayShow({.facts = dead, .toolkit = Toolkit::gtk3}));
}

TEST(NodeViewTests, ATabOfQtDoesNotHaveTheFocusThatItClaims) {
  AccessibleFacts tab = facts(Role::pageTab, "", {State::focused});
  EXPECT_FALSE(hasFocus({.facts = tab, .toolkit = Toolkit::qt}));
  EXPECT_TRUE(hasFocus({.facts = tab, .toolkit = Toolkit::gtk3}));
}

TEST(TextUnitsTests, PlacesAreTheSameInBothCounts) {
  const std::string text = "aé你😀z";
  EXPECT_EQ(utf16Offset(text, 3), 3);
  EXPECT_EQ(utf16Offset(text, 4), 5);
  EXPECT_EQ(codePointOffset(text, 5), 4);
  EXPECT_EQ(codePointOffset(text, 4), 3) << "inside a character means before it";
  EXPECT_EQ(utf16Offset(text, 100), 6);
  EXPECT_EQ(codePointOffset(text, 100), 5);
  EXPECT_EQ(utf16Range(text, 3, 4), (TextRange{3, 2}));
}

TEST(LinuxElementTests, ElementsAreEqualWhenTheyNameTheSame) {
  auto make = [](const std::string& path) {
    return LinuxElement::handle(
        {.kind = LinuxElement::Kind::object, .pid = 7, .object = {":1.1", path}, .anchor = {}});
  };
  EXPECT_EQ(make("/a"), make("/a"));
  EXPECT_EQ(make("/a").hash(), make("/a").hash());
  EXPECT_FALSE(make("/a") == make("/b"));
  AXElement application =
      LinuxElement::handle({.kind = LinuxElement::Kind::application, .pid = 7, .object = {}, .anchor = {}});
  EXPECT_FALSE(application == make("/a"));
  EXPECT_EQ(LinuxElement::from(AXElement()), nullptr);
}

}  // namespace
}  // namespace tavik
