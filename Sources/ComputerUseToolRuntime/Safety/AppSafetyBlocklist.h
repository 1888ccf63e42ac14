#pragma once

#include <optional>
#include <set>
#include <string>

#include "PlatformInterfaces/RefusedApplicationClass.h"

namespace tavik {

/// The classes of applications that the agent never touches, by identifier.
class AppSafetyBlocklist {
 public:
  static const std::set<std::string>& passwordManagers();
  static const std::set<std::string>& terminals();
  static const std::set<std::string>& systemApps();

  /// All of them together.
  static const std::set<std::string>& allBlocked();

  /// Why the application is refused; nothing when it is not. `platformClass` is what
  /// the platform knows of it beyond its identifier.
  static std::optional<std::string> check(const std::string& bundleIdentifier,
                                          std::optional<RefusedApplicationClass> platformClass = std::nullopt);
};

}  // namespace tavik
