#include "ComputerUsePlatform/Windows/WindowServerAccessBroker.h"

#include <algorithm>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr Duration freshEntry = milliseconds(120);
constexpr Duration entryWhileSlow = milliseconds(750);
constexpr Duration slowQuery = milliseconds(250);
constexpr Duration slowPeriod = milliseconds(1000);
constexpr std::size_t mostEntries = 8;

}  // namespace

std::optional<std::vector<WindowRecord>> WindowServerAccessBroker::copyWindowInfo(std::uint32_t options,
                                                                                  std::uint32_t relativeToWindow,
                                                                                  const char* reason) {
  const CacheKey key(options, relativeToWindow);
  if (auto windows = cached(key)) return windows;

  const MonotonicTime asked = scheduler_.now();
  auto windows = port_.copyWindowInfo(options, relativeToWindow);
  const MonotonicTime now = scheduler_.now();
  const Duration took = now - asked;
  if (windows) store(key, *windows, now);
  if (took < slowQuery) return windows;
  {
    MutexLock lock(lock_);
    slowUntil_ = std::max(slowUntil_.value_or(now), now + slowPeriod);
  }
  TavikComputerUseLogger::warning(LogCategory::windows, "window_snapshot_slow",
                                  {{"reason", reason}, {"durationMs", roundedMilliseconds(took)}});
  return windows;
}

std::optional<std::vector<WindowRecord>> WindowServerAccessBroker::cached(const CacheKey& key) {
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(lock_);
  pruneCacheLocked(now);
  const auto found = cache_.find(key);
  if (found == cache_.end()) return std::nullopt;
  const Duration age = now - found->second.createdAt;
  const bool isSlow = slowUntil_ && now < *slowUntil_;
  if (age <= freshEntry || (isSlow && age <= entryWhileSlow)) return found->second.windows;
  return std::nullopt;
}

void WindowServerAccessBroker::store(const CacheKey& key, const std::vector<WindowRecord>& windows,
                                     MonotonicTime now) {
  MutexLock lock(lock_);
  cache_.insert_or_assign(key, CachedWindowList{now, windows});
  pruneCacheLocked(now);
}

void WindowServerAccessBroker::pruneCacheLocked(MonotonicTime now) {
  std::erase_if(cache_, [&](const auto& entry) { return now - entry.second.createdAt > entryWhileSlow; });
  while (cache_.size() > mostEntries) {
    cache_.erase(std::ranges::min_element(
        cache_, {}, [](const auto& entry) { return entry.second.createdAt; }));
  }
}

}  // namespace tavik
