#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Base/Concurrency/WorkQueue.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Where the log of this process belongs.
struct LogFileSettings {
  std::function<std::optional<std::string>(const std::string& name)> variable;
  std::string bundleIdentifier;
  std::filesystem::path homeDirectory;
  /// The platform's place for an application's own files; when empty, "Library" and
  /// "Application Support" below the home directory.
  std::filesystem::path applicationSupportDirectory;
};

/// The file that all processes of the system share, and the way into it: standard
/// error of the process is led there. The host may open a new directory at any
/// time, and the file is kept near five megabytes; both are looked after once each
/// interval. All operations may be called from any thread and never throw.
class TavikComputerUseLogFile {
 public:
  static constexpr const char* fileName = "computer-use-runtime.log";
  static constexpr const char* logsHomeEnvironmentKey = "TAVIK_IDE_LOGS_HOME";
  static constexpr std::int64_t sizeLimit = 5'242'880;
  static constexpr std::int64_t tailKept = 4'194'304;

  /// Once for a process; a second call does nothing. With an interval above 0 the
  /// queue, which must outlive the process's logging, repeats the redirection.
  static void installStderrRedirection(double refreshIntervalSeconds, LogFileSettings settings, WorkQueue& queue);

  /// Compacts the file if it grew too large and leads standard error to where the
  /// log belongs now.
  static void redirectStderrIfNeeded(const LogFileSettings& settings);

  /// The file for the present moment; its directory is created.
  static std::filesystem::path resolveLogFileURL(const LogFileSettings& settings, WallTime now);

  /// The directories of host runs below `root`, named by their start, newest first.
  static std::vector<std::filesystem::path> timestampLogDirectories(const std::filesystem::path& root);
  /// The newest directory of a running host; without one the newest of all; without
  /// any, a new one for now.
  static std::filesystem::path resolveLatestTavikLogDirectory(const std::filesystem::path& root, WallTime now);
  static std::string timestampDirectoryName(WallTime now);

  /// Shortens a file of five megabytes or more to its last lines, behind a line that
  /// says so. Other processes' writers wait meanwhile; of two that come at once one
  /// does it. Answers the error number of a failure, for the caller to log once it
  /// holds no lock.
  static std::optional<int> compactLogFileIfNeeded(const std::filesystem::path& file);
};

}  // namespace tavik
