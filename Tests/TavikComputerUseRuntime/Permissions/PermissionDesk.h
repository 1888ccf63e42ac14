#pragma once

#include "Backends/Simulated/SimulatedDesktop.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ServedMainQueue.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionGate.h"
#include "TavikComputerUseRuntime/Permissions/PermissionFlow.h"

namespace tavik {

/// A permission gate with its window on a simulated desktop on which both permissions
/// are missing. Used from inside `SimulatedScheduler::run`.
struct PermissionDesk {
  using Outcome = ComputerUseRuntimePermissionGateOutcome;

  explicit PermissionDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {
    state.setChangeHandler([this](const auto& before, const auto& after) {
      mainQueue.async([this, before, after] { flow.permissionsChanged(before, after); });
    });
    grant(false, false);
    state.refreshNow("test");
    log.clear();
  }

  SimulatedScheduler& scheduler;
  LogCapture log;
  MainQueue mainQueue{scheduler};
  SimulatedDesktop desktop{scheduler, mainQueue};
  Platform& ports = desktop.platform();
  SimulatedUserInterface& userInterface = desktop.userInterface();
  ComputerUseRuntimePermissionState state{scheduler, ports.permissions, ports.windowServer, ports.process};
  PermissionFlow flow{scheduler, ports.userInterface, state, [this] { gate.cancelPendingWaits(); }};
  ComputerUseRuntimePermissionGate gate{scheduler, mainQueue, state,
                                        [this] { return flow.showPermissionsWindow("permissionGate"); }};
  ServedMainQueue main{scheduler, mainQueue};

  void grant(bool accessibility, bool screenCapture) {
    desktop.permissions().grantAccessibility(accessibility);
    desktop.permissions().grantScreenCapture(screenCapture);
  }
  double elapsed() const { return inSeconds(scheduler.now().sinceStart); }
  bool show(const std::string& source, bool force = false) {
    return mainQueue.sync([&] { return flow.showPermissionsWindow(source, force); });
  }
  std::vector<std::string> windowJournal() {
    std::vector<std::string> lines;
    for (const auto& line : desktop.journal().lines()) {
      if (line.ends_with("permissions window")) lines.push_back(line.substr(0, line.find(' ')));
    }
    return lines;
  }
};

inline void onPermissionDesk(const std::function<void(PermissionDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    {
      PermissionDesk desk(scheduler);
      body(desk);
    }
    if (scheduler.unfinishedTaskCount() != 1) throw std::runtime_error("a task is left asleep");
  });
}

}  // namespace tavik
