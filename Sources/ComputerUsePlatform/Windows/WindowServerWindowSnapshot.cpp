#include "ComputerUsePlatform/Windows/WindowServerWindowSnapshot.h"

namespace tavik {

std::optional<std::vector<WindowRecord>> WindowServerWindowSnapshot::copyWindowInfo(std::uint32_t options,
                                                                                    std::uint32_t relativeToWindow) {
  const auto key = std::pair(options, relativeToWindow);
  {
    MutexLock lock(mutex_);
    auto cached = cache_.find(key);
    if (cached != cache_.end()) return cached->second;
  }
  auto windows = windowServer_.copyWindowInfo(options, relativeToWindow);
  if (windows) {
    MutexLock lock(mutex_);
    cache_.insert_or_assign(key, *windows);
  }
  return windows;
}

}  // namespace tavik
