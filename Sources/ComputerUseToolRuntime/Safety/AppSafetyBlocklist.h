#pragma once

#include <optional>
#include <set>
#include <string>

namespace tavik {

/// The classes of applications that the agent never touches, by identifier.
class AppSafetyBlocklist {
 public:
  static const std::set<std::string>& passwordManagers();
  static const std::set<std::string>& terminals();
  static const std::set<std::string>& systemApps();

  /// Why the application is refused; nothing when it is not.
  static std::optional<std::string> check(const std::string& bundleIdentifier);
};

}  // namespace tavik
