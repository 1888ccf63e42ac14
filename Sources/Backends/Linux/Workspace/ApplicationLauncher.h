#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <optional>
#include <string>

#include "Backends/Linux/Bus/BusConnection.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Workspace/DesktopEntryIndex.h"

namespace tavik {

/// Starts applications from their desktop entries. Any thread.
///
/// In the background means: the application is told that no action of the user
/// started it, so that the window manager leaves the user's window active; and where
/// it does not, the user's window is made active again. The launched windows are
/// watched for that for some seconds.
class ApplicationLauncher {
 public:
  /// Given nothing when the application was started, else the reason.
  using Completion = std::function<void(std::optional<std::string> error)>;

  ApplicationLauncher(BusConnection& bus, X11Desktop& desktop, DesktopEntryIndex& entries)
      : bus_(bus), desktop_(desktop), entries_(entries) {}
  /// Ends the watch over launched windows; the applications go on.
  ~ApplicationLauncher();

  /// Returns at once; the completion is called on another thread.
  void launch(DesktopEntry entry, bool activates, Completion completion);

 private:
  std::optional<std::string> start(const DesktopEntry& entry, const std::string& startupID);
  bool activateOverBus(const DesktopEntry& entry, const std::string& startupID);
  std::optional<std::string> startProgram(const DesktopEntry& entry, const std::string& startupID);

  BusConnection& bus_;
  X11Desktop& desktop_;
  DesktopEntryIndex& entries_;
  std::atomic<bool> isEnding_ = false;
  std::mutex mutex_;
  /// Each joins its thread when it is dropped.
  std::list<std::future<void>> launches_;
};

}  // namespace tavik
