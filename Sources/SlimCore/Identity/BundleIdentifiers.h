#pragma once

#include <set>
#include <string>
#include <vector>

#include "PlatformInterfaces/PreferencesPort.h"

namespace tavik {

/// Who the runtime and its bridge are, and whom they trust. The application's maker
/// can override most of it in the application's properties; a value of a wrong type
/// counts as absent. Each value is read anew. Any thread.
class BundleIdentifiers {
 public:
  explicit BundleIdentifiers(PreferencesPort& properties) : properties_(properties) {}

  static constexpr const char* defaultRuntimeAppName = "Tavik Computer Use.app";
  /// The signing team of whoever ships the runtime.
  static constexpr const char* defaultTeamIdentifier = "TAVIKDEV00";
  static constexpr const char* applicationGroup = "TAVIKDEV.com.tavik.computeruse";

  std::string computerUseRuntime() const;
  std::string computerUseBridge() const;
  std::string runtimeAppName() const;
  /// The application's name as a person reads it, without its suffix.
  std::string runtimeAppDisplayName() const;

  /// Reverse-domain identifiers and the bare names of command-line clients.
  std::set<std::string> defaultTrustedBundleIDs() const;
  std::set<std::string> trustedBundleIDs() const;
  std::string teamIdentifier() const;
  std::set<std::string> trustedTeamIdentifiers() const;
  bool senderAuthorizationEnforced() const;

  /// What no action may touch.
  static const std::set<std::string>& systemSecurityProcesses();
  /// What must not keep the focus while an action runs.
  static const std::set<std::string>& disallowedThiefProcesses();

  std::string configuredString(const std::string& plistKey, const std::string& defaultValue) const;
  std::set<std::string> configuredStringSet(const std::string& plistKey,
                                            const std::set<std::string>& defaultValue) const;
  bool configuredBool(const std::string& plistKey, bool defaultValue) const;
  /// The non-empty pieces between commas and line breaks, trimmed.
  static std::vector<std::string> parseStringList(const std::string& text);

 private:
  PreferencesPort& properties_;
};

}  // namespace tavik
