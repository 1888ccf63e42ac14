#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/ProcessPort.h"
#include "ScriptedAccessibility.h"

namespace tavik {

/// A process that knows its own number and nothing else.
class NumberedProcess : public ProcessPort {
 public:
  explicit NumberedProcess(std::int32_t pid) : pid_(pid) {}
  std::int32_t currentPID() override { return pid_; }
  std::int32_t parentPID() override { return 1; }
  int probe(std::int32_t) override { return 0; }
  std::optional<std::string> executablePath(std::int32_t) override { return std::nullopt; }
  std::optional<std::int32_t> responsiblePID(std::int32_t) override { return std::nullopt; }
  std::int32_t determinePermissionToAutomate(std::int32_t, bool) override { return 0; }
  std::optional<std::string> environment(const std::string&) override { return std::nullopt; }
  std::string homeDirectory() override { return "/"; }
  std::optional<std::string> bundleIdentifier() override { return std::nullopt; }
  std::string bundlePath() override { return "/"; }
  std::string operatingSystemVersion() override { return ""; }

 private:
  const std::int32_t pid_;
};

/// The access layer over scripted elements, in virtual time.
struct AccessDesk {
  static constexpr std::int32_t ownPID = 100;
  static constexpr std::int32_t appPID = 200;
  static constexpr std::int32_t otherPID = 300;

  explicit AccessDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {}

  SimulatedScheduler& scheduler;
  MainQueue mainQueue{scheduler};
  ScriptedAccessibility port{mainQueue};
  NumberedProcess process{ownPID};
  AXWrapper access{port, process, scheduler, mainQueue};

  /// Runs `body` on a task beside the one that serves the main queue. Once.
  void run(const std::function<void()>& body) {
    scheduler.run([&] {
      const Task main = scheduler.start("main", [&] { mainQueue.run(); });
      mainQueue.sync([] {});
      std::exception_ptr error;
      try {
        body();
      } catch (...) {
        error = std::current_exception();
      }
      mainQueue.quit();
      main.join();
      if (error) std::rethrow_exception(error);
    });
  }
};

}  // namespace tavik
