#include "SlimCore/Logging/TavikComputerUseLogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <system_error>
#include <utility>

#include "Base/Text/Text.h"
#include "SlimCore/Logging/LogReplacement.h"

namespace tavik {

namespace {

namespace fs = std::filesystem;
using Logger = TavikComputerUseLogger;

/// Files that show that a directory belongs to a running host.
constexpr std::array markerFileNames = {"main.log", "sharedprocess.log"};

struct LogFileState {
  std::mutex lock;
  bool installed = false;
  std::optional<fs::path> currentLogURL;
};

LogFileState& state() {
  static auto* state = new LogFileState;
  return *state;
}

LoggedError posixError(int number) { return {"POSIXError", "NSPOSIXErrorDomain", number}; }

void createDirectory(const fs::path& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (!error) return;
  Logger::logToSystemLogOnly(LogLevel::fault, LogCategory::logging, "log_directory_create_failed",
                             {{"directory", directory.string()}, {"error", posixError(error.value())}});
}

fs::path defaultTavikLogsRoot(const LogFileSettings& settings) {
  const bool isChineseEdition = settings.bundleIdentifier == "com.tavik.cn.computeruse" ||
                                settings.bundleIdentifier == "com.tavik.cn.computeruse.bridge";
  fs::path support = settings.applicationSupportDirectory;
  if (support.empty()) support = settings.homeDirectory / "Library" / "Application Support";
  return support / (isChineseEdition ? "TavikCN" : "Tavik") / "logs";
}

bool isTimestampName(const std::string& name) {
  if (name.size() != 15) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (i == 8 ? name[i] != 'T' : name[i] < '0' || name[i] > '9') return false;
  }
  return true;
}

bool holdsMarkerFile(const fs::path& directory) {
  return std::any_of(markerFileNames.begin(), markerFileNames.end(), [&](const char* name) {
    std::error_code error;
    return fs::exists(directory / name, error);
  });
}

std::string compactionLine(std::int64_t previousBytes) {
  const LogEnvironment environment = Logger::environment();
  return Logger::encodeLine(LogLevel::warning, LogCategory::logging, "log_compacted",
                            {{"reason", "size_limit"}, {"previousBytes", previousBytes}}, environment.now(),
                            environment.process);
}

enum class Redirection { unchanged, attached, openFailed, duplicationFailed };

/// Under the lock of the state; `errorNumber` says why it failed.
Redirection redirectLocked(const fs::path& file, int& errorNumber) {
  if (state().currentLogURL == file) return Redirection::unchanged;
  OpenFile target(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  errorNumber = errno;
  if (target.descriptor < 0) return Redirection::openFailed;
  std::fflush(stderr);
  if (dup2(target.descriptor, STDERR_FILENO) < 0) {
    errorNumber = errno;
    return Redirection::duplicationFailed;
  }
  state().currentLogURL = file;
  return Redirection::attached;
}

void repeatRedirection(double interval, std::shared_ptr<const LogFileSettings> settings, WorkQueue& queue) {
  queue.asyncAfter(seconds(interval), [interval, settings, &queue] {
    TavikComputerUseLogFile::redirectStderrIfNeeded(*settings);
    repeatRedirection(interval, settings, queue);
  });
}

}  // namespace

void TavikComputerUseLogFile::installStderrRedirection(double refreshIntervalSeconds, LogFileSettings settings,
                                                       WorkQueue& queue) {
  {
    std::lock_guard lock(state().lock);
    if (std::exchange(state().installed, true)) return;
  }
  redirectStderrIfNeeded(settings);
  if (refreshIntervalSeconds > 0) {
    repeatRedirection(refreshIntervalSeconds, std::make_shared<const LogFileSettings>(std::move(settings)), queue);
  }
}

void TavikComputerUseLogFile::redirectStderrIfNeeded(const LogFileSettings& settings) {
  const fs::path file = resolveLogFileURL(settings, Logger::environment().now());
  std::optional<int> compactionError;
  int errorNumber = 0;
  Redirection outcome;
  {
    std::lock_guard lock(state().lock);
    compactionError = compactLogFileIfNeeded(file);
    outcome = redirectLocked(file, errorNumber);
  }
  if (compactionError) {
    Logger::error(LogCategory::logging, "log_compaction_failed",
                  {{"logPath", file.string()}, {"error", posixError(*compactionError)}});
  }
  const LogFields failureFields = {{"logPath", file.string()}, {"errno", errorNumber}};
  switch (outcome) {
    case Redirection::unchanged: break;
    case Redirection::attached:
      Logger::info(LogCategory::logging, "stderr_sink_attached", {{"logPath", file.string()}});
      break;
    case Redirection::openFailed:
      Logger::logToSystemLogOnly(LogLevel::fault, LogCategory::logging, "log_file_open_failed", failureFields);
      break;
    case Redirection::duplicationFailed:
      Logger::logToSystemLogOnly(LogLevel::fault, LogCategory::logging, "stderr_redirect_failed", failureFields);
      break;
  }
}

fs::path TavikComputerUseLogFile::resolveLogFileURL(const LogFileSettings& settings, WallTime now) {
  fs::path directory = text::trimmed(settings.variable(logsHomeEnvironmentKey).value_or(""));
  if (directory.empty()) directory = resolveLatestTavikLogDirectory(defaultTavikLogsRoot(settings), now);
  createDirectory(directory);
  return directory / fileName;
}

std::vector<fs::path> TavikComputerUseLogFile::timestampLogDirectories(const fs::path& root) {
  std::vector<fs::path> directories;
  std::error_code error;
  for (fs::directory_iterator entry(root, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code typeError;
    if (entry->is_directory(typeError) && isTimestampName(entry->path().filename().string())) {
      directories.push_back(entry->path());
    }
  }
  std::sort(directories.rbegin(), directories.rend());
  return directories;
}

fs::path TavikComputerUseLogFile::resolveLatestTavikLogDirectory(const fs::path& root, WallTime now) {
  const auto directories = timestampLogDirectories(root);
  auto ofRunningHost = std::find_if(directories.begin(), directories.end(), holdsMarkerFile);
  if (ofRunningHost != directories.end()) return *ofRunningHost;
  if (!directories.empty()) return directories.front();
  const fs::path fresh = root / timestampDirectoryName(now);
  createDirectory(fresh);
  return fresh;
}

std::string TavikComputerUseLogFile::timestampDirectoryName(WallTime now) {
  const std::time_t time =
      static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count());
  std::tm parts{};
  localtime_r(&time, &parts);
  std::array<char, 32> name{};
  std::strftime(name.data(), name.size(), "%Y%m%dT%H%M%S", &parts);
  return name.data();
}

std::optional<int> TavikComputerUseLogFile::compactLogFileIfNeeded(const fs::path& file) {
  struct stat status{};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  const LogReplacement replacement(file);
  if (status.st_size < sizeLimit && !replacement.isUnfinished()) return std::nullopt;
  // Encoded before the file is locked: a writer of this process may wait for the
  // file while it holds what encoding could need.
  const std::string line = compactionLine(status.st_size);

  OpenFile log(open(file.c_str(), O_RDWR | O_CLOEXEC));
  if (log.descriptor < 0 || flock(log.descriptor, LOCK_EX) != 0) return errno;
  if (!replacement.finishInto(log.descriptor) || fstat(log.descriptor, &status) != 0) return errno;
  if (status.st_size < sizeLimit) return std::nullopt;

  const auto lineLength = static_cast<std::int64_t>(line.size());
  const std::int64_t tailLength = lineLength >= sizeLimit ? 0 : std::min(sizeLimit - lineLength, tailKept);
  auto tail = readFrom(log.descriptor, status.st_size - tailLength);
  if (!tail) return errno;
  const std::size_t firstLineEnd = tail->find('\n');
  tail->erase(0, firstLineEnd == std::string::npos ? tail->size() : firstLineEnd + 1);
  if (!replacement.replace(log.descriptor, line + *tail)) return errno;
  return std::nullopt;
}

}  // namespace tavik
