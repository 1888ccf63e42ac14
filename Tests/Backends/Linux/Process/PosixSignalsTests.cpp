#include "Backends/Linux/Process/PosixSignals.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "Base/Concurrency/ThreadScheduler.h"

namespace tavik {
namespace {

class Signals : public testing::Test {
 protected:
  ~Signals() override {
    mainQueue.quit();
    main.join();
  }

  static void (*dispositionOf(int signal))(int) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
  }

  ThreadScheduler scheduler;
  MainQueue mainQueue{scheduler};
  PosixSignals signals{mainQueue};
  std::thread main{[this] { mainQueue.run(); }};
};

TEST_F(Signals, RunTheirHandlerOnTheMainQueue) {
  Completion<bool> handled(scheduler);
  auto source = signals.makeSource(SIGUSR1, [&] { handled.resume(mainQueue.isCurrent()); });
  kill(getpid(), SIGUSR1);
  EXPECT_EQ(handled.waitFor(seconds(10)), true);
}

TEST_F(Signals, AreDeliveredThoughTheyWereIgnoredBefore) {
  Completion<Unit> handled(scheduler);
  signals.ignore(SIGUSR1);
  auto source = signals.makeSource(SIGUSR1, [&] { handled.resume(); });
  signals.ignore(SIGUSR1);
  kill(getpid(), SIGUSR1);
  EXPECT_TRUE(handled.waitFor(seconds(10)));
}

TEST_F(Signals, EachReachTheirOwnHandler) {
  Completion<int> first(scheduler), second(scheduler);
  auto one = signals.makeSource(SIGUSR1, [&] { first.resume(1); });
  auto two = signals.makeSource(SIGUSR2, [&] { second.resume(2); });
  kill(getpid(), SIGUSR2);
  EXPECT_EQ(second.waitFor(seconds(10)), 2);
  EXPECT_FALSE(first.isResumed());
  kill(getpid(), SIGUSR1);
  EXPECT_EQ(first.waitFor(seconds(10)), 1);
}

TEST_F(Signals, DoWhatTheyDidBeforeWhenTheSourceHasGone) {
  signals.ignore(SIGUSR1);
  auto source = signals.makeSource(SIGUSR1, [] {});
  EXPECT_NE(dispositionOf(SIGUSR1), SIG_IGN);
  source.reset();
  EXPECT_EQ(dispositionOf(SIGUSR1), SIG_IGN);
  kill(getpid(), SIGUSR1);
  signal(SIGUSR1, SIG_DFL);
}

TEST_F(Signals, ThatWereUnderWayWhenTheSourceWentReachNobody) {
  Completion<Unit> begun(scheduler), mayGoOn(scheduler);
  mainQueue.async([&] {
    begun.resume();
    mayGoOn.wait();
  });
  begun.wait();
  bool isHandled = false;
  signals.ignore(SIGUSR1);
  auto source = signals.makeSource(SIGUSR1, [&] { isHandled = true; });
  kill(getpid(), SIGUSR1);
  source.reset();
  mayGoOn.resume();
  mainQueue.sync([] {});
  EXPECT_FALSE(isHandled);
}

}  // namespace
}  // namespace tavik
