#include "AccessibilitySupport/Focus/ProcessFocusClassification.h"

#include <set>

#include "SlimCore/Identity/BundleIdentifiers.h"

namespace tavik {

namespace {

const std::set<std::string> trustedModelHostBundleIDs = {
    "com.tavik.Tavik", "com.tavik.app",         "com.tavik.work",
    "com.tavik.ide",   "com.tavik.computeruse", "com.tavik.computeruse.bridge",
};

}  // namespace

ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID) {
  return classifyProcessFocus(bundleIdentifier, processIdentifier, targetPID, trustedModelHostBundleIDs,
                              BundleIdentifiers::disallowedThiefProcesses());
}

ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID,
                                                const std::set<std::string>& trustedModelHosts,
                                                const std::set<std::string>& disallowedThieves) {
  if (targetPID > 0 && processIdentifier == targetPID) return ProcessFocusClassification::protectedTarget;
  if (!bundleIdentifier || bundleIdentifier->empty()) return ProcessFocusClassification::allowed;
  if (trustedModelHosts.contains(*bundleIdentifier)) return ProcessFocusClassification::trustedModelHost;
  const bool isThief = disallowedThieves.contains(*bundleIdentifier);
  return isThief ? ProcessFocusClassification::disallowedThief : ProcessFocusClassification::allowed;
}

}  // namespace tavik
