#include "Backends/Linux/Workspace/RefusedApplications.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace tavik {

namespace {

using enum RefusedApplicationClass;

struct Row {
  RefusedApplicationClass kind;
  /// In lower case: an entry's id, a program or a window's class.
  std::string_view name;
};

constexpr auto refusedNames = std::to_array<Row>({
    // clang-format off
    {passwordManager, "1password"},
    {passwordManager, "bitwarden"},
    {passwordManager, "bitwarden-desktop"},
    {passwordManager, "com.bitwarden.desktop"},
    {passwordManager, "com.onepassword.onepassword"},
    {passwordManager, "dashlane"},
    {passwordManager, "enpass"},
    {passwordManager, "com.github.buttercup.buttercup"},
    {passwordManager, "buttercup"},
    {passwordManager, "gnome-passwordsafe"},
    {passwordManager, "keepass"},
    {passwordManager, "keepass2"},
    {passwordManager, "keepassx"},
    {passwordManager, "keepassx2"},
    {passwordManager, "keepassxc"},
    {passwordManager, "org.keepassxc.keepassxc"},
    {passwordManager, "keeweb"},
    {passwordManager, "kwalletmanager"},
    {passwordManager, "kwalletmanager5"},
    {passwordManager, "org.kde.kwalletmanager"},
    {passwordManager, "org.kde.kwalletmanager5"},
    {passwordManager, "kwalletmanager5-kwalletd"},
    {passwordManager, "lastpass"},
    {passwordManager, "me.proton.pass.electron"},
    {passwordManager, "proton-pass"},
    {passwordManager, "nordpass"},
    {passwordManager, "pass"},
    {passwordManager, "qtpass"},
    {passwordManager, "org.ijhack.qtpass"},
    {passwordManager, "seahorse"},
    {passwordManager, "org.gnome.seahorse.application"},
    {passwordManager, "secrets"},
    {passwordManager, "org.gnome.world.secrets"},
    {passwordManager, "org.gnome.passwordsafe"},
    {passwordManager, "kleopatra"},
    {passwordManager, "org.kde.kleopatra"},

    {terminal, "alacritty"},
    {terminal, "org.alacritty"},
    {terminal, "blackbox-terminal"},
    {terminal, "com.raggesilver.blackbox"},
    {terminal, "com.gexperts.tilix"},
    {terminal, "com.mitchellh.ghostty"},
    {terminal, "contour"},
    {terminal, "cool-retro-term"},
    {terminal, "deepin-terminal"},
    {terminal, "debian-uxterm"},
    {terminal, "debian-xterm"},
    {terminal, "foot"},
    {terminal, "footclient"},
    {terminal, "ghostty"},
    {terminal, "gnome-terminal"},
    {terminal, "gnome-terminal-server"},
    {terminal, "guake"},
    {terminal, "hyper"},
    {terminal, "kgx"},
    {terminal, "kitty"},
    {terminal, "konsole"},
    {terminal, "lxterminal"},
    {terminal, "mate-terminal"},
    {terminal, "mlterm"},
    {terminal, "org.gnome.console"},
    {terminal, "org.gnome.ptyxis"},
    {terminal, "org.gnome.terminal"},
    {terminal, "org.kde.konsole"},
    {terminal, "org.kde.yakuake"},
    {terminal, "org.wezfurlong.wezterm"},
    {terminal, "ptyxis"},
    {terminal, "qterminal"},
    {terminal, "rio"},
    {terminal, "roxterm"},
    {terminal, "rxvt"},
    {terminal, "rxvt-unicode"},
    {terminal, "sakura"},
    {terminal, "st"},
    {terminal, "st-256color"},
    {terminal, "stterm"},
    {terminal, "terminator"},
    {terminal, "terminology"},
    {terminal, "termit"},
    {terminal, "tilda"},
    {terminal, "tilix"},
    {terminal, "urxvt"},
    {terminal, "urxvtd"},
    {terminal, "uxterm"},
    {terminal, "waveterm"},
    {terminal, "warp-terminal"},
    {terminal, "wezterm"},
    {terminal, "wezterm-gui"},
    {terminal, "x-terminal-emulator"},
    {terminal, "xfce4-terminal"},
    {terminal, "xterm"},
    {terminal, "yakuake"},
    {terminal, "zutty"},

    {systemApp, "gcr-prompter"},
    {systemApp, "gcr-viewer"},
    {systemApp, "gnome-keyring-prompt"},
    {systemApp, "gnome-keyring-daemon"},
    {systemApp, "gnome-screensaver-dialog"},
    {systemApp, "i3lock"},
    {systemApp, "kcheckpass"},
    {systemApp, "kscreenlocker_greet"},
    {systemApp, "ksshaskpass"},
    {systemApp, "kwalletd5"},
    {systemApp, "kwalletd6"},
    {systemApp, "light-locker"},
    {systemApp, "lxpolkit"},
    {systemApp, "lxqt-openssh-askpass"},
    {systemApp, "lxqt-policykit-agent"},
    {systemApp, "lxqt-sudo"},
    {systemApp, "mate-polkit"},
    {systemApp, "mate-screensaver-dialog"},
    {systemApp, "org.kde.polkit-kde-authentication-agent-1"},
    {systemApp, "pinentry"},
    {systemApp, "pinentry-gnome3"},
    {systemApp, "pinentry-gtk-2"},
    {systemApp, "pinentry-gtk2"},
    {systemApp, "pinentry-qt"},
    {systemApp, "pinentry-x11"},
    {systemApp, "pkexec"},
    {systemApp, "polkit-gnome-authentication-agent-1"},
    {systemApp, "polkit-kde-authentication-agent-1"},
    {systemApp, "polkit-mate-authentication-agent-1"},
    {systemApp, "ssh-askpass"},
    {systemApp, "ssh-askpass-gnome"},
    {systemApp, "swaylock"},
    {systemApp, "x11-ssh-askpass"},
    {systemApp, "xfce-polkit"},
    {systemApp, "xscreensaver"},
    {systemApp, "xscreensaver-auth"},
    {systemApp, "xsecurelock"},
    // clang-format on
});

struct CategoryRow {
  RefusedApplicationClass kind;
  std::string_view category;
};

/// Categories of desktop entries that speak for the whole class.
constexpr auto refusedCategories = std::to_array<CategoryRow>({
    {terminal, "TerminalEmulator"},
});

std::string lowered(const std::string& name) {
  std::string result = name;
  std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
  return result;
}

std::optional<RefusedApplicationClass> classOfName(const std::string& name) {
  const std::string wanted = lowered(name);
  const auto found = std::ranges::find(refusedNames, wanted, &Row::name);
  return found == refusedNames.end() ? std::nullopt : std::optional(found->kind);
}

}  // namespace

std::optional<RefusedApplicationClass> refusedApplicationClass(const std::string& entryID,
                                                               const std::vector<std::string>& categories,
                                                               const std::string& program,
                                                               const std::string& windowClass) {
  for (const std::string& name : {entryID, program, windowClass}) {
    if (auto kind = classOfName(name)) return kind;
  }
  for (const auto& [kind, category] : refusedCategories) {
    if (std::ranges::find(categories, category) != categories.end()) return kind;
  }
  return std::nullopt;
}

}  // namespace tavik
