#include "SlimCore/AppSearch/AppSearchEngine.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "Base/Text/Text.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr const char* queueLabelSuffix = ".app-search-engine";
constexpr const char* fallbackQueueLabel = "com.tavik.computeruse.app-search-engine";

void warnOfRunningAppsOnly(const char* event) {
  TavikComputerUseLogger::warning(LogCategory::appDiscovery, event, {{"fallback", "running_apps"}});
}

/// Whether an entry of an information dictionary means yes.
bool infoPlistBool(const ApplicationBundle::InfoValue& value) {
  if (auto* boolean = std::get_if<bool>(&value)) return *boolean;
  if (auto* number = std::get_if<double>(&value)) return *number != 0;
  if (auto* string = std::get_if<std::string>(&value)) {
    const std::string word = text::lowercased(text::trimmed(*string));
    return word == "1" || word == "true" || word == "yes";
  }
  return false;
}

bool infoPlistBool(const ApplicationBundle& bundle, const std::string& key) {
  const auto entry = bundle.infoDictionary.find(key);
  return entry != bundle.infoDictionary.end() && infoPlistBool(entry->second);
}

std::string nameOf(const ApplicationIndexEntry& item) {
  std::string name = item.displayName ? *item.displayName
                     : item.fileName  ? *item.fileName
                                      : *item.bundleIdentifier;
  if (name.ends_with(".app")) name.resize(name.size() - 4);
  return name;
}

/// Which of two bundles with one identifier the user means: the one used last, then
/// the one used more often.
bool replaces(const SpotlightAppEntry& held, const SpotlightAppEntry& other) {
  if (other.lastUsedDate != held.lastUsedDate) return other.lastUsedDate > held.lastUsedDate;
  return other.useCount.value_or(-1) > held.useCount.value_or(-1);
}

AppSearchResult notRunning(const SpotlightAppEntry& entry) {
  return {.displayName = entry.displayName,
          .bundleIdentifier = entry.bundleIdentifier,
          .path = entry.path.empty() ? std::nullopt : std::optional(entry.path),
          .lastUsedDate = entry.lastUsedDate,
          .useCount = entry.useCount};
}

AppSearchResult merged(const AppSearchResult& held, const AppSearchResult& running) {
  return {.displayName = running.displayName.empty() ? held.displayName : running.displayName,
          .bundleIdentifier = held.bundleIdentifier,
          .path = held.path ? held.path : running.path,
          .lastUsedDate = held.lastUsedDate,
          .useCount = held.useCount,
          .isRunning = true,
          .isFrontmost = running.isFrontmost};
}

}  // namespace

bool compareAppSearchResults(const AppSearchResult& a, const AppSearchResult& b) {
  if (a.isFrontmost != b.isFrontmost) return a.isFrontmost;
  if (a.isRunning != b.isRunning) return a.isRunning;
  if (a.lastUsedDate != b.lastUsedDate) return a.lastUsedDate > b.lastUsedDate;
  if (a.useCount.value_or(0) != b.useCount.value_or(0))
    return a.useCount.value_or(0) > b.useCount.value_or(0);
  if (int order = text::localizedCaseInsensitiveCompare(a.displayName, b.displayName); order != 0)
    return order < 0;
  if (a.bundleIdentifier != b.bundleIdentifier) return a.bundleIdentifier < b.bundleIdentifier;
  if (a.path.has_value() != b.path.has_value()) return a.path.has_value();
  return a.path < b.path;
}

AppSearchEngine::AppSearchEngine(ApplicationIndexPort& index, WorkspacePort& workspace, Scheduler& scheduler,
                                 const std::optional<std::string>& bundleIdentifier,
                                 const SpotlightAppProvider& spotlightAppProvider,
                                 RunningAppProvider runningAppProvider)
    : index_(index),
      workspace_(workspace),
      scheduler_(scheduler),
      runningAppProvider_(std::move(runningAppProvider)) {
  startSpotlightIndexing(spotlightAppProvider,
                         bundleIdentifier ? *bundleIdentifier + queueLabelSuffix : fallbackQueueLabel);
}

AppSearchEngine::~AppSearchEngine() {
  if (!queue_) return;
  // On the queue, so that a query that is just being started is stopped as well; from
  // a task, since the owner may be outside of the scheduler's time.
  Task end = scheduler_.start("end of the application search", [this] {
    queue_->sync([this] {
      if (std::exchange(isQueryRunning_, false)) index_.stop();
    });
  });
  end.join();
}

void AppSearchEngine::startSpotlightIndexing(const SpotlightAppProvider& provider,
                                             const std::string& queueLabel) {
  if (provider) {
    updateGatheredSpotlightResults(provider());
    return;
  }
  queue_ = std::make_unique<SerialQueue>(scheduler_, queueLabel);
  queue_->async([this] { startNativeSpotlightQuery(); });
}

void AppSearchEngine::startNativeSpotlightQuery() {
  const auto outcome = index_.start(*queue_, [this](const std::vector<ApplicationIndexEntry>& items) {
    updateGatheredSpotlightResults(gatherSpotlightResults(items));
  });
  switch (outcome) {
    case ApplicationIndexStart::started:
      isQueryRunning_ = true;
      return;
    case ApplicationIndexStart::creationFailed:
      warnOfRunningAppsOnly("spotlight_query_creation_failed");
      break;
    case ApplicationIndexStart::executionFailed:
      warnOfRunningAppsOnly("spotlight_query_execution_failed");
      break;
  }
  markInitialResultsReceived();
}

std::vector<SpotlightAppEntry> AppSearchEngine::gatherSpotlightResults(
    const std::vector<ApplicationIndexEntry>& items) {
  std::map<std::string, SpotlightAppEntry> byIdentifier;
  for (const ApplicationIndexEntry& item : items) {
    if (!item.bundleIdentifier || item.bundleIdentifier->empty()) continue;
    const std::string path = item.path.value_or("");
    if (!isUserFacingApplicationBundle(path)) continue;
    SpotlightAppEntry entry{.displayName = nameOf(item),
                            .bundleIdentifier = *item.bundleIdentifier,
                            .path = path,
                            .lastUsedDate = item.lastUsedDate,
                            .useCount = item.useCount};
    const auto held = byIdentifier.find(entry.bundleIdentifier);
    if (held == byIdentifier.end()) {
      byIdentifier.emplace(entry.bundleIdentifier, std::move(entry));
    } else if (replaces(held->second, entry)) {
      held->second = std::move(entry);
    }
  }
  std::vector<SpotlightAppEntry> entries;
  entries.reserve(byIdentifier.size());
  for (auto& [identifier, entry] : byIdentifier) entries.push_back(std::move(entry));
  return entries;
}

bool AppSearchEngine::isUserFacingApplicationBundle(const std::string& path) {
  if (path.empty()) return true;
  const auto bundle = workspace_.bundle(path);
  if (!bundle) return true;
  if (infoPlistBool(*bundle, "LSUIElement")) return false;
  if (infoPlistBool(*bundle, "LSBackgroundOnly")) return false;
  return true;
}

void AppSearchEngine::updateGatheredSpotlightResults(std::vector<SpotlightAppEntry> entries) {
  {
    MutexLock lock(mutex_);
    gatheredSpotlightResults_ = std::move(entries);
  }
  markInitialResultsReceived();
}

void AppSearchEngine::markInitialResultsReceived() {
  std::vector<Completion<Unit>> waiters;
  {
    MutexLock lock(initialResultsMutex_);
    if (std::exchange(hasReceivedInitialResults_, true)) return;
    waiters = std::exchange(initialResultsWaiters_, {});
  }
  for (const auto& waiter : waiters) waiter.resume();
}

std::vector<SpotlightAppEntry> AppSearchEngine::querySpotlightApps() {
  if (!waitForInitialResults()) warnOfRunningAppsOnly("spotlight_cold_start_timeout");
  MutexLock lock(mutex_);
  return gatheredSpotlightResults_;
}

/// False to the one caller whose wait ended without results; nobody waits after it.
bool AppSearchEngine::waitForInitialResults() {
  const Completion<Unit> received(scheduler_);
  {
    MutexLock lock(initialResultsMutex_);
    if (hasReceivedInitialResults_) return true;
    initialResultsWaiters_.push_back(received);
  }
  if (received.waitFor(seconds(coldStartWaitTimeout), "the first list of installed applications"))
    return true;
  std::vector<Completion<Unit>> waiters;
  {
    MutexLock lock(initialResultsMutex_);
    if (std::exchange(hasReceivedInitialResults_, true)) return true;
    waiters = std::exchange(initialResultsWaiters_, {});
  }
  for (const auto& waiter : waiters) waiter.resume();
  return false;
}

std::vector<AppSearchResult> AppSearchEngine::runningApps() {
  if (runningAppProvider_) return runningAppProvider_();
  const auto running = workspace_.runningApplications();
  const auto frontmost = workspace_.frontmostApplication();
  std::vector<AppSearchResult> results;
  for (const RunningApplication& app : running) {
    if (app.activationPolicy != ActivationPolicy::regular || !app.bundleIdentifier) continue;
    results.push_back({.displayName = app.localizedName.value_or(""),
                       .bundleIdentifier = *app.bundleIdentifier,
                       .path = app.bundlePath,
                       .lastUsedDate = std::nullopt,
                       .useCount = std::nullopt,
                       .isRunning = true,
                       .isFrontmost = frontmost && frontmost->pid == app.pid});
  }
  return results;
}

AppIndexSnapshot AppSearchEngine::buildSnapshot() {
  const auto spotlight = querySpotlightApps();
  const auto running = runningApps();
  const WallTime cutOff = scheduler_.wallTime() - std::chrono::seconds(recentUseSeconds);

  std::map<std::string, AppSearchResult> byIdentifier;
  for (const SpotlightAppEntry& entry : spotlight) {
    if (entry.lastUsedDate && *entry.lastUsedDate >= cutOff) {
      byIdentifier.insert_or_assign(entry.bundleIdentifier, notRunning(entry));
    }
  }
  for (const AppSearchResult& app : running) {
    const auto [held, isNew] = byIdentifier.emplace(app.bundleIdentifier, app);
    if (!isNew) held->second = merged(held->second, app);
  }

  AppIndexSnapshot snapshot;
  snapshot.apps.reserve(byIdentifier.size());
  for (auto& [identifier, app] : byIdentifier) snapshot.apps.push_back(std::move(app));
  std::stable_sort(snapshot.apps.begin(), snapshot.apps.end(), compareAppSearchResults);
  snapshot.timestamp = scheduler_.wallTime();
  return snapshot;
}

std::optional<AppSearchResult> AppSearchEngine::resolveApp(const std::string& query) {
  const auto apps = discoverApps();
  const std::string wanted = text::lowercased(query);
  using Test = bool (*)(const AppSearchResult& app, const std::string& wanted);
  constexpr Test tests[] = {
      [](const AppSearchResult& app, const std::string& wanted) {
        return text::lowercased(app.displayName) == wanted;
      },
      [](const AppSearchResult& app, const std::string& wanted) {
        return text::lowercased(app.bundleIdentifier) == wanted;
      },
      [](const AppSearchResult& app, const std::string& wanted) {
        return text::lowercased(app.displayName).starts_with(wanted);
      },
      [](const AppSearchResult& app, const std::string& wanted) {
        return text::contains(text::lowercased(app.displayName), wanted);
      },
  };
  for (const Test passes : tests) {
    for (const AppSearchResult& app : apps) {
      if (passes(app, wanted)) return app;
    }
  }
  return std::nullopt;
}

}  // namespace tavik
