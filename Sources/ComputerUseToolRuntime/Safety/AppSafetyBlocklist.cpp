#include "ComputerUseToolRuntime/Safety/AppSafetyBlocklist.h"

namespace tavik {

const std::set<std::string>& AppSafetyBlocklist::passwordManagers() {
  static const std::set<std::string> members = {
      "com.1password.1password",
      "com.1password.safari",
      "com.bitwarden.desktop",
      "com.dashlane.dashlanephonefinal",
      "com.lastpass.LastPass",
      "com.nordsec.nordpass",
      "me.proton.pass.electron",
      "me.proton.pass.catalyst",
  };
  return members;
}

const std::set<std::string>& AppSafetyBlocklist::terminals() {
  static const std::set<std::string> members = {
      "com.apple.Terminal",
      "com.googlecode.iterm2",
      "dev.warp.Warp-Stable",
      "net.kovidgoyal.kitty",
      "com.github.wez.wezterm",
      "com.mitchellh.ghostty",
      "com.raphaelamorim.rio",
      "dev.commandline.waveterm",
      "org.alacritty",
      "co.zeit.hyper",
  };
  return members;
}

const std::set<std::string>& AppSafetyBlocklist::systemApps() {
  static const std::set<std::string> members = {
      "com.apple.UserNotificationCenter",
  };
  return members;
}

const std::set<std::string>& AppSafetyBlocklist::allBlocked() {
  static const std::set<std::string> members = [] {
    std::set<std::string> all = passwordManagers();
    all.insert(terminals().begin(), terminals().end());
    all.insert(systemApps().begin(), systemApps().end());
    return all;
  }();
  return members;
}

std::optional<std::string> AppSafetyBlocklist::check(const std::string& bundleIdentifier,
                                                     std::optional<RefusedApplicationClass> platformClass) {
  if (!platformClass && !allBlocked().contains(bundleIdentifier)) return std::nullopt;
  if (passwordManagers().contains(bundleIdentifier) || platformClass == RefusedApplicationClass::passwordManager) {
    return "Computer Use cannot interact with password managers for security reasons.";
  }
  if (terminals().contains(bundleIdentifier) || platformClass == RefusedApplicationClass::terminal) {
    return "Computer Use cannot interact with terminal applications for security reasons.";
  }
  return "Computer Use cannot interact with this application.";
}

}  // namespace tavik
