#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Journal.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// An application on the simulated disk, and what its launch does.
struct InstalledApplication {
  std::string path;
  ApplicationBundle bundle{};
  /// Why it cannot be started.
  std::optional<std::string> launchError{};
  /// Runs on the main queue once the launch is reported, as the application would.
  std::function<void()> whenLaunched{};
};

/// The running applications of the model, in the order in which they started, and
/// the installed ones. Each launch is in the journal.
class SimulatedWorkspace : public WorkspacePort {
 public:
  SimulatedWorkspace(ElementModel& model, Journal& journal, MainQueue& mainQueue)
      : model_(model), journal_(journal), mainQueue_(mainQueue) {}

  void install(InstalledApplication application);

  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int32_t pid) override;
  std::optional<RunningApplication> frontmostApplication() override;

  ApplicationLayout applicationLayout() override;
  std::vector<DirectoryEntry> contentsOfDirectory(const std::string& path) override;
  std::optional<ApplicationBundle> bundle(const std::string& path) override;
  std::optional<std::string> urlForApplication(const std::string& withBundleIdentifier) override;
  void openApplication(const std::string& path, const OpenConfiguration& configuration,
                       OpenCompletionHandler completionHandler) override;

 private:
  std::optional<InstalledApplication> installed(const std::string& path);

  ElementModel& model_;
  Journal& journal_;
  MainQueue& mainQueue_;
  Mutex mutex_;
  std::deque<InstalledApplication> installed_;
};

}  // namespace tavik
