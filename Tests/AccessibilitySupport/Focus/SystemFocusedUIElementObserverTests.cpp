#include "AccessibilitySupport/Focus/SystemFocusedUIElementObserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using testing::ElementsAre;
using testing::IsEmpty;

class SystemFocusedUIElementObserverTest : public testing::Test {
 protected:
  SimulatedWorld world;
  LogCapture log;
  AXWrapper access{world.desktop.platform().accessibility, world.desktop.platform().process, world.scheduler,
                   world.mainQueue};
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", 42);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {400, 200}});
  SimulatedElement name = window.add(textField("Ada"));
  SimulatedElement street = window.add(textField("Elm Street"));
};

TEST_F(SystemFocusedUIElementObserverTest, followsTheFocusFromItsStartToItsEnd) {
  world.run([&] {
    std::vector<AXElement> told;
    auto observer = SystemFocusedUIElementObserver::create(access, 42, [&](const AXElement& element) {
      EXPECT_TRUE(world.mainQueue.isCurrent());
      told.push_back(element);
    });
    name.focus();
    observer->start();
    EXPECT_TRUE(observer->isRunning());
    EXPECT_EQ(observer->focusedElement(), name.element());
    street.focus();
    world.scheduler.sleep(milliseconds(1));
    EXPECT_EQ(observer->focusedElement(), street.element());
    observer->stop();
    name.focus();
    world.scheduler.sleep(milliseconds(1));
    EXPECT_THAT(told, ElementsAre(street.element()));
    EXPECT_FALSE(observer->focusedElement());
    EXPECT_FALSE(observer->isRunning());
  });
  EXPECT_EQ(log.only("observer_started").fields.at("targetPid"), "42");
}

TEST_F(SystemFocusedUIElementObserverTest, saysThatAnApplicationCannotBeObserved) {
  notes.on(AXCall::of(AXOperation::createObserver)).answers(AXError::cannotComplete);
  world.run([&] {
    auto observer = SystemFocusedUIElementObserver::create(access, 42);
    observer->start();
    EXPECT_FALSE(observer->isRunning());
    observer->stop();
  });
  EXPECT_EQ(log.count("observer_creation_failed"), 1u);
}

TEST_F(SystemFocusedUIElementObserverTest, stopsWithoutWaitingForAnApplicationThatHangs) {
  world.run([&] {
    auto observer = SystemFocusedUIElementObserver::create(access, 42);
    observer->start();
    notes.on(AXCall::any()).hangs();
    const MonotonicTime start = world.scheduler.now();
    observer->stop();
    EXPECT_EQ(world.scheduler.now(), start);
  });
}

TEST(SyntheticAppFocusEnforcer, tellsAProcessAndNobodyElseThatItMayActAsIfActive) {
  SimulatedWorld world;
  auto& events = world.desktop.eventPosting();
  SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events, 0);
  EXPECT_THAT(events.posted(), IsEmpty());
  SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events, 42);
  ASSERT_EQ(events.posted().size(), 1u);
  const auto posted = events.posted().front();
  EXPECT_EQ(posted.pid, 42);
  EXPECT_EQ(posted.event.type, InputEventType::applicationDefined);
  EXPECT_EQ(posted.event.subtype, 0);
  EXPECT_EQ(posted.event.integerFields, (std::map<std::uint32_t, std::int64_t>{{41, 42}}));
}

}  // namespace
}  // namespace tavik
