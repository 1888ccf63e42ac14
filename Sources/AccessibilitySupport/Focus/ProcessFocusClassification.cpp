#include "AccessibilitySupport/Focus/ProcessFocusClassification.h"

#include <set>

namespace tavik {

namespace {

const std::set<std::string> disallowedThiefProcessBundleIDs = {
    "com.1password.1password",
    "com.1password.safari",
    "com.bitwarden.desktop",
    "com.dashlane.dashlanephonefinal",
    "com.lastpass.LastPass",
    "com.nordsec.nordpass",
    "me.proton.pass.electron",
    "me.proton.pass.catalyst",
    "com.apple.Terminal",
    "com.googlecode.iterm2",
    "dev.warp.Warp-Stable",
    "net.kovidgoyal.kitty",
    "com.github.wez.wezterm",
    "com.mitchellh.ghostty",
    "com.raphaelamorim.rio",
    "dev.commandline.waveterm",
    "com.google.Chrome",
    "com.apple.ScreenContinuity",
};

const std::set<std::string> trustedModelHostBundleIDs = {
    "com.tavik.Tavik", "com.tavik.app",         "com.tavik.work",
    "com.tavik.ide",   "com.tavik.computeruse", "com.tavik.computeruse.bridge",
};

}  // namespace

ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID) {
  if (targetPID > 0 && processIdentifier == targetPID) return ProcessFocusClassification::protectedTarget;
  if (!bundleIdentifier || bundleIdentifier->empty()) return ProcessFocusClassification::allowed;
  if (trustedModelHostBundleIDs.contains(*bundleIdentifier)) return ProcessFocusClassification::trustedModelHost;
  if (disallowedThiefProcessBundleIDs.contains(*bundleIdentifier)) return ProcessFocusClassification::disallowedThief;
  return ProcessFocusClassification::allowed;
}

}  // namespace tavik
