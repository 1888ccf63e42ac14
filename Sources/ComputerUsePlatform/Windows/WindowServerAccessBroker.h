#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// Asks the window server for window lists, and answers bursts of the same question
/// from a tiny cache, which lives longer while the window server is slow. One for
/// the process; any thread; the lock is never held while the window server is asked.
class WindowServerAccessBroker {
 public:
  WindowServerAccessBroker(WindowServerPort& port, Scheduler& scheduler) : port_(port), scheduler_(scheduler) {}

  /// From front to back; absent when the window server did not answer. `reason` says
  /// in the log who asked.
  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t options, std::uint32_t relativeToWindow,
                                                          const char* reason);

 private:
  using CacheKey = std::pair<std::uint32_t, std::uint32_t>;
  struct CachedWindowList {
    MonotonicTime createdAt;
    std::vector<WindowRecord> windows;
  };

  std::optional<std::vector<WindowRecord>> cached(const CacheKey& key);
  void store(const CacheKey& key, const std::vector<WindowRecord>& windows, MonotonicTime now);
  void pruneCacheLocked(MonotonicTime now);

  WindowServerPort& port_;
  Scheduler& scheduler_;
  Mutex lock_;
  std::map<CacheKey, CachedWindowList> cache_;
  std::optional<MonotonicTime> slowUntil_;
};

}  // namespace tavik
