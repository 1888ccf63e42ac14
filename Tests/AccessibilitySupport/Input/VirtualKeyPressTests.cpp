#include "AccessibilitySupport/Input/VirtualKeyPress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "Backends/Simulated/System/SimulatedKeyboard.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t shift = KeyModifier::shift;
constexpr std::uint32_t option = KeyModifier::option;

using Presses = std::vector<VirtualKeyPress>;

class VirtualKeyPressTest : public testing::Test {
 protected:
  std::optional<Presses> typing(const std::string& text) {
    std::optional<Presses> presses;
    SimulatedWorld world;
    world.run([&] {
      KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
      presses = VirtualKeyPress::keyPresses(text, layouts);
    });
    return presses;
  }

  std::optional<VirtualKeyPress> single(const std::string& character, std::uint32_t modifiers) {
    std::optional<VirtualKeyPress> press;
    SimulatedWorld world;
    world.run([&] {
      KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
      press = singleCharacterKeyPress(character, modifiers, layouts);
    });
    return press;
  }

  SimulatedKeyboard keyboard;
};

TEST_F(VirtualKeyPressTest, typesLettersWithTheKeysAndModifiersThatHaveThem) {
  EXPECT_EQ(typing("aB"), (Presses{{0, 0, "a"}, {11, shift, "B"}}));
}

TEST_F(VirtualKeyPressTest, typesACharacterThatIsFoundOnlyWithOption) {
  EXPECT_EQ(typing("\u00A3"), (Presses{{20, option, "\u00A3"}}));
}

TEST_F(VirtualKeyPressTest, takesTheLowestKeyCodeOfTheFirstModifierState) {
  EXPECT_EQ(typing("1"), (Presses{{18, 0, "1"}}));
}

TEST_F(VirtualKeyPressTest, followsTheLayout) {
  keyboard.use(SimulatedKeyboardLayout::german());
  EXPECT_EQ(typing("z@\u00FC"), (Presses{{16, 0, "z"}, {37, option, "@"}, {33, 0, "\u00FC"}}));
}

TEST_F(VirtualKeyPressTest, ignoresKeysThatGiveMoreThanOneUnit) {
  keyboard.use(SimulatedKeyboardLayout::german());
  EXPECT_EQ(typing("x"), (Presses{{7, 0, "x"}}));
}

TEST_F(VirtualKeyPressTest, mapsLineFeedsToReturnAlsoAfterACarriageReturn) {
  EXPECT_EQ(typing("\r\n"), (Presses{{36, 0, "\r"}, {36, 0, "\r"}}));
}

TEST_F(VirtualKeyPressTest, neverAsksTheLayoutForTab) {
  keyboard.use(std::make_shared<SimulatedKeyboardLayout>(SimulatedKeyboardLayout::Keys{{9, {u"\t", u"", u"", u""}}}));
  EXPECT_EQ(typing("\t"), (Presses{{48, 0, "\t"}}));
}

TEST_F(VirtualKeyPressTest, fallsBackToTheUSPlacesOfASCIICharactersThatTheLayoutLacks) {
  keyboard.use(std::make_shared<SimulatedKeyboardLayout>(SimulatedKeyboardLayout::Keys{}));
  EXPECT_EQ(typing("~ -"), (Presses{{50, shift, "~"}, {49, 0, " "}, {27, 0, "-"}}));
}

TEST_F(VirtualKeyPressTest, knowsThirtyFourFallbackCharactersAndNoLetters) {
  keyboard.use(std::make_shared<SimulatedKeyboardLayout>(SimulatedKeyboardLayout::Keys{}));
  int known = 0;
  for (char character = 32; character < 127; ++character) known += static_cast<int>(typing({character})->size());
  EXPECT_EQ(known, 33);
  EXPECT_EQ(typing("\r")->size(), 1u);
  EXPECT_THAT(*typing("a0"), IsEmpty());
}

TEST_F(VirtualKeyPressTest, dropsWhatNoKeyHasWithoutAWord) {
  EXPECT_EQ(typing("a\U0001F600\u4F60b"), (Presses{{0, 0, "a"}, {11, 0, "b"}}));
}

TEST_F(VirtualKeyPressTest, saysThatThereIsNoLayout) {
  keyboard.use(nullptr);
  EXPECT_EQ(typing("a"), std::nullopt);
  EXPECT_EQ(single("a", 0), std::nullopt);
}

TEST_F(VirtualKeyPressTest, makesShortcutsOfSingleCharactersThatInsertNoText) {
  EXPECT_EQ(single("a", KeyModifier::command), (VirtualKeyPress{0, KeyModifier::command, std::nullopt}));
  keyboard.use(SimulatedKeyboardLayout::german());
  EXPECT_EQ(single("\u00FC", KeyModifier::control), (VirtualKeyPress{33, KeyModifier::control, std::nullopt}));
}

TEST_F(VirtualKeyPressTest, addsTheShiftOfTheCharacterItselfAndKeepsItsTextWithoutAShortcut) {
  EXPECT_EQ(single("S", 0), (VirtualKeyPress{1, shift, "S"}));
  EXPECT_EQ(single("S", KeyModifier::command), (VirtualKeyPress{1, KeyModifier::command | shift, std::nullopt}));
}

TEST_F(VirtualKeyPressTest, takesExactlyOneCharacter) {
  EXPECT_EQ(single("", 0), std::nullopt);
  EXPECT_EQ(single("ab", 0), std::nullopt);
  EXPECT_EQ(single("\U0001F600", 0), std::nullopt);
}

}  // namespace
}  // namespace tavik
