#include "ComputerUsePlatform/Windows/WindowServerWindowSnapshot.h"

namespace tavik {

std::optional<WindowServerWindowSnapshot::WindowList> WindowServerWindowSnapshot::copyWindowInfo(
    std::uint32_t options, std::uint32_t relativeToWindow, const char* reason) {
  const auto key = std::pair(options, relativeToWindow);
  {
    MutexLock lock(lock_);
    const auto cached = cache_.find(key);
    if (cached != cache_.end()) return cached->second;
  }
  auto windows = loader_(options, relativeToWindow, reason);
  if (windows) {
    MutexLock lock(lock_);
    cache_.insert_or_assign(key, *windows);
  }
  return windows;
}

std::optional<WindowServerWindowSnapshot::WindowList> WindowServerWindowSnapshot::onScreenNonDesktopWindows(
    const char* reason) {
  return copyWindowInfo(WindowListOption::onScreenOnly | WindowListOption::excludeDesktopElements, 0, reason);
}

}  // namespace tavik
