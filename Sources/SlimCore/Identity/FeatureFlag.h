#pragma once

#include <optional>
#include <string>

#include "PlatformInterfaces/PreferencesPort.h"

namespace tavik {

/// Switches that the user's preferences hold. Each is read anew, so that a change
/// takes effect at once. Any thread.
class FeatureFlag {
 public:
  explicit FeatureFlag(PreferencesPort& defaults) : defaults_(defaults) {}

  /// False when the key is absent or holds nothing that reads as true.
  bool isEnabled(const std::string& key) const;
  /// The default when the key is absent.
  bool isEnabled(const std::string& key, bool defaultValue) const;
  std::optional<std::string> stringValue(const std::string& key) const;

  bool computerUseCursor() const { return isEnabled("feature/computerUseCursor", true); }
  bool detachComputerUseCursor() const { return isEnabled("feature/detachComputerUseCursor"); }
  bool computerUseAlwaysSimulateClick() const { return isEnabled("feature/computerUseAlwaysSimulateClick"); }
  bool computerUsePIP() const { return isEnabled("feature/computerUsePIP"); }
  bool computerUsePIPOverrideMinimizeButton() const {
    return isEnabled("feature/computerUsePIPOverrideMinimizeButton");
  }
  bool computerUsePersonalInstructionsOverridesBuiltIn() const {
    return isEnabled("feature/computerUsePersonalInstructionsOverridesBuiltIn");
  }
  bool screenshot() const { return isEnabled("feature/screenshot"); }
  bool overrideFogSamplingTexture() const { return isEnabled("feature/overrideFogSamplingTexture"); }
  bool computerUseAllowForbiddenTargets() const { return isEnabled("ComputerUseAllowForbiddenTargets"); }

 private:
  PreferencesPort& defaults_;
};

}  // namespace tavik
