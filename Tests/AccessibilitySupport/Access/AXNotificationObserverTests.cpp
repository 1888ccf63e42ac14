#include "AccessibilitySupport/Access/AXNotificationObserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessDesk.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AXNotificationObserverTests : public testing::Test {
 protected:
  std::shared_ptr<AXNotificationObserver> makeObserver() {
    return AXNotificationObserver::create(
        desk.port, AccessDesk::appPID,
        [this](AXNotificationObserver&, const AXElement&, const std::string& name,
               const AXNotificationObserver::Info* info) {
          EXPECT_EQ(info, nullptr);
          EXPECT_TRUE(desk.mainQueue.isCurrent());
          received.push_back(name);
        });
  }

  template <class Call>
  static std::optional<UIElementError> errorOf(Call call) {
    try {
      call();
    } catch (const UIElementError& error) {
      return error;
    }
    return std::nullopt;
  }

  SimulatedScheduler scheduler;
  AccessDesk desk{scheduler};
  AXElement window = desk.port.add(AccessDesk::appPID);
  std::vector<std::string> received;
};

TEST_F(AXNotificationObserverTests, NotificationsReachTheCallbackOnTheMainQueue) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    EXPECT_TRUE(observer->isActive());
    observer->addNotification("AXMoved", window);
    EXPECT_THAT(observer->registeredNotifications(), ElementsAre("AXMoved"));
    desk.port.notify(window, "AXMoved");
    scheduler.settle();
    EXPECT_THAT(received, ElementsAre("AXMoved"));
  });
}

TEST_F(AXNotificationObserverTests, AStartThatThePlatformRefusesThrowsItsCode) {
  desk.run([&] {
    auto observer = makeObserver();
    desk.port.observerCode = AXError::cannotComplete;
    EXPECT_EQ(errorOf([&] { observer->start(); }), UIElementError::axError(-25204));
    EXPECT_FALSE(observer->isActive());

    desk.port.observerCode = AXError::success;
    desk.port.givesNoObserver = true;
    EXPECT_EQ(errorOf([&] { observer->start(); }), UIElementError::axError(0));
    EXPECT_EQ(desk.port.observerSourceCount(), 0);
  });
}

TEST_F(AXNotificationObserverTests, AnActiveObserverIsNotStartedTwice) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    observer->start();
    EXPECT_EQ(desk.port.observerSourceCount(), 1);
  });
}

TEST_F(AXNotificationObserverTests, ANotificationCannotBeAddedToAStoppedObserver) {
  desk.run([&] {
    auto observer = makeObserver();
    EXPECT_EQ(errorOf([&] { observer->addNotification("AXMoved", window); }),
              UIElementError::invalidElement());
    EXPECT_EQ(desk.port.callCount("addNotification AXMoved"), 0);
  });
}

TEST_F(AXNotificationObserverTests, AnIllegalArgumentCountsAsRegisteredAndAnyOtherCodeDoesNot) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    desk.port.notificationCode = -25201;
    observer->addNotification("AXCreated", window);
    desk.port.notificationCode = -25209;
    EXPECT_EQ(errorOf([&] { observer->addNotification("AXMoved", window); }),
              UIElementError::axError(-25209));
    EXPECT_THAT(observer->registeredNotifications(), ElementsAre("AXCreated"));
  });
}

TEST_F(AXNotificationObserverTests, RemovingForgetsTheNameWhateverThePlatformAnswers) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->removeNotification("AXMoved", window);
    EXPECT_EQ(desk.port.callCount("removeNotification AXMoved"), 0)
        << "a stopped observer has nothing to remove";

    observer->start();
    observer->addNotification("AXMoved", window);
    desk.port.notificationCode = AXError::invalidUIElement;
    observer->removeNotification("AXMoved", window);
    EXPECT_THAT(observer->registeredNotifications(), IsEmpty());
    EXPECT_EQ(desk.port.callCount("removeNotification AXMoved"), 1);
  });
}

TEST_F(AXNotificationObserverTests, StopForgetsEverythingAtOnceAndEndsTheDelivery) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    observer->addNotification("AXMoved", window);
    desk.port.notify(window, "AXMoved");
    observer->stop();
    scheduler.settle();
    EXPECT_THAT(received, IsEmpty()) << "a notification on its way is not delivered any more";
    EXPECT_FALSE(observer->isActive());
    EXPECT_THAT(observer->registeredNotifications(), IsEmpty());
    EXPECT_EQ(desk.port.observerSourceCount(), 0);
    EXPECT_EQ(desk.port.callCount("removeNotification AXMoved"), 0);
  });
}

TEST_F(AXNotificationObserverTests, AStoppedObserverCanBeStartedAgain) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    observer->stop();
    observer->start();
    desk.port.notify(window, "AXResized");
    scheduler.settle();
    EXPECT_THAT(received, ElementsAre("AXResized"));
  });
}

TEST_F(AXNotificationObserverTests, LettingGoOfAnObserverStopsIt) {
  desk.run([&] {
    auto observer = makeObserver();
    observer->start();
    desk.port.notify(window, "AXMoved");
    observer.reset();
    EXPECT_EQ(desk.port.observerSourceCount(), 0);
    scheduler.settle();
    EXPECT_THAT(received, IsEmpty());
  });
}

TEST_F(AXNotificationObserverTests, TheCallbackMayStopAndAskItsObserver) {
  desk.run([&] {
    auto observer = AXNotificationObserver::create(
        desk.port, AccessDesk::appPID,
        [&](AXNotificationObserver& self, const AXElement& element, const std::string& name, const auto*) {
          received.push_back(name);
          self.addNotification("AXResized", element);
          EXPECT_TRUE(self.isActive());
          self.stop();
          EXPECT_FALSE(self.isActive());
        });
    observer->start();
    desk.port.notify(window, "AXMoved");
    desk.port.notify(window, "AXMoved");
    scheduler.settle();
    EXPECT_THAT(received, ElementsAre("AXMoved"));
  });
}

TEST_F(AXNotificationObserverTests, AnObserverDestroyedDuringItsCallbackLivesUntilTheCallbackReturns) {
  desk.run([&] {
    std::shared_ptr<AXNotificationObserver> observer;
    std::weak_ptr<AXNotificationObserver> watched;
    observer = AXNotificationObserver::create(
        desk.port, AccessDesk::appPID,
        [&](AXNotificationObserver& self, const AXElement&, const std::string& name, const auto*) {
          observer.reset();
          scheduler.yield();
          EXPECT_FALSE(watched.expired());
          EXPECT_EQ(self.pid(), AccessDesk::appPID);
          received.push_back(name);
        });
    watched = observer;
    observer->start();
    desk.port.notify(window, "AXMoved");
    scheduler.settle();
    EXPECT_THAT(received, ElementsAre("AXMoved"));
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(desk.port.observerSourceCount(), 0);
  });
}

TEST(AXNotificationObserverExplorationTests, StoppingAndLettingGoNeverDisturbARunningCallback) {
  exploreSeeds(300, [](SimulatedScheduler& scheduler) {
    AccessDesk desk(scheduler);
    const AXElement window = desk.port.add(AccessDesk::appPID);
    desk.run([&] {
      std::weak_ptr<AXNotificationObserver> watched;
      auto observer = AXNotificationObserver::create(
          desk.port, AccessDesk::appPID,
          [&](AXNotificationObserver& self, const AXElement&, const std::string&, const auto*) {
            for (int i = 0; i < 3; ++i) {
              scheduler.yield();
              ASSERT_EQ(watched.lock().get(), &self);
              self.isActive();
            }
          });
      watched = observer;
      observer->start();
      for (int i = 0; i < 3; ++i) desk.port.notify(window, "AXMoved");
      const Task stopping = scheduler.start("stopping", [observer] { observer->stop(); });
      const Task adding = scheduler.start("adding", [observer, &window] {
        try {
          observer->addNotification("AXMoved", window);
        } catch (const UIElementError& error) {
          EXPECT_EQ(error, UIElementError::invalidElement());
        }
      });
      observer.reset();
      stopping.join();
      adding.join();
      scheduler.sleep(seconds(1));
      EXPECT_EQ(desk.port.observerSourceCount(), 0);
    });
  });
}

}  // namespace
}  // namespace tavik
