#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "ApplicationUnderTest.h"
#include "Backends/Linux/Accessibility/ATSPIAccessibilityPort.h"
#include "Backends/Linux/Windows/X11WindowPlacement.h"
#include "TreeNode.h"

namespace tavik {

/// A main queue of the test's own, served by one thread.
class TestMainQueue {
 public:
  TestMainQueue();
  ~TestMainQueue();
  void post(std::function<void()> work);

 private:
  void serve();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> work_;
  bool isEnding_ = false;
  std::thread thread_;
};

/// The accessibility port on the desktop that the test runs in.
class DesktopFixture : public testing::Test {
 protected:
  /// Waits until the application has a window, and until its tree has ceased to grow.
  AXElement appeared(const ApplicationUnderTest& application);
  TreeNode tree(const ApplicationUnderTest& application);

  static bool becomesTrue(const std::function<bool()>& condition,
                          std::chrono::milliseconds patience = std::chrono::seconds(15));

  std::string text(const AXElement& element, const std::string& attribute);
  /// -1 for what is no number.
  double number(const AXElement& element, const std::string& attribute);
  AXElement element(const AXElement& element, const std::string& attribute);

  TestMainQueue mainQueue;
  BusConnection sessionBus{BusConnection::sessionBusAddress()};
  X11Desktop desktop;
  X11WindowPlacement placement{desktop};
  ATSPIAccessibilityPort port{sessionBus, placement,
                              [this](std::function<void()> work) { mainQueue.post(std::move(work)); }};
};

}  // namespace tavik
