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

/// The log of every process of the system: a namespace without instances. All
/// operations may be called from any thread and never throw.
class TavikComputerUseLogger {
 public:
  using Level = TavikComputerUseLogLevel;
  using Category = TavikComputerUseLogCategory;

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
};

using LogCategory = TavikComputerUseLogCategory;
using LogLevel = TavikComputerUseLogLevel;

}  // namespace tavik
