#pragma once

#include <cerrno>
#include <map>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// A process among others that a test makes up: those that it names exist, or answer
/// a probe with an error.
class ScriptedProcess : public ProcessPort {
 public:
  std::map<std::int32_t, int> probeOutcomes;

  int probe(std::int32_t pid) override {
    requireNoLockHeld("probe");
    const auto found = probeOutcomes.find(pid);
    return found == probeOutcomes.end() ? ESRCH : found->second;
  }
  std::int32_t currentPID() override { return 100; }
  std::int32_t parentPID() override { return 1; }
  std::optional<std::string> executablePath(std::int32_t) override { return std::nullopt; }
  std::optional<std::int32_t> responsiblePID(std::int32_t) override { return std::nullopt; }
  std::int32_t determinePermissionToAutomate(std::int32_t, bool) override { return 0; }
  std::optional<std::string> environment(const std::string&) override { return std::nullopt; }
  std::string homeDirectory() override { return "/home/me"; }
  std::optional<std::string> bundleIdentifier() override { return std::nullopt; }
  std::string bundlePath() override { return "/opt/tavik"; }
  std::string operatingSystemVersion() override { return "1.0"; }
};

}  // namespace tavik
