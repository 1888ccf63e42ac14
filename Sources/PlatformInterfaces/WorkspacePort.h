#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

enum class ActivationPolicy {
  /// Has windows and a place in the dock or task list.
  regular = 0,
  /// May show windows but has no such place.
  accessory = 1,
  /// Never comes to the front.
  prohibited = 2,
};

/// A running application, as it was when it was asked for.
struct RunningApplication {
  std::int32_t pid = 0;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> localizedName;
  /// Where the application is installed: a bundle folder or a desktop entry.
  std::optional<std::string> bundlePath;
  std::optional<std::string> executablePath;
  ActivationPolicy activationPolicy = ActivationPolicy::regular;
  /// Text entries of its information dictionary ("CFBundleName", ...).
  std::map<std::string, std::string> infoDictionary;
};

/// The running applications and the one in front. Operations may be called from
/// any thread; they do not throw.
class WorkspacePort {
 public:
  virtual ~WorkspacePort() = default;

  virtual std::vector<RunningApplication> runningApplications() = 0;
  /// Absent when no such application runs.
  virtual std::optional<RunningApplication> runningApplication(std::int32_t pid) = 0;
  /// The application whose window the user works in.
  virtual std::optional<RunningApplication> frontmostApplication() = 0;
};

}  // namespace tavik
