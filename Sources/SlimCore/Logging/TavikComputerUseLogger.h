#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Base/Concurrency/Time.h"
#include "PlatformInterfaces/SystemLogPort.h"

namespace tavik {

enum class TavikComputerUseLogLevel { debug, info, warning, error, fault };

enum class TavikComputerUseLogCategory {
  transport,
  ipc,
  lifecycle,
  authorization,
  permissions,
  capture,
  accessibility,
  windows,
  tools,
  input,
  appDiscovery,
  session,
  logging,
};

/// An error as the log shows it: type, domain and code, never its words.
struct LoggedError {
  std::string typeName;
  std::string domain;
  long code = 0;

  /// Errors that implement `LoggableError` say it themselves; any other exception
  /// gives its type's name and code 1.
  static LoggedError describing(const std::exception& error);
  static LoggedError describing(std::exception_ptr error);
};

/// Mixed into the system's typed errors, so that the log can name them.
class LoggableError {
 public:
  virtual ~LoggableError() = default;
  virtual LoggedError loggedError() const = 0;
};

/// The value of a log field; absent values are written "nil".
class LogValue {
 public:
  LogValue(std::nullopt_t) {}
  LogValue(bool value) : value_(value) {}
  LogValue(std::integral auto value) : value_(static_cast<std::int64_t>(value)) {}
  LogValue(double value) : value_(value) {}
  LogValue(std::string value) : value_(std::move(value)) {}
  LogValue(std::string_view value) : value_(std::string(value)) {}
  LogValue(const char* value) : value_(std::string(value)) {}
  LogValue(LoggedError value) : value_(std::move(value)) {}
  LogValue(const std::exception& value) : value_(LoggedError::describing(value)) {}
  LogValue(std::exception_ptr value) : value_(LoggedError::describing(std::move(value))) {}
  template <class T>
  LogValue(const std::optional<T>& value) {
    if (value) *this = LogValue(*value);
  }

  using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, LoggedError>;
  const Storage& storage() const { return value_; }

 private:
  Storage value_;
};

using LogFields = std::map<std::string, LogValue>;

/// Who writes the log, as its lines say it.
struct LogProcessInfo {
  std::string processName;
  std::int32_t pid = 0;
  /// Shown as "~" where it begins a path.
  std::string homeDirectory;
};

struct LogRecord {
  TavikComputerUseLogLevel level;
  TavikComputerUseLogCategory category;
  std::string_view event;
  const LogFields& fields;
};

/// What the log needs of the outside. Until one is installed, the process's own
/// environment, clock and name serve, and nothing is mirrored.
struct LogEnvironment {
  std::function<std::optional<std::string>(const std::string& name)> variable;
  std::function<WallTime()> now;
  LogProcessInfo process;
  /// The system's log, or null; must outlive the installation.
  SystemLogPort* systemLog = nullptr;
  /// Sees every record, whatever its level; may be empty. Must not log.
  std::function<void(const LogRecord&)> observer;

  static LogEnvironment ofThisProcess();
};

/// The log of every process of the system: a namespace without instances. All
/// operations may be called from any thread and never throw.
///
/// A record is one line of `key=value` words on standard error, which
/// `TavikComputerUseLogFile` leads into the shared file, and a copy in the system's
/// log. Values of sensitive keys never leave the encoder.
class TavikComputerUseLogger {
 public:
  using Level = TavikComputerUseLogLevel;
  using Category = TavikComputerUseLogCategory;

  static constexpr const char* subsystem = "com.tavik.computeruse";
  static constexpr const char* logLevelEnvironmentKey = "TAVIK_COMPUTER_USE_LOG_LEVEL";
  static constexpr const char* osLogMirrorLevelEnvironmentKey = "TAVIK_COMPUTER_USE_OSLOG_MIRROR_LEVEL";

  /// Replaces the environment and answers the one that was in force.
  static LogEnvironment install(LogEnvironment environment);
  static LogEnvironment environment();

  static void log(Level level, Category category, std::string_view event, const LogFields& fields = {}) noexcept;

  static void debug(Category category, std::string_view event, const LogFields& fields = {}) noexcept {
    log(Level::debug, category, event, fields);
  }
  static void info(Category category, std::string_view event, const LogFields& fields = {}) noexcept {
    log(Level::info, category, event, fields);
  }
  static void warning(Category category, std::string_view event, const LogFields& fields = {}) noexcept {
    log(Level::warning, category, event, fields);
  }
  static void error(Category category, std::string_view event, const LogFields& fields = {}) noexcept {
    log(Level::error, category, event, fields);
  }
  static void fault(Category category, std::string_view event, const LogFields& fields = {}) noexcept {
    log(Level::fault, category, event, fields);
  }

  /// A warning that is written at most once in `intervalSeconds` (at least 1) for its
  /// category and event; the next one says how many were held back.
  static void rateLimitedWarning(Category category, std::string_view event, double intervalSeconds,
                                 const LogFields& fields = {}) noexcept;

  /// The record as one line that ends in a line feed, at most 16,384 bytes long
  /// unless its first six words are longer.
  static std::string encodeLine(Level level, Category category, std::string_view event, const LogFields& fields,
                                WallTime now, const LogProcessInfo& process);
  /// A value as it stands in a line, redacted, shortened and quoted as its key wants.
  static std::string encodeValue(const LogValue& value, std::string_view key, const std::string& homeDirectory);
  static std::string sanitizedPath(const std::string& path, const std::string& homeDirectory);

  /// Only into the system's log, for what happens while standard error is not sure.
  static void logToSystemLogOnly(Level level, Category category, std::string_view event,
                                 const LogFields& fields) noexcept;

  static std::string_view text(Level level);
  static std::string_view text(Category category);
};

using LogCategory = TavikComputerUseLogCategory;
using LogLevel = TavikComputerUseLogLevel;

}  // namespace tavik
