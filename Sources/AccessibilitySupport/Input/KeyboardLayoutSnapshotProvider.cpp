#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"

namespace tavik {

KeyboardLayoutSnapshotProvider::KeyboardLayoutSnapshotProvider(KeyboardLayoutPort& port, MainQueue& mainQueue)
    : port_(port), snapshotReader_([&port, &mainQueue] {
        return mainQueue.sync([&port] { return port.copyCurrentLayout(); });
      }) {
  port_.setLayoutChangedHandler([this] { invalidate(); });
}

KeyboardLayoutSnapshotProvider::~KeyboardLayoutSnapshotProvider() { port_.setLayoutChangedHandler(nullptr); }

std::optional<KeyboardLayoutSnapshot> KeyboardLayoutSnapshotProvider::currentSnapshot() {
  while (true) {
    std::uint64_t generation = 0;
    {
      MutexLock lock(lock_);
      if (cachedSnapshot_) return cachedSnapshot_;
      generation = cacheGeneration_;
    }
    auto snapshot = snapshotReader_();
    MutexLock lock(lock_);
    if (cachedSnapshot_) return cachedSnapshot_;
    if (generation != cacheGeneration_) continue;
    cachedSnapshot_ = snapshot;
    return snapshot;
  }
}

void KeyboardLayoutSnapshotProvider::invalidate() {
  MutexLock lock(lock_);
  cachedSnapshot_.reset();
  ++cacheGeneration_;
}

}  // namespace tavik
