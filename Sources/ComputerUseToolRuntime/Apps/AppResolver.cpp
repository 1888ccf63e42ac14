#include "ComputerUseToolRuntime/Apps/AppResolver.h"

#include <algorithm>
#include <filesystem>

#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Safety/AppSafetyBlocklist.h"

namespace tavik {

namespace {

constexpr std::size_t listedCandidates = 8;

bool isInsideAnotherApplication(const RunningApplication& app) {
  if (!app.bundlePath) return false;
  const std::string path = text::lowercased(*app.bundlePath);
  for (const char* fragment : {"/contents/xpcservices/", "/contents/helpers/", "/xpcservices/", "/helpers/"}) {
    if (text::contains(path, fragment)) return true;
  }
  return false;
}

std::string stemOfPath(const std::string& path) { return std::filesystem::path(path).stem().string(); }

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

std::vector<RunningApplication> AppResolver::userFacingRunningApps(const std::vector<RunningApplication>& apps) {
  std::vector<RunningApplication> kept;
  std::copy_if(apps.begin(), apps.end(), std::back_inserter(kept), [](const RunningApplication& app) {
    return app.activationPolicy == ActivationPolicy::regular && app.bundleIdentifier &&
           !isInsideAnotherApplication(app);
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

std::optional<RunningApplication> AppResolver::uniqueFuzzyAppMatch(const std::string& query,
                                                                   const std::vector<RunningApplication>& apps) {
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
  if (auto refusal = AppSafetyBlocklist::check(resolved.bundleID)) throw ToolError::ipcError(*refusal);
  return resolved;
}

}  // namespace tavik
