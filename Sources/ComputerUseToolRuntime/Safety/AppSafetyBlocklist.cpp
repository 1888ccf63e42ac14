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
      // Identifiers of desktop entries.
      "1password",
      "bitwarden",
      "org.gnome.seahorse.Application",
      "org.gnome.World.Secrets",
      "org.kde.kwalletmanager5",
      "org.kde.kwalletmanager",
      "org.keepassxc.KeePassXC",
      "keepassx2",
      "keepass2",
      "proton-pass",
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
      // Identifiers of desktop entries.
      "Alacritty",
      "debian-uxterm",
      "debian-xterm",
      "foot",
      "kitty",
      "lxterminal",
      "mate-terminal",
      "org.gnome.Console",
      "org.gnome.Ptyxis",
      "org.gnome.Terminal",
      "org.kde.konsole",
      "org.kde.yakuake",
      "org.wezfurlong.wezterm",
      "qterminal",
      "rxvt-unicode",
      "terminator",
      "tilix",
      "com.gexperts.Tilix",
      "xfce4-terminal",
      "xterm",
  };
  return members;
}

const std::set<std::string>& AppSafetyBlocklist::systemApps() {
  static const std::set<std::string> members = {
      "com.apple.UserNotificationCenter",
      // Agents that ask for passwords on a Linux desktop.
      "org.kde.polkit-kde-authentication-agent-1",
      "polkit-gnome-authentication-agent-1",
  };
  return members;
}

std::optional<std::string> AppSafetyBlocklist::check(const std::string& bundleIdentifier) {
  if (passwordManagers().contains(bundleIdentifier)) {
    return "Computer Use cannot interact with password managers for security reasons.";
  }
  if (terminals().contains(bundleIdentifier)) {
    return "Computer Use cannot interact with terminal applications for security reasons.";
  }
  if (systemApps().contains(bundleIdentifier)) return "Computer Use cannot interact with this application.";
  return std::nullopt;
}

}  // namespace tavik
