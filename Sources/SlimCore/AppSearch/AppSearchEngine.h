#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// One application that the user has at hand.
struct AppSearchResult {
  std::string displayName;
  std::string bundleIdentifier;
  std::optional<std::string> path;
  std::optional<WallTime> lastUsedDate;
  std::optional<std::int64_t> useCount;
  bool isRunning = false;
  bool isFrontmost = false;
};

/// The applications, best first, and when the list was made.
struct AppIndexSnapshot {
  std::vector<AppSearchResult> apps;
  WallTime timestamp{};
};

/// True when `a` stands before `b`: frontmost, running, last used later, used more
/// often, then by name, identifier and path.
bool compareAppSearchResults(const AppSearchResult& a, const AppSearchResult& b);

/// Knows the user's applications: for now those that run. Any thread.
class AppSearchEngine {
 public:
  AppSearchEngine(WorkspacePort& workspace, Scheduler& scheduler) : workspace_(workspace), scheduler_(scheduler) {}

  AppIndexSnapshot buildSnapshot();

 private:
  std::vector<AppSearchResult> runningApps();

  WorkspacePort& workspace_;
  Scheduler& scheduler_;
};

}  // namespace tavik
