#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik {

/// Questions about processes and about this one. Any thread; does not throw.
class ProcessPort {
 public:
  virtual ~ProcessPort() = default;

  virtual std::int32_t currentPID() = 0;
  virtual std::int32_t parentPID() = 0;
  /// The number that probing a process with signal 0 gives: 0 when it exists, else
  /// the error number (EPERM, ESRCH).
  virtual int probe(std::int32_t pid) = 0;
  /// Absent when there is no such process or it may not be asked.
  virtual std::optional<std::string> executablePath(std::int32_t pid) = 0;
  /// The process that the system holds responsible for another; absent where the
  /// system has no such notion. Not yet checked for being positive.
  virtual std::optional<std::int32_t> responsiblePID(std::int32_t pid) = 0;
  /// Whether this process may send automation events to another: 0 or the
  /// platform's status. May ask the user.
  virtual std::int32_t determinePermissionToAutomate(std::int32_t pid, bool askUserIfNeeded) = 0;

  virtual std::optional<std::string> environment(const std::string& name) = 0;
  virtual std::string homeDirectory() = 0;
  /// Where programs keep the user's settings and data.
  virtual std::string applicationSupportDirectory() { return homeDirectory() + "/Library/Application Support"; }
  /// The identifier and folder of this application, and the system's version text.
  virtual std::optional<std::string> bundleIdentifier() = 0;
  virtual std::string bundlePath() = 0;
  virtual std::string operatingSystemVersion() = 0;
};

}  // namespace tavik
