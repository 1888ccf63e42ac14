#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "PlatformInterfaces/RefusedApplicationClass.h"

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
  /// Set when the platform itself knows that the agent must not touch it.
  std::optional<RefusedApplicationClass> refusedClass = {};
};

/// What a bundle on the disk says of itself.
struct ApplicationBundle {
  /// A value of another type is empty.
  using InfoValue = std::variant<std::monostate, bool, double, std::string>;

  std::optional<std::string> bundleIdentifier;
  std::map<std::string, InfoValue> infoDictionary;
  /// As in `RunningApplication`.
  std::optional<RefusedApplicationClass> refusedClass = {};
};

/// How applications lie on the disk.
struct ApplicationLayout {
  /// What the path of every application ends with, in lower case: ".app".
  std::string pathSuffix;
  /// The folders in which applications are installed, the first wins.
  std::vector<std::string> directories;
};

/// One entry of a folder of applications. Where a file's name is not what a person
/// calls the application, it stands under its other names as well.
struct DirectoryEntry {
  std::string name;
  std::string path;
};

struct OpenConfiguration {
  /// Whether the application may come to the front.
  bool activates = true;
  bool addsToRecentItems = true;
};

/// Ends what it stands for when destroyed: afterwards the handler neither runs nor
/// will run. Must not be destroyed by its own handler.
class FrontmostObservation {
 public:
  virtual ~FrontmostObservation() = default;
};

/// While it lives, and for a moment after, an application that takes the front by
/// itself gives it back.
class FrontmostHold {
 public:
  virtual ~FrontmostHold() = default;
};

/// The running applications and the one in front; the installed ones and their
/// launch. Operations may be called from any thread; they do not throw.
class WorkspacePort {
 public:
  /// Given nothing when the application was started, else the reason, for a person.
  using OpenCompletionHandler = std::function<void(std::optional<std::string> error)>;

  virtual ~WorkspacePort() = default;

  virtual std::vector<RunningApplication> runningApplications() = 0;
  /// Absent when no such application runs.
  virtual std::optional<RunningApplication> runningApplication(std::int32_t pid) = 0;
  /// The application whose window the user works in.
  virtual std::optional<RunningApplication> frontmostApplication() = 0;
  /// Calls the handler, on any thread, whenever another application, or none, is in
  /// front. Null when the platform does not tell.
  virtual std::unique_ptr<FrontmostObservation> observeFrontmostApplication(
      std::function<void(const std::optional<RunningApplication>&)> handler) = 0;
  /// Brings the application to the front with the window that was its last. Returns
  /// before that is done.
  virtual void activate(std::int32_t pid) = 0;
  /// Keeps the user's application in front while the tool works in the process behind
  /// it. Null when the process is in front, and where the platform cannot do so or
  /// has no need to.
  virtual std::unique_ptr<FrontmostHold> holdFrontmost(std::int32_t against) = 0;

  virtual ApplicationLayout applicationLayout() = 0;
  /// A folder's entries, in no order; none for a folder that cannot be read.
  virtual std::vector<DirectoryEntry> contentsOfDirectory(const std::string& path) = 0;
  /// Absent when there is no application at the path.
  virtual std::optional<ApplicationBundle> bundle(const std::string& path) = 0;
  /// Where the application with the identifier is installed.
  virtual std::optional<std::string> urlForApplication(const std::string& withBundleIdentifier) = 0;
  /// Starts the application at the path, or turns to it when it runs. Returns before
  /// that is done; the handler is called once, on any thread, and may be called
  /// before the return.
  virtual void openApplication(const std::string& path, const OpenConfiguration& configuration,
                               OpenCompletionHandler completionHandler) = 0;
};

}  // namespace tavik
