#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "PlatformInterfaces/ProcessPort.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Which process the system holds responsible for this one. Any thread.
class ResponsibleProcess {
 public:
  struct Attribution {
    /// Absent where the system gave no responsible process.
    std::optional<std::int32_t> processIdentifier;
    std::optional<std::string> name;
    /// This very process is its own responsible process.
    bool isSelf = false;
    bool operator==(const Attribution&) const = default;
  };

  ResponsibleProcess(ProcessPort& process, WorkspacePort& workspace) : process_(process), workspace_(workspace) {}

  std::optional<std::int32_t> processIdentifier(std::int32_t responsibleForPID) const;
  Attribution current() const;
  /// What a person calls the process: its application's name, else that of the
  /// application bundle around its executable, else the executable's own.
  std::optional<std::string> name(std::int32_t ofProcessIdentifier) const;
  static std::optional<std::string> enclosingApplicationName(const std::string& executablePath);
  std::optional<std::string> executablePath(std::int32_t pid) const { return process_.executablePath(pid); }

 private:
  ProcessPort& process_;
  WorkspacePort& workspace_;
};

}  // namespace tavik
