#pragma once

#include <functional>
#include <optional>

#include "Backends/Simulated/SimulatedDesktop.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// A simulated desktop with its main thread, in virtual time.
class SimulatedWorld {
 public:
  explicit SimulatedWorld(std::optional<std::uint64_t> seed = std::nullopt) : scheduler(seed) {}

  /// Runs `body` as a task while another serves the main queue.
  void run(const std::function<void()>& body) {
    scheduler.run([&] {
      Task main = scheduler.start("main", [this] { mainQueue.run(); });
      try {
        body();
      } catch (...) {
        mainQueue.quit();
        main.join();
        throw;
      }
      mainQueue.quit();
      main.join();
    });
  }

  SimulatedScheduler scheduler;
  MainQueue mainQueue{scheduler};
  SimulatedDesktop desktop{scheduler, mainQueue};
};

}  // namespace tavik
