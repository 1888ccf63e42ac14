#include "SlimCore/Logging/TavikComputerUseLogger.h"

#include <cxxabi.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Base/Concurrency/Task.h"
#include "Base/Text/Text.h"
#include "Base/Time/ISO8601.h"

namespace tavik {

namespace {

using Level = TavikComputerUseLogLevel;
using Category = TavikComputerUseLogCategory;

constexpr std::size_t maximumLineBytes = 16'384;
constexpr std::size_t maximumValueCharacters = 1'024;
constexpr std::size_t wordsAlwaysKept = 6;
constexpr const char* truncationMark = " truncated=true\n";

/// A key is sensitive when its lower-case form contains one of these.
constexpr std::array sensitiveKeyParts = {"password",    "token",            "secret", "clipboard",         "base64",
                                          "requestdata", "requestarguments", "axtree", "screenshotcontent", "usertext"};

struct RateLimitState {
  WallTime lastEmittedAt;
  std::uint64_t suppressedCount = 0;
};

struct LoggerState {
  /// Guards the rest and the writing of a line.
  std::mutex stateLock;
  LogEnvironment environment = LogEnvironment::ofThisProcess();
  std::map<std::string, RateLimitState> rateLimitStates;
};

LoggerState& state() {
  // Lives to the very end: other objects log while they are destroyed.
  static auto* state = new LoggerState;
  return *state;
}

std::optional<Level> levelNamed(const std::optional<std::string>& name) {
  if (!name) return std::nullopt;
  const std::string wanted = text::lowercased(text::trimmed(*name));
  for (Level level : {Level::debug, Level::info, Level::warning, Level::error, Level::fault}) {
    if (TavikComputerUseLogger::text(level) == wanted) return level;
  }
  return std::nullopt;
}

Level configuredLevel(const LogEnvironment& environment, const char* key) {
  return levelNamed(environment.variable(key)).value_or(Level::info);
}

SystemLogPort::Level systemLogLevel(Level level) {
  switch (level) {
    case Level::debug: return SystemLogPort::Level::debug;
    case Level::info: return SystemLogPort::Level::info;
    case Level::warning: return SystemLogPort::Level::standard;
    case Level::error: return SystemLogPort::Level::error;
    case Level::fault: return SystemLogPort::Level::fault;
  }
  return SystemLogPort::Level::standard;
}

void writeLineToStderr(const std::string& line) {
  if (line.empty()) return;
  std::lock_guard lock(state().stateLock);
  // Many processes append together; only compaction shuts them out.
  flock(STDERR_FILENO, LOCK_SH);
  std::size_t written = 0;
  while (written < line.size()) {
    const ssize_t count = write(STDERR_FILENO, line.data() + written, line.size() - written);
    if (count < 1) break;
    written += static_cast<std::size_t>(count);
  }
  flock(STDERR_FILENO, LOCK_UN);
}

void mirrorToSystemLog(const LogEnvironment& environment, const std::string& line, Category category, Level level) {
  if (!environment.systemLog) return;
  const std::string categoryText(TavikComputerUseLogger::text(category));
  const auto systemLevel = systemLogLevel(level);
  if (!environment.systemLog->isEnabled(TavikComputerUseLogger::subsystem, categoryText, systemLevel)) return;
  std::string withoutLineFeed = line;
  if (withoutLineFeed.ends_with('\n')) withoutLineFeed.pop_back();
  environment.systemLog->log(TavikComputerUseLogger::subsystem, categoryText, systemLevel, withoutLineFeed);
}

std::string processWord(const std::string& processName) {
  if (text::contains(processName, "Bridge")) return "Bridge";
  if (text::contains(processName, "Runtime")) return "Runtime";
  return processName;
}

bool isASCIILetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isASCIIDigit(char c) { return c >= '0' && c <= '9'; }

bool isFieldKey(std::string_view key) {
  if (key.empty() || !(isASCIILetter(key[0]) || key[0] == '_')) return false;
  return std::all_of(key.begin(), key.end(), [](char c) {
    return isASCIILetter(c) || isASCIIDigit(c) || c == '_' || c == '.' || c == '-';
  });
}

bool hasValue(const LogFields& fields, const std::string& key) {
  auto field = fields.find(key);
  return field != fields.end() && !std::holds_alternative<std::monostate>(field->second.storage());
}

bool isSensitive(std::string_view lowercasedKey) {
  return std::any_of(sensitiveKeyParts.begin(), sensitiveKeyParts.end(),
                     [&](const char* part) { return text::contains(lowercasedKey, part); });
}

std::string plainNumber(double value) {
  std::string text = fmt::format("{}", value);
  const bool isWhole = text.find_first_not_of("-0123456789") == std::string::npos;
  return isWhole ? text + ".0" : text;
}

std::string plainText(const LogValue& value, std::string_view lowercasedKey, const std::string& homeDirectory) {
  struct Visitor {
    std::string_view key;
    const std::string& home;
    std::string operator()(std::monostate) const { return "nil"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return plainNumber(value); }
    std::string operator()(const std::string& value) const {
      // An error that came as free text can hold anything.
      if (key == "error") return "[redacted-string-error]";
      if (text::contains(key, "path")) return TavikComputerUseLogger::sanitizedPath(value, home);
      return value;
    }
    std::string operator()(const LoggedError& error) const {
      return fmt::format("{}(domain={},code={})", error.typeName, error.domain, error.code);
    }
  };
  return std::visit(Visitor{lowercasedKey, homeDirectory}, value.storage());
}

std::string quotedIfNeeded(std::string value) {
  if (value.empty()) return "\"\"";
  if (!text::containsWhiteSpace(value) && value.find_first_of("\"=\\") == std::string::npos) return value;
  value = text::replacingAll(value, "\\", "\\\\");
  value = text::replacingAll(value, "\"", "\\\"");
  return "\"" + value + "\"";
}

std::string nameOfThisProcess() {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length < 1) return "TavikComputerUse";
  const std::string full(path.data(), static_cast<std::size_t>(length));
  return full.substr(full.rfind('/') + 1);
}

}  // namespace

LoggedError LoggedError::describing(const std::exception& error) {
  if (const auto* loggable = dynamic_cast<const LoggableError*>(&error)) return loggable->loggedError();
  int status = 0;
  char* readable = abi::__cxa_demangle(typeid(error).name(), nullptr, nullptr, &status);
  std::string name = status == 0 ? readable : typeid(error).name();
  std::free(readable);
  return {name, name, 1};
}

LoggedError LoggedError::describing(std::exception_ptr error) {
  try {
    std::rethrow_exception(std::move(error));
  } catch (const std::exception& known) {
    return describing(known);
  } catch (...) {
    return {"unknown", "unknown", 1};
  }
}

LogEnvironment LogEnvironment::ofThisProcess() {
  LogEnvironment environment;
  environment.variable = [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
  };
  environment.now = [] {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return WallTime(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
  };
  const char* home = std::getenv("HOME");
  environment.process = {nameOfThisProcess(), static_cast<std::int32_t>(getpid()), home ? home : ""};
  return environment;
}

LogEnvironment TavikComputerUseLogger::install(LogEnvironment environment) {
  std::lock_guard lock(state().stateLock);
  return std::exchange(state().environment, std::move(environment));
}

LogEnvironment TavikComputerUseLogger::environment() {
  std::lock_guard lock(state().stateLock);
  return state().environment;
}

std::string_view TavikComputerUseLogger::text(Level level) {
  switch (level) {
    case Level::debug: return "debug";
    case Level::info: return "info";
    case Level::warning: return "warning";
    case Level::error: return "error";
    case Level::fault: return "fault";
  }
  return "info";
}

std::string_view TavikComputerUseLogger::text(Category category) {
  switch (category) {
    case Category::transport: return "transport";
    case Category::ipc: return "ipc";
    case Category::lifecycle: return "lifecycle";
    case Category::authorization: return "authorization";
    case Category::permissions: return "permissions";
    case Category::capture: return "capture";
    case Category::accessibility: return "accessibility";
    case Category::windows: return "windows";
    case Category::tools: return "tools";
    case Category::input: return "input";
    case Category::appDiscovery: return "app-discovery";
    case Category::session: return "session";
    case Category::logging: return "logging";
  }
  return "logging";
}

void TavikComputerUseLogger::log(Level level, Category category, std::string_view event,
                                 const LogFields& fields) noexcept try {
  const LogEnvironment environment = TavikComputerUseLogger::environment();
  if (environment.observer) environment.observer({level, category, event, fields});
  const Level fileLevel = configuredLevel(environment, logLevelEnvironmentKey);
  const Level mirrorLevel = configuredLevel(environment, osLogMirrorLevelEnvironmentKey);
  if (level < fileLevel && level < mirrorLevel) return;
  const std::string line = encodeLine(level, category, event, fields, environment.now(), environment.process);
  if (fileLevel <= level) writeLineToStderr(line);
  if (mirrorLevel <= level) mirrorToSystemLog(environment, line, category, level);
} catch (...) {
  // Nothing in logging stops the caller; the line is dropped.
}

void TavikComputerUseLogger::logToSystemLogOnly(Level level, Category category, std::string_view event,
                                                const LogFields& fields) noexcept try {
  const LogEnvironment environment = TavikComputerUseLogger::environment();
  if (environment.observer) environment.observer({level, category, event, fields});
  mirrorToSystemLog(environment,
                    encodeLine(level, category, event, fields, environment.now(), environment.process), category,
                    level);
} catch (...) {
  // As in `log`.
}

void TavikComputerUseLogger::rateLimitedWarning(Category category, std::string_view event, double intervalSeconds,
                                                const LogFields& fields) noexcept try {
  LogFields allFields = fields;
  {
    std::lock_guard lock(state().stateLock);
    const std::string key = std::string(text(category)) + "|" + std::string(event);
    const WallTime now = state().environment.now();
    auto known = state().rateLimitStates.find(key);
    if (known != state().rateLimitStates.end()) {
      if (now - known->second.lastEmittedAt < seconds(std::max(intervalSeconds, 1.0))) {
        ++known->second.suppressedCount;
        return;
      }
      if (known->second.suppressedCount > 0) {
        allFields.insert_or_assign("suppressedCount", LogValue(known->second.suppressedCount));
      }
    }
    state().rateLimitStates[key] = {now, 0};
  }
  log(Level::warning, category, event, allFields);
} catch (...) {
  // As in `log`.
}

std::string TavikComputerUseLogger::encodeLine(Level level, Category category, std::string_view event,
                                               const LogFields& fields, WallTime now,
                                               const LogProcessInfo& process) {
  const std::string& home = process.homeDirectory;
  std::vector<std::string> words = {
      iso8601LocalMilliseconds(now),
      "level=" + std::string(text(level)),
      "process=" + encodeValue(processWord(process.processName), "process", home),
      "pid=" + std::to_string(process.pid),
      "category=" + std::string(text(category)),
      "event=" + encodeValue(event, "event", home),
  };
  const std::string& requestID = TaskRecord::requestID();
  if (!hasValue(fields, "requestId") && !requestID.empty()) {
    words.push_back("requestId=" + encodeValue(requestID, "requestId", home));
  }
  for (const auto& [key, value] : fields) {
    if (isFieldKey(key)) words.push_back(key + "=" + encodeValue(value, key, home));
  }

  std::string line = text::joined(words, " ") + "\n";
  while (line.size() > maximumLineBytes) {
    const bool isShortest = words.size() <= wordsAlwaysKept;
    if (!isShortest) words.pop_back();
    line = text::joined(words, " ") + truncationMark;
    if (isShortest) break;
  }
  return line;
}

std::string TavikComputerUseLogger::encodeValue(const LogValue& value, std::string_view key,
                                                const std::string& homeDirectory) {
  const std::string lowercasedKey = text::lowercased(key);
  if (isSensitive(lowercasedKey)) return "[redacted]";
  std::string plain = text::repairedUTF8(plainText(value, lowercasedKey, homeDirectory));
  plain = text::replacingAll(plain, "\r", "\\r");
  plain = text::replacingAll(plain, "\n", "\\n");
  if (plain.size() > maximumValueCharacters && text::characterCount(plain) > maximumValueCharacters) {
    plain = text::prefix(plain, maximumValueCharacters) + "…";
  }
  return quotedIfNeeded(std::move(plain));
}

std::string TavikComputerUseLogger::sanitizedPath(const std::string& path, const std::string& homeDirectory) {
  if (homeDirectory.empty()) return path;
  if (path == homeDirectory) return "~";
  if (path.starts_with(homeDirectory + "/")) return "~" + path.substr(homeDirectory.size());
  return path;
}

}  // namespace tavik
