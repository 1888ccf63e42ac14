#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The process that a model's word for an application means.
struct ResolvedApp {
  std::int32_t pid = 0;
  std::string bundleID;
  bool operator==(const ResolvedApp&) const = default;
};

/// Turns the free text by which the model names an application into a running
/// process. Any thread.
class AppResolver {
 public:
  explicit AppResolver(WorkspacePort& workspace) : workspace_(workspace) {}

  /// Without white space at the ends and a final ".app", in lower case.
  static std::string normalizedAppQuery(const std::string& query);
  /// Without background processes and the helpers inside other applications.
  static std::vector<RunningApplication> userFacingRunningApps(const std::vector<RunningApplication>& apps);
  /// Every name by which an application goes, normalized.
  static std::set<std::string> appNameAliases(const RunningApplication& app);
  /// The one application whose names contain the query or are contained in it.
  static std::optional<RunningApplication> uniqueFuzzyAppMatch(const std::string& query,
                                                               const std::vector<RunningApplication>& apps);
  static std::string appNotFoundMessage(const std::string& query, const std::vector<RunningApplication>& runningApps);

  /// Throws `ToolError`: `appNotFound` with what does run, or `ipcError` with the
  /// reason why the application is out of bounds.
  ResolvedApp resolveAppPID(const std::string& query);

 private:
  WorkspacePort& workspace_;
};

}  // namespace tavik
