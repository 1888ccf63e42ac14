#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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
/// the installed ones. Each launch and activation is in the journal.
class SimulatedWorkspace : public WorkspacePort {
 public:
  SimulatedWorkspace(ElementModel& model, Journal& journal, MainQueue& mainQueue);

  void install(InstalledApplication application);

  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int32_t pid) override;
  std::optional<RunningApplication> frontmostApplication() override;
  std::unique_ptr<FrontmostObservation> observeFrontmostApplication(
      std::function<void(const std::optional<RunningApplication>&)> handler) override;
  void activate(std::int32_t pid) override;
  std::unique_ptr<FrontmostHold> holdFrontmost(std::int32_t against) override;

  ApplicationLayout applicationLayout() override;
  std::vector<DirectoryEntry> contentsOfDirectory(const std::string& path) override;
  std::optional<ApplicationBundle> bundle(const std::string& path) override;
  std::optional<std::string> urlForApplication(const std::string& withBundleIdentifier) override;
  void openApplication(const std::string& path, const OpenConfiguration& configuration,
                       OpenCompletionHandler completionHandler) override;

 private:
  class Observation;
  using FrontmostHandler = std::function<void(const std::optional<RunningApplication>&)>;

  std::optional<InstalledApplication> installed(const std::string& path);
  void announceFrontmost();

  ElementModel& model_;
  Journal& journal_;
  MainQueue& mainQueue_;
  Mutex mutex_;
  std::deque<InstalledApplication> installed_;
  std::vector<std::shared_ptr<FrontmostHandler>> frontmostHandlers_;
};

}  // namespace tavik
