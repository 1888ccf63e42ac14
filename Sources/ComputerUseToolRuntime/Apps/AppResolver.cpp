#include "ComputerUseToolRuntime/Apps/AppResolver.h"

#include <algorithm>
#include <filesystem>

#include "Base/Concurrency/Completion.h"
#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Safety/AppSafetyBlocklist.h"

namespace tavik {

namespace {

constexpr std::size_t listedCandidates = 8;

/// `path` is in lower case.
bool isInsideAnotherApplication(const std::string& path) {
  for (const char* fragment :
       {"/contents/xpcservices/", "/contents/helpers/", "/xpcservices/", "/helpers/"}) {
    if (text::contains(path, fragment)) return true;
  }
  return false;
}

std::string stemOfPath(const std::string& path) {
  return std::filesystem::path(path).stem().string();
}

std::string lastPathComponent(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

/// The name under which a folder's entry can be asked for.
std::string normalizedEntryName(const std::string& name, const std::string& suffix) {
  std::string normalized = text::lowercased(text::trimmed(name));
  if (normalized.ends_with(suffix)) normalized.resize(normalized.size() - suffix.size());
  return normalized;
}

std::string candidateEntry(const RunningApplication& app) {
  const std::string identifier = app.bundleIdentifier.value_or("unknown-bundle");
  return app.localizedName.value_or(identifier) + " (" + identifier + ")";
}

}  // namespace

std::string AppResolver::normalizedAppQuery(const std::string& query) {
  std::string normalized = text::lowercased(text::trimmed(query));
  if (normalized.ends_with(".app")) normalized.resize(normalized.size() - 4);
  return normalized;
}

std::vector<RunningApplication> AppResolver::userFacingRunningApps(
    const std::vector<RunningApplication>& apps) {
  std::vector<RunningApplication> kept;
  std::copy_if(apps.begin(), apps.end(), std::back_inserter(kept), [](const RunningApplication& app) {
    return app.activationPolicy == ActivationPolicy::regular && app.bundleIdentifier &&
           !(app.bundlePath && isInsideAnotherApplication(text::lowercased(*app.bundlePath)));
  });
  return kept;
}

std::set<std::string> AppResolver::appNameAliases(const RunningApplication& app) {
  std::vector<std::string> names;
  if (app.bundleIdentifier) names.push_back(*app.bundleIdentifier);
  if (app.localizedName) names.push_back(*app.localizedName);
  if (app.bundlePath) names.push_back(stemOfPath(*app.bundlePath));
  for (const char* key : {"CFBundleName", "CFBundleDisplayName", "CFBundleExecutable"}) {
    auto entry = app.infoDictionary.find(key);
    if (entry != app.infoDictionary.end()) names.push_back(entry->second);
  }
  if (app.executablePath) names.push_back(stemOfPath(*app.executablePath));

  std::set<std::string> aliases;
  for (const std::string& name : names) aliases.insert(normalizedAppQuery(name));
  aliases.erase("");
  return aliases;
}

std::optional<RunningApplication> AppResolver::uniqueFuzzyAppMatch(
    const std::string& query, const std::vector<RunningApplication>& apps) {
  if (query.empty()) return std::nullopt;
  auto isCandidate = [&](const RunningApplication& app) {
    const auto aliases = appNameAliases(app);
    return std::any_of(aliases.begin(), aliases.end(), [&](const std::string& alias) {
      return text::contains(alias, query) || text::contains(query, alias);
    });
  };
  std::optional<RunningApplication> match;
  for (const RunningApplication& app : apps) {
    if (!isCandidate(app)) continue;
    if (match) return std::nullopt;
    match = app;
  }
  return match;
}

std::string AppResolver::appNotFoundMessage(const std::string& query,
                                            const std::vector<RunningApplication>& runningApps) {
  auto listed = userFacingRunningApps(runningApps);
  if (listed.empty()) listed = runningApps;
  if (listed.empty()) return query;
  std::vector<std::string> entries;
  for (const RunningApplication& app : listed) {
    if (entries.size() == listedCandidates) break;
    entries.push_back(candidateEntry(app));
  }
  return query + ". Running app candidates: " + text::joined(entries, ", ");
}

ResolvedApp AppResolver::resolveAppPID(const std::string& query) {
  const std::string normalized = normalizedAppQuery(query);
  const auto running = workspace_.runningApplications();
  const auto userFacing = userFacingRunningApps(running);

  std::optional<RunningApplication> match;
  auto named = std::find_if(userFacing.begin(), userFacing.end(), [&](const RunningApplication& app) {
    return appNameAliases(app).contains(normalized);
  });
  if (named != userFacing.end()) {
    match = *named;
  } else {
    match = uniqueFuzzyAppMatch(normalized, userFacing);
  }
  if (!match) throw ToolError::appNotFound(appNotFoundMessage(query, running));

  ResolvedApp resolved{match->pid, match->bundleIdentifier.value_or(query)};
  if (auto refusal = AppSafetyBlocklist::check(resolved.bundleID, match->refusedClass)) throw ToolError::ipcError(*refusal);
  return resolved;
}

ResolvedApp AppResolver::resolveAppPIDForGetAppState(const std::string& query, bool allowAppLaunch) {
  try {
    return resolveAppPID(query);
  } catch (const ToolError& error) {
    if (error.errorCase() != ToolError::Case::appNotFound || !allowAppLaunch) throw;
  }
  launchAppForGetAppState(query);
  return resolveAppPID(query);
}

void AppResolver::launchAppForGetAppState(const std::string& query) {
  const auto url = appLaunchURL(query);
  if (!url) throw ToolError::appNotFound(notFoundNow(query));
  const auto bundle = workspace_.bundle(*url);
  if (bundle) {
    const auto refusal = AppSafetyBlocklist::check(bundle->bundleIdentifier.value_or(""), bundle->refusedClass);
    if (refusal) throw ToolError::ipcError(*refusal);
  }
  open(*url, query);
  awaitRegistration(query);
}

void AppResolver::open(const std::string& url, const std::string& query) {
  const Completion<std::optional<std::string>> opened(scheduler_);
  workspace_.openApplication(url, {.activates = false, .addsToRecentItems = false},
                             [opened](std::optional<std::string> error) { opened.resume(std::move(error)); });
  const auto error = opened.waitOrCancel("the launch of an application");
  if (!error) return;
  throw ToolError::appNotFound(notFoundNow(query) + ". Failed to launch " + lastPathComponent(url) + ": " +
                               *error);
}

void AppResolver::awaitRegistration(const std::string& query) {
  const MonotonicTime deadline = scheduler_.now() + seconds(launchTimeout);
  while (scheduler_.now() < deadline) {
    try {
      resolveAppPID(query);
      return;
    } catch (const ToolError&) {
      scheduler_.sleep(launchPollInterval);
    }
  }
}

std::optional<std::string> AppResolver::appLaunchURL(const std::string& query) {
  const ApplicationLayout layout = workspace_.applicationLayout();
  auto isValid = [&](const std::optional<std::string>& path) {
    return path && isValidAppPath(*path, layout);
  };

  if (text::contains(normalizedAppQuery(query), ".")) {
    if (auto path = workspace_.urlForApplication(query); isValid(path)) return path;
  }
  if (const auto app = appSearchEngine_.resolveApp(query); app && isValid(app->path)) return app->path;
  for (const std::string& path : scannedPaths(query, layout)) {
    if (isValid(path)) return path;
  }
  return std::nullopt;
}

bool AppResolver::isValidAppPath(const std::string& path, const ApplicationLayout& layout) {
  const std::string normalized = text::lowercased(text::replacingAll(path, "\\", "/"));
  return normalized.ends_with(layout.pathSuffix) && !isInsideAnotherApplication(normalized);
}

std::vector<std::string> AppResolver::scannedPaths(const std::string& query,
                                                   const ApplicationLayout& layout) {
  const std::string wanted = normalizedEntryName(normalizedAppQuery(query), layout.pathSuffix);
  std::vector<std::string> paths;
  for (const std::string& directory : layout.directories) {
    for (const DirectoryEntry& entry : workspace_.contentsOfDirectory(directory)) {
      if (normalizedEntryName(entry.name, layout.pathSuffix) == wanted) paths.push_back(entry.path);
    }
  }
  return paths;
}

std::string AppResolver::notFoundNow(const std::string& query) {
  return appNotFoundMessage(query, workspace_.runningApplications());
}

}  // namespace tavik
