#pragma once

#include <functional>
#include <vector>

#include "Backends/Linux/Windows/X11Desktop.h"
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

  LinuxWorkspace(X11Desktop& desktop, DesktopEntryIndex& entries, AccessibleProcesses accessibleProcesses)
      : desktop_(desktop), entries_(entries), accessibleProcesses_(std::move(accessibleProcesses)) {}

  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int32_t pid) override;
  std::optional<RunningApplication> frontmostApplication() override;

 private:
  struct Survey;

  Survey look();
  static RunningApplication describe(std::int32_t pid, const Survey& survey);

  X11Desktop& desktop_;
  DesktopEntryIndex& entries_;
  const AccessibleProcesses accessibleProcesses_;
};

}  // namespace tavik
