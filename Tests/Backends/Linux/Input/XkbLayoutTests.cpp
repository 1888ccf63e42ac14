#include "Backends/Linux/Input/XkbLayout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "AccessibilitySupport/Input/TypedPiece.h"
#include "AccessibilitySupport/Input/VirtualKeyPress.h"
#include "Backends/Linux/Input/VirtualKeyTable.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A keyboard that always has the one layout.
class OneLayout : public KeyboardLayoutPort {
 public:
  explicit OneLayout(const std::string& layout, const std::string& variant = {})
      : layout_(XkbLayout::named(layout, variant)) {}
  std::optional<KeyboardLayoutSnapshot> copyCurrentLayout() override { return KeyboardLayoutSnapshot{layout_}; }
  void setLayoutChangedHandler(std::function<void()>) override {}
  bool shortcutsUseControl() const override { return true; }

 private:
  std::shared_ptr<const KeyboardLayout> layout_;
};

/// What typing and shortcuts make of a layout.
class Keys {
 public:
  explicit Keys(const std::string& layout, const std::string& variant = {}) : port_(layout, variant) {}

  std::vector<VirtualKeyPress> presses(const std::string& text) {
    std::vector<VirtualKeyPress> presses;
    run([&] { presses = VirtualKeyPress::keyPresses(text, layouts_).value_or(presses); });
    return presses;
  }
  std::optional<VirtualKeyPress> shortcut(const std::string& character,
                                          std::uint32_t modifiers = KeyModifier::control) {
    std::optional<VirtualKeyPress> press;
    run([&] { press = singleCharacterKeyPress(character, modifiers, layouts_); });
    return press;
  }
  std::vector<TypedPiece> pieces(const std::string& text) {
    std::vector<TypedPiece> pieces;
    run([&] { pieces = TypedPiece::pieces(text, layouts_).value_or(pieces); });
    return pieces;
  }

 private:
  void run(const std::function<void()>& body) {
    scheduler_.run([&] {
      Task main = scheduler_.start("main", [&] { mainQueue_.run(); });
      body();
      mainQueue_.quit();
      main.join();
    });
  }

  OneLayout port_;
  SimulatedScheduler scheduler_;
  MainQueue mainQueue_{scheduler_};
  KeyboardLayoutSnapshotProvider layouts_{port_, mainQueue_};
};

constexpr std::uint16_t keyA = 0;
constexpr std::uint16_t keyZ = 6;
constexpr std::uint16_t keyQ = 12;
constexpr std::uint16_t keyE = 14;
constexpr std::uint16_t keyY = 16;
constexpr std::uint16_t key2 = 19;
constexpr std::uint16_t keyC = 8;
constexpr std::uint16_t keyReturn = 36;

TEST(XkbLayoutTest, typesOnAUSKeyboard) {
  Keys keys("us");
  EXPECT_THAT(keys.presses("aA2@\n"),
              ElementsAre(VirtualKeyPress{keyA, 0, "a"}, VirtualKeyPress{keyA, KeyModifier::shift, "A"},
                          VirtualKeyPress{key2, 0, "2"}, VirtualKeyPress{key2, KeyModifier::shift, "@"},
                          VirtualKeyPress{keyReturn, 0, "\r"}));
}

TEST(XkbLayoutTest, typesOnAGermanKeyboardWithTheThirdLevel) {
  Keys keys("de");
  EXPECT_THAT(keys.presses("zyö€@"),
              ElementsAre(VirtualKeyPress{keyY, 0, "z"}, VirtualKeyPress{keyZ, 0, "y"}, VirtualKeyPress{41, 0, "ö"},
                          VirtualKeyPress{keyE, KeyModifier::option, "€"}, VirtualKeyPress{keyQ, KeyModifier::option, "@"}));
  EXPECT_EQ(keys.shortcut("z"), (VirtualKeyPress{keyY, KeyModifier::control})) << "the key that says z";
  EXPECT_EQ(XkbLayout::named("de")->thirdLevelMask(), 0x80u);
  EXPECT_EQ(keys.shortcut("@", 0), (VirtualKeyPress{keyQ, KeyModifier::option, {}, true}))
      << "the third level, not Alt";
  EXPECT_EQ(keys.shortcut("@"),
            (VirtualKeyPress{keyQ, KeyModifier::option | KeyModifier::control, {}, true}));
  EXPECT_EQ(keys.shortcut("q", KeyModifier::option), (VirtualKeyPress{keyQ, KeyModifier::option})) << "Alt";
}

TEST(XkbLayoutTest, typesOnAFrenchKeyboardWhereDigitsNeedShift) {
  Keys keys("fr");
  EXPECT_THAT(keys.presses("a2é"),
              ElementsAre(VirtualKeyPress{keyQ, 0, "a"}, VirtualKeyPress{key2, KeyModifier::shift, "2"},
                          VirtualKeyPress{key2, 0, "é"}));
  EXPECT_EQ(keys.shortcut("a"), (VirtualKeyPress{keyQ, KeyModifier::control}));
}

TEST(XkbLayoutTest, typesOnARussianKeyboardAndFindsLatinShortcutsByTheirPlaces) {
  Keys keys("ru");
  EXPECT_THAT(keys.presses("ф"), ElementsAre(VirtualKeyPress{keyA, 0, "ф"}));
  EXPECT_EQ(keys.shortcut("c"), (VirtualKeyPress{keyC, KeyModifier::control}));
  EXPECT_EQ(keys.shortcut("C"), (VirtualKeyPress{keyC, KeyModifier::control | KeyModifier::shift}));
  EXPECT_EQ(keys.shortcut("с"), (VirtualKeyPress{keyC, KeyModifier::control})) << "the Cyrillic letter on that key";
  EXPECT_THAT(keys.presses("q"), IsEmpty()) << "text is not typed by places";
  EXPECT_THAT(keys.pieces("фq"), ElementsAre(TypedPiece{"ф", {{keyA, 0, "ф"}}}, TypedPiece{"q", {}}));
}

TEST(XkbLayoutTest, takesADeadKeyForNoCharacter) {
  Keys keys("us", "intl");
  EXPECT_THAT(keys.presses("a"), ElementsAre(VirtualKeyPress{keyA, 0, "a"}));
  const auto layout = XkbLayout::named("us", "intl");
  constexpr std::uint16_t keyQuote = 39;
  EXPECT_EQ(layout->translate(keyQuote, 0), std::nullopt) << "an accent that waits for its letter";
  const auto pieces = keys.pieces("'");
  ASSERT_THAT(pieces, ::testing::SizeIs(1));
  EXPECT_THAT(pieces[0].presses, ::testing::Not(::testing::Contains(VirtualKeyPress{keyQuote, 0, "'"})));
}

TEST(XkbLayoutTest, givesNoTextWhileControlIsHeldAndNoControlCharacters) {
  const auto layout = XkbLayout::named("us");
  constexpr std::uint32_t control = KeyModifier::control >> 8;
  constexpr std::uint16_t keyBackSpace = 51;
  constexpr std::uint16_t keyEscape = 53;
  EXPECT_EQ(layout->translate(keyA, control), std::nullopt);
  EXPECT_EQ(layout->translate(keyBackSpace, 0), std::nullopt);
  EXPECT_EQ(layout->translate(keyEscape, 0), std::nullopt);
  EXPECT_EQ(layout->translate(keyReturn, 0), u"\r");
  EXPECT_EQ(layout->translate(127, 0), std::nullopt);
}

TEST(XkbLayoutTest, knowsTheCharactersThatNamesOfKeysStandFor) {
  const auto layout = XkbLayout::named("de");
  const std::pair<const char*, const char*> printing[] = {
      {"minus", "-"}, {"bracketleft", "["}, {"leftbracket", "["}, {"plus", "+"}, {"quote", "'"}, {"EuroSign", "€"},
      {"eacute", "é"}, {"comma", ","}, {"x", "x"}, {"ß", "ß"}, {"[", "["}};
  for (const auto& [name, character] : printing) EXPECT_EQ(layout->characterOfKeyName(name), character) << name;
  for (const char* name : {"Return", "space", "Home", "KP_Add", "BackSpace", "Delete", "Escape", "F5", "esc", "", "no key"}) {
    EXPECT_EQ(layout->characterOfKeyName(name), std::nullopt) << name;
  }
}

TEST(XkbLayoutTest, isMissingForANameThatNobodyKnows) { EXPECT_FALSE(XkbLayout::named("no such layout")); }

TEST(TypedPieceTest, separatesWhatKeysTypeFromWhatNoKeyGives) {
  Keys keys("us");
  const auto pieces = keys.pieces("a你好b🙂\x01" "c\t\n");
  ASSERT_THAT(pieces, ::testing::SizeIs(5));
  EXPECT_EQ(pieces[1], (TypedPiece{"你好", {}}));
  EXPECT_EQ(pieces[3], (TypedPiece{"🙂", {}}));
  EXPECT_EQ(pieces[4].text, "c\t\n");
  EXPECT_EQ(pieces[4].presses.size(), 3u);
  EXPECT_THAT(keys.pieces(""), IsEmpty());
}

TEST(VirtualKeyTable, leadsToThePlaceOfAKey) {
  EXPECT_EQ(xKeycode(keyA), 38);
  EXPECT_EQ(xKeycode(keyReturn), 36);
  EXPECT_EQ(xKeycode(126), 111) << "up";
  EXPECT_EQ(xKeycode(122), 67) << "F1";
  EXPECT_EQ(xKeycode(71), 91) << "the keypad's Delete; a PC has Num Lock where others have Clear";
  EXPECT_EQ(xKeycode(52), std::nullopt);
}

}  // namespace
}  // namespace tavik
