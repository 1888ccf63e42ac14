#include <signal.h>

#include <atomic>
#include <mutex>
#include <vector>

#include "DesktopFixture.h"

namespace tavik {
namespace {

using namespace std::chrono_literals;

class HungApplicationTests : public DesktopFixture {
 protected:
  template <class Work>
  static std::chrono::milliseconds duration(Work work) {
    auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }
};

TEST_F(HungApplicationTests, AStoppedApplicationCostsItsTimeOutAndOthersNothing) {
  ApplicationUnderTest hung({"galculator"});
  ApplicationUnderTest lively({"mousepad"});
  AXElement hungRoot = appeared(hung);
  AXElement livelyRoot = appeared(lively);
  AXElement button = tree(hung).all("AXCheckBox").front()->element;
  ASSERT_EQ(port.setMessagingTimeout(hungRoot, 0.4f), AXError::success);
  hung.freeze();

  for (int pass = 0; pass < 2; ++pass) {
    AXResult<AXValue> role;
    auto spent = duration([&] { role = port.copyAttributeValue(button, "AXRole"); });
    EXPECT_EQ(role.code, AXError::cannotComplete);
    EXPECT_GE(spent, 390ms);
    EXPECT_LT(spent, 700ms);
  }
  auto spent = duration([&] {
    auto scope = port.beginReadScope(hungRoot);
    EXPECT_EQ(port.copyAttributeValue(hungRoot, "AXRole").code, AXError::cannotComplete);
  });
  EXPECT_LT(spent, 700ms);
  spent = duration([&] { EXPECT_EQ(port.performAction(button, "AXPress"), AXError::cannotComplete); });
  EXPECT_LT(spent, 700ms);

  std::atomic<bool> isHungRead = false;
  std::thread waiter([&] {
    port.copyAttributeValue(button, "AXRole");
    isHungRead = true;
  });
  EXPECT_EQ(text(livelyRoot, "AXRole"), "AXApplication");
  EXPECT_GT(tree(lively).count(), 10u);
  EXPECT_FALSE(isHungRead);
  waiter.join();

  hung.thaw();
  EXPECT_TRUE(becomesTrue([&] { return text(button, "AXRole") == "AXCheckBox"; }));
}

TEST_F(HungApplicationTests, AnApplicationThatStopsInTheMiddleOfAReadingCostsOneTimeOut) {
  ApplicationUnderTest gallery({"gtk4-widget-factory"});
  AXElement root = appeared(gallery);
  port.setMessagingTimeout(root, 0.5f);
  for (auto delay : {2ms, 10ms, 25ms, 50ms}) {
    std::thread freezer([&] {
      std::this_thread::sleep_for(delay);
      gallery.freeze();
    });
    auto spent = duration([&] {
      auto scope = port.beginReadScope(root);
      port.copyAttributeValue(root, "AXChildren");
    });
    EXPECT_LT(spent, 1300ms) << "stopped after " << delay.count() << " ms";
    freezer.join();
    gallery.thaw();
    ASSERT_TRUE(becomesTrue([&] { return text(root, "AXRole") == "AXApplication"; }));
  }
}

TEST_F(HungApplicationTests, WhatHasDiedIsInvalid) {
  ApplicationUnderTest calculator({"galculator"});
  AXElement root = appeared(calculator);
  AXElement button = tree(calculator).all("AXCheckBox").front()->element;
  std::int32_t pid = calculator.pid();
  calculator.kill();
  EXPECT_TRUE(becomesTrue(
      [&] { return port.copyAttributeValue(button, "AXRole").code == AXError::invalidUIElement; }));
  EXPECT_EQ(port.copyAttributeValue(root, "AXRole").code, AXError::invalidUIElement);
  EXPECT_EQ(port.performAction(button, "AXPress"), AXError::invalidUIElement);
  EXPECT_EQ(port.getPid(button).value, pid);
  EXPECT_EQ(port.copyAttributeValue(port.createApplication(getpid()), "AXRole").code, AXError::apiDisabled);
}

TEST_F(HungApplicationTests, AnApplicationThatHasJustStartedBecomesReadable) {
  ApplicationUnderTest editor({"mousepad"});
  AXElement early = port.createApplication(editor.pid());
  EXPECT_NE(port.copyAttributeValue(early, "AXRole").code, AXError::invalidUIElement);
  EXPECT_TRUE(becomesTrue([&] { return text(early, "AXRole") == "AXApplication"; }));
}

TEST_F(HungApplicationTests, ObserversHearWhatHappensAndNothingAfterTheirEnd) {
  ApplicationUnderTest editor({"mousepad"});
  AXElement root = appeared(editor);
  std::mutex mutex;
  std::vector<std::string> heard;
  auto hears = [&](const std::string& name) {
    std::lock_guard lock(mutex);
    return std::find(heard.begin(), heard.end(), name) != heard.end();
  };
  auto observer = port.createObserver(editor.pid(), [&](const AXElement& subject, const std::string& name) {
    EXPECT_EQ(port.getPid(subject).value, editor.pid());
    std::lock_guard lock(mutex);
    heard.push_back(name);
  });
  ASSERT_TRUE(observer.ok());
  for (const char* name : {"AXValueChanged", "AXMenuOpened", "AXMenuClosed", "AXSelectedTextChanged"}) {
    EXPECT_EQ(port.addNotification(observer.value, root, name), AXError::success) << name;
  }
  EXPECT_EQ(port.addNotification(observer.value, root, "AXValueChanged"),
            AXError::notificationAlreadyRegistered);
  EXPECT_EQ(port.addNotification(observer.value, root, "AXNonsense"), AXError::notificationUnsupported);
  port.addObserverSource(observer.value);

  TreeNode read = tree(editor);
  AXElement area = read.all("AXTextArea").front()->element;
  std::string contents = "x";
  EXPECT_TRUE(becomesTrue([&] {
    port.setAttributeValue(area, "AXValue", contents += "x");
    return hears("AXValueChanged");
  }));
  EXPECT_EQ(port.performAction(read.find("AXMenuBarItem", "View")->element, "AXPress"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return hears("AXMenuOpened"); }));

  EXPECT_EQ(port.removeNotification(observer.value, root, "AXValueChanged"), AXError::success);
  EXPECT_EQ(port.removeNotification(observer.value, root, "AXValueChanged"),
            AXError::notificationNotRegistered);
  port.removeObserverSource(observer.value);
  observer.value.reset();
  std::size_t atEnd = 0;
  {
    std::lock_guard lock(mutex);
    atEnd = heard.size();
  }
  port.setAttributeValue(area, "AXValue", "after the end");
  EXPECT_EQ(text(area, "AXValue"), "after the end");
  std::lock_guard lock(mutex);
  EXPECT_EQ(heard.size(), atEnd);
}

TEST_F(HungApplicationTests, AnAccessibilityBusThatGoesAwayIsFoundAgain) {
  ApplicationUnderTest before({"galculator"});
  AXElement root = appeared(before);
  BusMessage question = BusMessage::methodCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress");
  auto daemonPID = [&]() -> std::int32_t {
    BusConnection accessibilityBus([&] { return sessionBus.call(question, 5s).read().string(); });
    auto daemon = accessibilityBus.credentials("org.freedesktop.DBus");
    return daemon ? daemon->pid : 0;
  };
  const std::int32_t killed = daemonPID();
  ASSERT_NE(killed, 0);
  ::kill(killed, SIGKILL);
  EXPECT_TRUE(becomesTrue([&] { return port.copyAttributeValue(root, "AXRole").code != AXError::success; }));
  EXPECT_TRUE(becomesTrue([&] {
    const std::int32_t present = daemonPID();
    return present != 0 && present != killed;
  }));
  // An application that looks for the bus too early keeps the address of the dead
  // one and is never heard of again; a person would start it anew.
  bool isRead = false;
  for (int start = 0; start < 4 && !isRead; ++start) {
    ApplicationUnderTest after({"mousepad"});
    const AXElement again = port.createApplication(after.pid());
    isRead = becomesTrue([&] { return readTree(port, again).count() > 10; }, 8s);
  }
  EXPECT_TRUE(isRead);
}

TEST_F(HungApplicationTests, ManyThreadsReadManyApplicationsAtOnce) {
  ApplicationUnderTest first({"galculator"});
  ApplicationUnderTest second({"mousepad"});
  AXElement roots[] = {appeared(first), appeared(second)};
  std::size_t sizes[] = {tree(first).count(), tree(second).count()};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, which = thread % 2] {
      for (int pass = 0; pass < 4; ++pass) EXPECT_EQ(readTree(port, roots[which]).count(), sizes[which]);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace tavik
