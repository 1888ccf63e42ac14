#pragma once

#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// Questions about processes, answered from /proc and the C library.
class LinuxProcess : public ProcessPort {
 public:
  std::int32_t currentPID() override;
  std::int32_t parentPID() override;
  int probe(std::int32_t pid) override;
  std::optional<std::string> executablePath(std::int32_t pid) override;
  /// Linux holds no process responsible for another.
  std::optional<std::int32_t> responsiblePID(std::int32_t pid) override;
  /// Nothing guards automation here: permitted for every process that exists.
  std::int32_t determinePermissionToAutomate(std::int32_t pid, bool askUserIfNeeded) override;

  std::optional<std::string> environment(const std::string& name) override;
  std::string homeDirectory() override;
  /// The data folder of the desktop's conventions.
  std::string applicationSupportDirectory() override;
  /// That of the system's own programs, absent in any other program.
  std::optional<std::string> bundleIdentifier() override;
  /// The folder of this program.
  std::string bundlePath() override;
  std::string operatingSystemVersion() override;
};

}  // namespace tavik
