#pragma once

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The running applications of the model, in the order in which they started.
class SimulatedWorkspace : public WorkspacePort {
 public:
  explicit SimulatedWorkspace(ElementModel& model) : model_(model) {}

  std::vector<RunningApplication> runningApplications() override {
    requireNoLockHeld("runningApplications");
    return model_.look([&] {
      std::vector<RunningApplication> running;
      for (const auto& application : model_.applicationsLocked()) {
        if (application->isRunning) running.push_back(application->record);
      }
      return running;
    });
  }

  std::optional<RunningApplication> runningApplication(std::int32_t pid) override {
    requireNoLockHeld("runningApplication");
    return model_.look([&] {
      ApplicationNode* application = model_.runningApplicationLocked(pid);
      return application ? std::optional(application->record) : std::nullopt;
    });
  }

  std::optional<RunningApplication> frontmostApplication() override {
    requireNoLockHeld("frontmostApplication");
    return model_.look([&] {
      ApplicationNode* application = model_.frontmostLocked();
      return application ? std::optional(application->record) : std::nullopt;
    });
  }

 private:
  ElementModel& model_;
};

}  // namespace tavik
