#include "SlimCore/Identity/BundleIdentifiers.h"

#include <array>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

std::set<std::string> trimmedAndNonEmpty(const std::vector<std::string>& entries) {
  std::set<std::string> kept;
  for (const std::string& entry : entries) kept.insert(text::trimmed(entry));
  kept.erase("");
  return kept;
}

/// Every character that begins a new line, in UTF-8.
constexpr std::array lineBreaks = {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

}  // namespace

std::string BundleIdentifiers::computerUseRuntime() const {
  return configuredString("TavikComputerUseRuntimeBundleIdentifier", "com.tavik.computeruse");
}

std::string BundleIdentifiers::computerUseBridge() const {
  return configuredString("TavikComputerUseBridgeBundleIdentifier", "com.tavik.computeruse.bridge");
}

std::string BundleIdentifiers::runtimeAppName() const {
  return configuredString("TavikComputerUseRuntimeAppName", defaultRuntimeAppName);
}

std::string BundleIdentifiers::runtimeAppDisplayName() const {
  std::string name = runtimeAppName();
  if (name.ends_with(".app")) name.resize(name.size() - 4);
  return name;
}

std::set<std::string> BundleIdentifiers::defaultTrustedBundleIDs() const {
  return {"com.tavik.ide", "com.tavik.ide.helper", "com.tavik.work", "Tavik", "tavikcli", computerUseBridge()};
}

std::set<std::string> BundleIdentifiers::trustedBundleIDs() const {
  return configuredStringSet("TavikComputerUseTrustedBundleIdentifiers", defaultTrustedBundleIDs());
}

std::string BundleIdentifiers::teamIdentifier() const {
  return configuredString("TavikComputerUseTrustedTeamIdentifier", defaultTeamIdentifier);
}

std::set<std::string> BundleIdentifiers::trustedTeamIdentifiers() const {
  return configuredStringSet("TavikComputerUseTrustedTeamIdentifiers", {teamIdentifier()});
}

bool BundleIdentifiers::senderAuthorizationEnforced() const {
  return configuredBool("TavikComputerUseEnforceSenderAuthorization", true);
}

const std::set<std::string>& BundleIdentifiers::systemSecurityProcesses() {
  static const std::set<std::string> members = {"com.apple.SecurityAgent"};
  return members;
}

const std::set<std::string>& BundleIdentifiers::disallowedThiefProcesses() {
  static const std::set<std::string> members = {
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
  return members;
}

std::string BundleIdentifiers::configuredString(const std::string& plistKey, const std::string& defaultValue) const {
  const auto value = properties_.applicationProperty(plistKey);
  const auto* string = value ? std::get_if<std::string>(&*value) : nullptr;
  const std::string trimmed = string ? text::trimmed(*string) : "";
  return trimmed.empty() ? defaultValue : trimmed;
}

std::set<std::string> BundleIdentifiers::configuredStringSet(const std::string& plistKey,
                                                             const std::set<std::string>& defaultValue) const {
  const auto value = properties_.applicationProperty(plistKey);
  if (!value) return defaultValue;
  std::set<std::string> configured;
  if (const auto* list = std::get_if<std::vector<std::string>>(&*value)) configured = trimmedAndNonEmpty(*list);
  if (const auto* string = std::get_if<std::string>(&*value)) configured = trimmedAndNonEmpty(parseStringList(*string));
  // A configuration can narrow the set but never empty it.
  return configured.empty() ? defaultValue : configured;
}

bool BundleIdentifiers::configuredBool(const std::string& plistKey, bool defaultValue) const {
  const auto value = properties_.applicationProperty(plistKey);
  if (!value) return defaultValue;
  if (const bool* flag = std::get_if<bool>(&*value)) return *flag;
  if (const auto* integer = std::get_if<std::int64_t>(&*value)) return *integer != 0;
  if (const double* number = std::get_if<double>(&*value)) return *number != 0;
  const auto* string = std::get_if<std::string>(&*value);
  if (!string) return defaultValue;
  const std::string word = text::lowercased(text::trimmed(*string));
  if (word == "1" || word == "true" || word == "yes") return true;
  if (word == "0" || word == "false" || word == "no") return false;
  return defaultValue;
}

std::vector<std::string> BundleIdentifiers::parseStringList(const std::string& list) {
  std::string separated = list;
  for (const char* lineBreak : lineBreaks) separated = text::replacingAll(separated, lineBreak, ",");
  std::vector<std::string> entries;
  for (const std::string& piece : text::split(separated, ',', false)) {
    std::string entry = text::trimmed(piece);
    if (!entry.empty()) entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace tavik
