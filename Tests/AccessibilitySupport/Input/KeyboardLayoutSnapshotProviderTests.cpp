#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"

#include <gtest/gtest.h>

#include "AccessDesk.h"
#include "Backends/Simulated/System/SimulatedKeyboard.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

TEST(KeyboardLayoutSnapshotProvider, readsTheLayoutOnceUntilTheUserSwitches) {
  SimulatedWorld world;
  SimulatedKeyboard keyboard;
  world.run([&] {
    KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
    const auto first = layouts.currentSnapshot();
    layouts.currentSnapshot();
    EXPECT_EQ(keyboard.reads(), 1);
    const auto german = SimulatedKeyboardLayout::german();
    keyboard.use(german);
    EXPECT_EQ(layouts.currentSnapshot()->layout, german);
    EXPECT_NE(first->layout, german);
    EXPECT_EQ(keyboard.reads(), 2);
  });
}

TEST(KeyboardLayoutSnapshotProvider, readsOnTheMainThread) {
  SimulatedWorld world;
  SimulatedKeyboard keyboard;
  bool wasOnMain = false;
  world.run([&] {
    KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
    keyboard.setOnRead([&] { wasOnMain = world.mainQueue.isCurrent(); });
    layouts.currentSnapshot();
    EXPECT_FALSE(world.mainQueue.isCurrent());
  });
  EXPECT_TRUE(wasOnMain);
}

TEST(KeyboardLayoutSnapshotProvider, readsAgainWhenTheLayoutChangedDuringTheReading) {
  SimulatedWorld world;
  SimulatedKeyboard keyboard;
  const auto german = SimulatedKeyboardLayout::german();
  world.run([&] {
    KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
    keyboard.setOnRead([&] {
      keyboard.setOnRead(nullptr);
      keyboard.use(german);
    });
    EXPECT_EQ(layouts.currentSnapshot()->layout, german);
    EXPECT_EQ(keyboard.reads(), 2);
  });
}

TEST(KeyboardLayoutSnapshotProvider, doesNotRememberThatThereWasNoLayout) {
  SimulatedWorld world;
  SimulatedKeyboard keyboard;
  world.run([&] {
    KeyboardLayoutSnapshotProvider layouts(keyboard, world.mainQueue);
    keyboard.use(nullptr);
    EXPECT_FALSE(layouts.currentSnapshot());
    EXPECT_FALSE(layouts.currentSnapshot());
    EXPECT_EQ(keyboard.reads(), 2);
  });
}

TEST(KeyboardLayoutSnapshotProvider, neverAnswersAnOutdatedLayoutUnderAnyInterleaving) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    AccessDesk desk(scheduler);
    SimulatedKeyboard keyboard;
    desk.run([&] {
      KeyboardLayoutSnapshotProvider layouts(keyboard, desk.mainQueue);
      const auto german = SimulatedKeyboardLayout::german();
      Task reader = scheduler.start("reader", [&] { layouts.currentSnapshot(); });
      keyboard.use(german);
      EXPECT_EQ(layouts.currentSnapshot()->layout, german);
      reader.join();
      EXPECT_EQ(layouts.currentSnapshot()->layout, german);
    });
  });
}

}  // namespace
}  // namespace tavik
