#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/ApplicationIndexPort.h"
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

  bool operator==(const AppSearchResult&) const = default;
};

/// The applications, best first, and when the list was made.
struct AppIndexSnapshot {
  std::vector<AppSearchResult> apps;
  WallTime timestamp{};
};

/// One installed application as the index of the machine tells it.
struct SpotlightAppEntry {
  std::string displayName;
  std::string bundleIdentifier;
  /// Empty when unknown.
  std::string path;
  std::optional<WallTime> lastUsedDate;
  std::optional<std::int64_t> useCount;

  bool operator==(const SpotlightAppEntry&) const = default;
};

/// True when `a` stands before `b`: frontmost, running, last used later, used more
/// often, then by name, identifier and path.
bool compareAppSearchResults(const AppSearchResult& a, const AppSearchResult& b);

/// Knows which applications the user has at hand: those that run, and of the
/// installed ones those used in the last 14 days. Keeps a live query of the index
/// from its construction to its end. Any thread.
class AppSearchEngine {
 public:
  using SpotlightAppProvider = std::function<std::vector<SpotlightAppEntry>()>;
  using RunningAppProvider = std::function<std::vector<AppSearchResult>()>;

  /// How long the first snapshot waits for the index's first answer.
  static constexpr double coldStartWaitTimeout = 2.0;
  /// An application that does not run and was not used since is not at hand.
  static constexpr std::int64_t recentUseSeconds = 1'209'600;

  /// Begins to index at once. `bundleIdentifier` is this process's own and names the
  /// queue. A provider stands in for the index or for the list of running
  /// applications.
  AppSearchEngine(ApplicationIndexPort& index, WorkspacePort& workspace, Scheduler& scheduler,
                  const std::optional<std::string>& bundleIdentifier = std::nullopt,
                  const SpotlightAppProvider& spotlightAppProvider = {},
                  RunningAppProvider runningAppProvider = {});
  ~AppSearchEngine();
  AppSearchEngine(const AppSearchEngine&) = delete;
  AppSearchEngine& operator=(const AppSearchEngine&) = delete;

  /// The merged, sorted list. The first call may wait for `coldStartWaitTimeout`;
  /// throws `CancellationError` if the task is cancelled in that wait.
  AppIndexSnapshot buildSnapshot();
  std::vector<AppSearchResult> discoverApps() { return buildSnapshot().apps; }
  /// The best application for a text: by its whole name, its identifier, the
  /// beginning of its name, then any part of it. May wait as `buildSnapshot`.
  std::optional<AppSearchResult> resolveApp(const std::string& query);

 private:
  void startSpotlightIndexing(const SpotlightAppProvider& provider, const std::string& queueLabel);
  void startNativeSpotlightQuery();
  std::vector<SpotlightAppEntry> gatherSpotlightResults(const std::vector<ApplicationIndexEntry>& items);
  bool isUserFacingApplicationBundle(const std::string& path);
  void updateGatheredSpotlightResults(std::vector<SpotlightAppEntry> entries);
  void markInitialResultsReceived();
  std::vector<SpotlightAppEntry> querySpotlightApps();
  bool waitForInitialResults();
  std::vector<AppSearchResult> runningApps();

  ApplicationIndexPort& index_;
  WorkspacePort& workspace_;
  Scheduler& scheduler_;
  const RunningAppProvider runningAppProvider_;

  Mutex mutex_;
  std::vector<SpotlightAppEntry> gatheredSpotlightResults_;

  Mutex initialResultsMutex_;
  bool hasReceivedInitialResults_ = false;
  std::vector<Completion<Unit>> initialResultsWaiters_;

  /// Only on the queue.
  bool isQueryRunning_ = false;
  /// Absent where a provider stands in for the index.
  std::unique_ptr<SerialQueue> queue_;
};

}  // namespace tavik
