#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/WorkspacePort.h"
#include "SlimCore/AppSearch/AppSearchEngine.h"

namespace tavik {

/// The process that a model's word for an application means.
struct ResolvedApp {
  std::int32_t pid = 0;
  std::string bundleID;
  bool operator==(const ResolvedApp&) const = default;
};

/// Turns the free text by which the model names an application into a running
/// process, and starts it in the background where that is allowed. Any thread.
class AppResolver {
 public:
  /// How long a launched application has to show up, and how often that is asked.
  static constexpr double launchTimeout = 8.0;
  static constexpr Duration launchPollInterval = Duration(250'000'000);

  AppResolver(WorkspacePort& workspace, AppSearchEngine& appSearchEngine, Scheduler& scheduler)
      : workspace_(workspace), appSearchEngine_(appSearchEngine), scheduler_(scheduler) {}

  /// Without white space at the ends and a final ".app", in lower case.
  static std::string normalizedAppQuery(const std::string& query);
  /// Without background processes and the helpers inside other applications.
  static std::vector<RunningApplication> userFacingRunningApps(const std::vector<RunningApplication>& apps);
  /// Every name by which an application goes, normalized.
  static std::set<std::string> appNameAliases(const RunningApplication& app);
  /// The one application whose names contain the query or are contained in it.
  static std::optional<RunningApplication> uniqueFuzzyAppMatch(const std::string& query,
                                                               const std::vector<RunningApplication>& apps);
  static std::string appNotFoundMessage(const std::string& query,
                                        const std::vector<RunningApplication>& runningApps);

  /// Throws `ToolError`: `appNotFound` with what does run, or `ipcError` with the
  /// reason why the application is out of bounds.
  ResolvedApp resolveAppPID(const std::string& query);
  /// As `resolveAppPID`; an application that does not run is launched if that is
  /// allowed. May wait for `launchTimeout` and for the first list of installed
  /// applications. Throws also `CancellationError`.
  ResolvedApp resolveAppPIDForGetAppState(const std::string& query, bool allowAppLaunch);

  /// Starts the application in the background and waits until it can be resolved, or
  /// `launchTimeout` is over. Throws `ToolError`: `appNotFound` when there is no such
  /// application or it could not be started, `ipcError` when it is out of bounds.
  void launchAppForGetAppState(const std::string& query);
  /// Where the application that the query means is installed.
  std::optional<std::string> appLaunchURL(const std::string& query);

 private:
  std::string notFoundNow(const std::string& query);
  void open(const std::string& url, const std::string& query);
  void awaitRegistration(const std::string& query);
  bool isValidAppPath(const std::string& path, const ApplicationLayout& layout);
  std::vector<std::string> scannedPaths(const std::string& query, const ApplicationLayout& layout);

  WorkspacePort& workspace_;
  AppSearchEngine& appSearchEngine_;
  Scheduler& scheduler_;
};

}  // namespace tavik
