#include "AccessibilitySupport/Input/XKeysymKeyCode.h"

#include <gtest/gtest.h>

#include "AccessibilitySupport/Input/XKeysymModifierAlias.h"

namespace tavik {
namespace {

TEST(XKeysymKeyCode, knowsKeysByTheirKeysymNames) {
  EXPECT_EQ(XKeysymKeyCode::keyCode("Return"), 36);
  EXPECT_EQ(XKeysymKeyCode::keyCode("BackSpace"), 51);
  EXPECT_EQ(XKeysymKeyCode::keyCode("F20"), 90);
  EXPECT_EQ(XKeysymKeyCode::keyCode("KP_7"), 89);
  EXPECT_EQ(XKeysymKeyCode::keyCode("KP_8"), 91);
  EXPECT_EQ(XKeysymKeyCode::keyCode("Super_R"), 54);
}

TEST(XKeysymKeyCode, findsTheSameKeyUnderDifferentSpellings) {
  for (const char* name : {"Page-Down", "page_down", "PAGEDOWN", " pagedown "}) {
    EXPECT_EQ(XKeysymKeyCode::keyCode(name), 121) << name;
  }
}

TEST(XKeysymKeyCode, keepsTheCaseOfNamesThatHaveNoAlias) {
  EXPECT_EQ(XKeysymKeyCode::keyCode("F5"), 96);
  EXPECT_EQ(XKeysymKeyCode::keyCode("f5"), std::nullopt);
  EXPECT_EQ(XKeysymKeyCode::keyCode("Insert"), 114);
  EXPECT_EQ(XKeysymKeyCode::keyCode("insert"), std::nullopt);
}

TEST(XKeysymKeyCode, knowsNoEmptyOrInventedNames) {
  EXPECT_EQ(XKeysymKeyCode::keyCode(""), std::nullopt);
  EXPECT_EQ(XKeysymKeyCode::keyCode("-"), std::nullopt);
  EXPECT_EQ(XKeysymKeyCode::keyCode("Hyperspace"), std::nullopt);
}

TEST(XKeysymKeyCode, holdsShiftForNamesOfShiftedCharacters) {
  EXPECT_EQ(XKeysymKeyCode::keyPress("braceleft", 0), (VirtualKeyPress{33, KeyModifier::shift, std::nullopt}));
  EXPECT_EQ(XKeysymKeyCode::keyPress("[", KeyModifier::command | KeyModifier::shift),
            (VirtualKeyPress{33, KeyModifier::command | KeyModifier::shift, std::nullopt}));
  EXPECT_EQ(XKeysymKeyCode::keyPress("Plus", 0), (VirtualKeyPress{24, KeyModifier::shift, std::nullopt}));
  EXPECT_EQ(XKeysymKeyCode::keyPress("parenleft", 0), (VirtualKeyPress{29, KeyModifier::shift, std::nullopt}));
  EXPECT_EQ(XKeysymKeyCode::keyPress("parenright", 0), (VirtualKeyPress{25, KeyModifier::shift, std::nullopt}));
}

TEST(XKeysymModifierAlias, knowsTheModifiersInAnyCaseAndBetweenBlanks) {
  EXPECT_EQ(XKeysymModifierAlias::modifierFlag(" CTRL "), KeyModifier::control);
  EXPECT_EQ(XKeysymModifierAlias::modifierFlag("Alt"), KeyModifier::option);
  for (const char* name : {"super", "meta", "command", "cmd"}) {
    EXPECT_EQ(XKeysymModifierAlias::modifierFlag(name), KeyModifier::command) << name;
  }
  EXPECT_EQ(XKeysymModifierAlias::modifierFlag("hyper"), std::nullopt);
}

}  // namespace
}  // namespace tavik
