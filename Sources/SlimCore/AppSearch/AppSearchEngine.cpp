#include "SlimCore/AppSearch/AppSearchEngine.h"

#include <algorithm>

#include "Base/Text/Text.h"

namespace tavik {

bool compareAppSearchResults(const AppSearchResult& a, const AppSearchResult& b) {
  if (a.isFrontmost != b.isFrontmost) return a.isFrontmost;
  if (a.isRunning != b.isRunning) return a.isRunning;
  if (a.lastUsedDate != b.lastUsedDate) return a.lastUsedDate > b.lastUsedDate;
  if (a.useCount.value_or(0) != b.useCount.value_or(0)) return a.useCount.value_or(0) > b.useCount.value_or(0);
  const std::string nameOfA = text::lowercased(a.displayName);
  const std::string nameOfB = text::lowercased(b.displayName);
  if (nameOfA != nameOfB) return nameOfA < nameOfB;
  if (a.bundleIdentifier != b.bundleIdentifier) return a.bundleIdentifier < b.bundleIdentifier;
  if (a.path.has_value() != b.path.has_value()) return a.path.has_value();
  return a.path < b.path;
}

AppIndexSnapshot AppSearchEngine::buildSnapshot() {
  AppIndexSnapshot snapshot{runningApps(), scheduler_.wallTime()};
  std::stable_sort(snapshot.apps.begin(), snapshot.apps.end(), compareAppSearchResults);
  return snapshot;
}

std::vector<AppSearchResult> AppSearchEngine::runningApps() {
  const auto frontmost = workspace_.frontmostApplication();
  std::vector<AppSearchResult> results;
  for (const RunningApplication& app : workspace_.runningApplications()) {
    if (app.activationPolicy != ActivationPolicy::regular || !app.bundleIdentifier) continue;
    const bool isFrontmost = frontmost && frontmost->pid == app.pid;
    auto known = std::find_if(results.begin(), results.end(), [&](const AppSearchResult& result) {
      return result.bundleIdentifier == *app.bundleIdentifier;
    });
    if (known != results.end()) {
      known->isFrontmost |= isFrontmost;
      continue;
    }
    results.push_back({.displayName = app.localizedName.value_or(""),
                       .bundleIdentifier = *app.bundleIdentifier,
                       .path = app.bundlePath,
                       .lastUsedDate = std::nullopt,
                       .useCount = std::nullopt,
                       .isRunning = true,
                       .isFrontmost = isFrontmost});
  }
  return results;
}

}  // namespace tavik
