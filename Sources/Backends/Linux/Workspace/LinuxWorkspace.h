#pragma once

#include <functional>
#include <vector>

#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Workspace/ActiveWindowKeeper.h"
#include "Backends/Linux/Workspace/ApplicationLauncher.h"
#include "Backends/Linux/Workspace/DesktopEntryIndex.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The running applications: the processes that own windows, and those that offer
/// their elements to assistive technology. Their identifier is that of the desktop
/// entry they belong to, else the name of their program.
class LinuxWorkspace : public WorkspacePort {
 public:
  /// Gives the processes on the accessibility bus. Any thread; may block.
  using AccessibleProcesses = std::function<std::vector<std::int32_t>()>;

  LinuxWorkspace(X11Desktop& desktop, DesktopEntryIndex& entries, ApplicationLauncher& launcher,
                 ActiveWindowKeeper& activeWindows, AccessibleProcesses accessibleProcesses)
      : desktop_(desktop),
        entries_(entries),
        launcher_(launcher),
        activeWindows_(activeWindows),
        accessibleProcesses_(std::move(accessibleProcesses)) {}

  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int32_t pid) override;
  std::optional<RunningApplication> frontmostApplication() override;
  std::unique_ptr<FrontmostObservation> observeFrontmostApplication(
      std::function<void(const std::optional<RunningApplication>&)> handler) override;
  void activate(std::int32_t pid) override;
  std::unique_ptr<FrontmostHold> holdFrontmost(std::int32_t against) override;

  ApplicationLayout applicationLayout() override;
  /// Each under its file name, and under its name and its program's if menus show it.
  std::vector<DirectoryEntry> contentsOfDirectory(const std::string& path) override;
  /// Applications that menus do not show are "LSUIElement", those that run inside a
  /// terminal "LSBackgroundOnly".
  std::optional<ApplicationBundle> bundle(const std::string& path) override;
  std::optional<std::string> urlForApplication(const std::string& withBundleIdentifier) override;
  void openApplication(const std::string& path, const OpenConfiguration& configuration,
                       OpenCompletionHandler completionHandler) override;

 private:
  struct Survey;

  Survey look();
  static RunningApplication describe(std::int32_t pid, const Survey& survey);

  X11Desktop& desktop_;
  DesktopEntryIndex& entries_;
  ApplicationLauncher& launcher_;
  ActiveWindowKeeper& activeWindows_;
  const AccessibleProcesses accessibleProcesses_;
};

}  // namespace tavik
