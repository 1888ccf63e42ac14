#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "Base/Concurrency/TurnLock.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Knows the application in front and tells others when another one comes there. Any
/// thread; handlers run on the thread that learned of the change, without a lock.
class SystemFrontmostApplicationTracker {
 public:
  using Application = std::optional<RunningApplication>;
  using Handler = std::function<void(const Application& now, const Application& before)>;

  SystemFrontmostApplicationTracker(WorkspacePort& workspace, Scheduler& scheduler);
  SystemFrontmostApplicationTracker(const SystemFrontmostApplicationTracker&) = delete;
  SystemFrontmostApplicationTracker& operator=(const SystemFrontmostApplicationTracker&) = delete;

  Application frontmostApplication() const;

  /// One handler for each observer, known by its address.
  void addObserver(const void* observer, Handler handler);
  /// Waits for the handler's end when it runs just now; so no handler may call this.
  void removeObserver(const void* observer);

 private:
  void receive(const Application& now);

  mutable Mutex lock_;
  /// Held while a handler runs.
  TurnLock calling_;
  Application frontmostApplication_;
  std::map<const void*, Handler> observers_;
  /// Last, so that it ends before the rest.
  std::unique_ptr<FrontmostObservation> observation_;
};

}  // namespace tavik
