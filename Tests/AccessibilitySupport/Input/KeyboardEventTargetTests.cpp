#include "AccessibilitySupport/Input/KeyboardEventTarget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InputDesk.h"

namespace tavik {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Missing = SimulatedEventPosting::Missing;

constexpr std::uint64_t shift = 0x20000;
constexpr std::uint64_t control = 0x40000;
constexpr std::uint64_t option = 0x80000;
constexpr std::uint64_t command = 0x100000;

class KeyboardEventTargetTest : public testing::Test {
 protected:
  void with(const std::function<void(KeyboardEventTarget&)>& body) {
    desk.run([&] {
      KeyboardLayoutSnapshotProvider layouts(desk.keyboard, desk.world.mainQueue);
      KeyboardEventTarget target(desk.port, layouts, desk.world.scheduler, InputDesk::pid);
      body(target);
    });
  }

  /// What `pressKey` cannot press, as it says it; empty when it can.
  std::string unsupported(const std::string& spec) {
    std::string found;
    with([&](KeyboardEventTarget& target) {
      try {
        target.pressKey(spec);
      } catch (const KeyboardEventTarget::Error& error) {
        EXPECT_EQ(error.kind(), KeyboardEventTarget::Error::Kind::unsupportedKeySpec);
        found = "unsupported '" + error.spec() + "'";
      }
    });
    return found;
  }

  /// The key that was pressed last, with its flags.
  std::pair<std::uint16_t, std::uint64_t> pressed(const std::string& spec) {
    with([&](KeyboardEventTarget& target) { target.pressKey(spec); });
    const auto events = desk.events();
    const InputEvent& up = events.at(events.size() - 2);
    EXPECT_EQ(up.type, InputEventType::keyUp);
    return {up.keyCode, up.flags};
  }

  InputDesk desk;
};

TEST_F(KeyboardEventTargetTest, surroundsAKeyWithItsModifiersAndTheFocusThatItNeeds) {
  with([](KeyboardEventTarget& target) { target.pressKey("ctrl+Return"); });
  EXPECT_THAT(desk.world.desktop.journal().lines("post"),
              ElementsAre("post notification 16384", "post notification -32768", "post flags 0x40000",
                          "post key down 36", "post key up 36", "post flags 0x0"));
  for (const auto& posted : desk.port.posted()) {
    EXPECT_EQ(posted.pid, InputDesk::pid);
    EXPECT_THAT(posted.event.integerFields, ElementsAre(Pair(41, InputDesk::pid)));
  }
}

TEST_F(KeyboardEventTargetTest, typesATextInOneBurstUnderOneNotificationOfFocus) {
  with([](KeyboardEventTarget& target) { target.typeText("aB"); });
  EXPECT_THAT(desk.world.desktop.journal().lines("post"),
              ElementsAre("post notification 16384", "post notification -32768", "post flags 0x0", "post key down 0",
                          "post key up 0", "post flags 0x0", "post flags 0x20000", "post key down 11",
                          "post key up 11", "post flags 0x0"));
  EXPECT_EQ(desk.events()[3].unicodeString, u"a");
  EXPECT_EQ(desk.events()[7].unicodeString, u"B");
}

TEST_F(KeyboardEventTargetTest, waitsAfterEveryPressWhenAskedTo) {
  Duration took{};
  with([&](KeyboardEventTarget& target) {
    const auto start = desk.world.scheduler.now();
    target.typeKeyPresses({{0, 0, "a"}, {11, 0, "b"}}, 40);
    took = desk.world.scheduler.now() - start;
  });
  EXPECT_EQ(took, milliseconds(80));
  EXPECT_EQ(desk.events().size(), 12u);
}

TEST_F(KeyboardEventTargetTest, typesInOneBurstWithoutADelay) {
  with([](KeyboardEventTarget& target) { target.typeKeyPresses({{0, 0, "a"}, {11, 0, "b"}}, 0); });
  EXPECT_EQ(desk.events().size(), 10u);
}

TEST_F(KeyboardEventTargetTest, stopsBetweenTwoPressesOnceItsCallerIsGone) {
  desk.run([&] {
    KeyboardLayoutSnapshotProvider layouts(desk.keyboard, desk.world.mainQueue);
    KeyboardEventTarget target(desk.port, layouts, desk.world.scheduler, InputDesk::pid);
    Task typing = desk.world.scheduler.start("typing", [&] { target.typeKeyPresses({{0}, {1}, {2}}, 40); });
    desk.world.scheduler.sleep(milliseconds(50));
    typing.cancel();
    typing.join();
  });
  EXPECT_EQ(desk.events().size(), 12u);
}

TEST_F(KeyboardEventTargetTest, showsInTheFlagsThatACharacterIsFoundWithOption) {
  with([](KeyboardEventTarget& target) { target.typeText("\u00A3"); });
  EXPECT_EQ(desk.events()[2].flags, option);
  EXPECT_EQ(desk.events()[3].flags, option);
}

TEST_F(KeyboardEventTargetTest, pressesChordsOfNamedKeysAndOfCharacters) {
  EXPECT_EQ(pressed("cmd+shift+["), std::pair(std::uint16_t{33}, command | shift));
  EXPECT_EQ(pressed("braceleft"), std::pair(std::uint16_t{33}, shift));
  EXPECT_EQ(pressed(" Ctrl + a "), std::pair(std::uint16_t{0}, control));
  EXPECT_EQ(pressed("alt+Page-Down"), std::pair(std::uint16_t{121}, option));
  EXPECT_EQ(pressed("plus"), std::pair(std::uint16_t{24}, shift));
  EXPECT_EQ(pressed("Command + S"), std::pair(std::uint16_t{1}, command | shift));
}

TEST_F(KeyboardEventTargetTest, takesTheKeyOfALetterFromTheLayoutInChordsAsWell) {
  desk.keyboard.use(SimulatedKeyboardLayout::german());
  EXPECT_EQ(pressed("cmd+z"), std::pair(std::uint16_t{16}, command));
}

TEST_F(KeyboardEventTargetTest, postsNoTextWithAChord) {
  desk.keyboard.use(SimulatedKeyboardLayout::german());
  with([](KeyboardEventTarget& target) { target.pressKey("ctrl+\u00FC"); });
  for (const InputEvent& event : desk.events()) EXPECT_EQ(event.unicodeString, u"");
}

TEST_F(KeyboardEventTargetTest, usesTheNewLayoutAfterASwitch) {
  with([&](KeyboardEventTarget& target) {
    target.typeText("z");
    desk.keyboard.use(SimulatedKeyboardLayout::german());
    target.typeText("z");
  });
  const auto events = desk.events();
  EXPECT_EQ(events[3].keyCode, 6);
  EXPECT_EQ(events[9].keyCode, 16);
}

TEST_F(KeyboardEventTargetTest, saysWhichPartOfAChordItDoesNotKnow) {
  EXPECT_EQ(unsupported("+"), "unsupported '+'");
  EXPECT_EQ(unsupported(""), "unsupported ''");
  EXPECT_EQ(unsupported(" "), "unsupported ' '");
  EXPECT_EQ(unsupported(" +a"), "unsupported ''");
  EXPECT_EQ(unsupported("hyper+a"), "unsupported 'hyper'");
  EXPECT_EQ(unsupported("ctrl+f5"), "unsupported 'ctrl+f5'");
  EXPECT_EQ(unsupported("ctrl+ "), "unsupported 'ctrl+ '");
  EXPECT_THAT(desk.port.posted(), IsEmpty());
}

TEST_F(KeyboardEventTargetTest, postsNothingWhenAnEventCannotBeMade) {
  desk.port.failAfter(5);
  with([](KeyboardEventTarget& target) {
    try {
      target.typeText("ab");
      FAIL() << "the text was typed";
    } catch (const KeyboardEventTarget::Error& error) {
      EXPECT_EQ(error.kind(), KeyboardEventTarget::Error::Kind::failedToCreateCGEvent);
    }
  });
  EXPECT_THAT(desk.port.posted(), IsEmpty());
}

TEST_F(KeyboardEventTargetTest, pressesTheKeyAlsoWhereNoFocusNotificationCanBeMade) {
  desk.port.takeAway(Missing::nsEvent);
  with([](KeyboardEventTarget& target) { target.pressKey("Tab"); });
  EXPECT_THAT(desk.world.desktop.journal().lines("post"),
              ElementsAre("post flags 0x0", "post key down 48", "post key up 48", "post flags 0x0"));
}

TEST_F(KeyboardEventTargetTest, saysThatThereIsNoLayoutToTypeWith) {
  desk.keyboard.use(nullptr);
  with([](KeyboardEventTarget& target) {
    try {
      target.typeText("a");
      FAIL() << "the text was typed";
    } catch (const KeyboardEventTarget::Error& error) {
      EXPECT_EQ(error.kind(), KeyboardEventTarget::Error::Kind::layoutUnavailable);
    }
  });
}

}  // namespace
}  // namespace tavik
