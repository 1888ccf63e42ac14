#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/KeyboardLayoutPort.h"

namespace tavik {

/// Remembers the user's keyboard layout until the user switches to another: reading
/// it is dear, and every typed text asks for it. One for the process; any thread.
class KeyboardLayoutSnapshotProvider {
 public:
  using SnapshotReader = std::function<std::optional<KeyboardLayoutSnapshot>()>;

  /// Reads from the port, on the main thread, and listens for changes of layout.
  KeyboardLayoutSnapshotProvider(KeyboardLayoutPort& port, MainQueue& mainQueue);
  ~KeyboardLayoutSnapshotProvider();
  KeyboardLayoutSnapshotProvider(const KeyboardLayoutSnapshotProvider&) = delete;
  KeyboardLayoutSnapshotProvider& operator=(const KeyboardLayoutSnapshotProvider&) = delete;

  /// The layout in use; absent when the platform knows none. Never an outdated one:
  /// a reading that was overtaken by a change is made again.
  std::optional<KeyboardLayoutSnapshot> currentSnapshot();
  /// The next look-up reads the layout anew.
  void invalidate();

 private:
  KeyboardLayoutPort& port_;
  const SnapshotReader snapshotReader_;
  Mutex lock_;
  std::optional<KeyboardLayoutSnapshot> cachedSnapshot_;
  std::uint64_t cacheGeneration_ = 0;
};

}  // namespace tavik
