#include "SlimCore/Logging/TavikComputerUseLogFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "Base/Text/Text.h"
#include "Tests/Support/LogCapture.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using LogFile = TavikComputerUseLogFile;

class LogFileTest : public ::testing::Test {
 protected:
  LogFileTest() {
    std::string pattern = (fs::temp_directory_path() / "tavik-log-test-XXXXXX").string();
    root = mkdtemp(pattern.data());
    settings.variable = [this](const std::string& name) -> std::optional<std::string> {
      if (name == LogFile::logsHomeEnvironmentKey) return logsHome;
      return std::nullopt;
    };
    settings.bundleIdentifier = "com.tavik.computeruse";
    settings.homeDirectory = root;
  }
  ~LogFileTest() override { fs::remove_all(root); }

  static void writeFile(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  static std::string readFile(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
  }
  /// Whole lines of 64 bytes that together have exactly that size.
  static std::string linesOfSize(std::int64_t size) {
    std::string content;
    for (int number = 0; static_cast<std::int64_t>(content.size()) < size; ++number) {
      std::string line = std::to_string(number) + " ";
      line.resize(63, '.');
      content += line + "\n";
    }
    content.resize(static_cast<std::size_t>(size));
    content.back() = '\n';
    return content;
  }

  fs::path root;
  std::optional<std::string> logsHome;
  LogFileSettings settings;
  LogCapture log;
  WallTime now{};
};

TEST_F(LogFileTest, theEnvironmentNamesTheDirectory) {
  logsHome = "  " + (root / "of host").string() + "\n";
  EXPECT_EQ(LogFile::resolveLogFileURL(settings, now), root / "of host" / "computer-use-runtime.log");
  EXPECT_TRUE(fs::is_directory(root / "of host"));
}

TEST_F(LogFileTest, aBlankEnvironmentCountsAsNone) {
  logsHome = " \n";
  EXPECT_THAT(LogFile::resolveLogFileURL(settings, now).string(),
              HasSubstr((root / "Library/Application Support/Tavik/logs/19700101T").string()));
}

TEST_F(LogFileTest, theChineseEditionHasItsOwnRoot) {
  settings.bundleIdentifier = "com.tavik.cn.computeruse.bridge";
  EXPECT_THAT(LogFile::resolveLogFileURL(settings, now).string(), HasSubstr("/TavikCN/logs/"));
}

TEST_F(LogFileTest, thePlatformMayNameThePlaceOfApplicationFiles) {
  settings.applicationSupportDirectory = root / "state";
  EXPECT_THAT(LogFile::resolveLogFileURL(settings, now).string(), HasSubstr((root / "state/Tavik/logs/").string()));
}

TEST_F(LogFileTest, theNewestDirectoryOfARunningHostIsTaken) {
  const fs::path logs = root / "logs";
  writeFile(logs / "20260101T000000" / "main.log", "");
  writeFile(logs / "20260102T000000" / "sharedprocess.log", "");
  fs::create_directories(logs / "20260103T000000");
  fs::create_directories(logs / "notatimestamp!!");
  fs::create_directories(logs / "20260199X000000");
  EXPECT_EQ(LogFile::resolveLatestTavikLogDirectory(logs, now), logs / "20260102T000000");
  EXPECT_EQ(LogFile::timestampLogDirectories(logs).size(), 3u);
}

TEST_F(LogFileTest, withoutAMarkerTheNewestDirectoryIsTaken) {
  const fs::path logs = root / "logs";
  fs::create_directories(logs / "20260101T000000");
  fs::create_directories(logs / "20260103T000000");
  EXPECT_EQ(LogFile::resolveLatestTavikLogDirectory(logs, now), logs / "20260103T000000");
}

TEST_F(LogFileTest, withoutAnyDirectoryOneIsMadeForNow) {
  const fs::path made = LogFile::resolveLatestTavikLogDirectory(root / "logs", now);
  EXPECT_EQ(made.filename(), LogFile::timestampDirectoryName(now));
  EXPECT_EQ(made.filename().string().size(), 15u);
  EXPECT_TRUE(fs::is_directory(made));
}

TEST_F(LogFileTest, aDirectoryThatCannotBeMadeIsToldAndThePathUsedAllTheSame) {
  writeFile(root / "file", "");
  logsHome = (root / "file" / "below").string();
  EXPECT_EQ(LogFile::resolveLogFileURL(settings, now), root / "file" / "below" / "computer-use-runtime.log");
  const auto record = log.only("log_directory_create_failed");
  EXPECT_EQ(record.level, LogLevel::fault);
  EXPECT_EQ(record.category, LogCategory::logging);
}

TEST_F(LogFileTest, aFileOneByteBelowTheLimitStays) {
  const std::string content = linesOfSize(LogFile::sizeLimit - 1);
  writeFile(root / "a.log", content);
  EXPECT_EQ(LogFile::compactLogFileIfNeeded(root / "a.log"), std::nullopt);
  EXPECT_EQ(readFile(root / "a.log"), content);
}

TEST_F(LogFileTest, aMissingFileIsNoFailure) {
  EXPECT_EQ(LogFile::compactLogFileIfNeeded(root / "none.log"), std::nullopt);
}

TEST_F(LogFileTest, aFileAtTheLimitKeepsItsLastWholeLinesBehindALineThatSaysSo) {
  const std::string content = linesOfSize(LogFile::sizeLimit);
  writeFile(root / "a.log", content);
  EXPECT_EQ(LogFile::compactLogFileIfNeeded(root / "a.log"), std::nullopt);
  const std::string compacted = readFile(root / "a.log");
  const std::string firstLine = compacted.substr(0, compacted.find('\n') + 1);
  const std::string rest = compacted.substr(firstLine.size());
  EXPECT_THAT(firstLine, HasSubstr(" level=warning "));
  EXPECT_THAT(firstLine, EndsWith(" category=logging event=log_compacted previousBytes=5242880 reason=size_limit\n"));
  EXPECT_THAT(content, EndsWith(rest));
  EXPECT_GT(rest.size(), static_cast<std::size_t>(LogFile::tailKept - 100));
  EXPECT_LE(rest.size(), static_cast<std::size_t>(LogFile::tailKept));
  EXPECT_EQ(rest.size() % 64, 0u);
}

TEST_F(LogFileTest, aTailWithoutALineFeedIsDropped) {
  writeFile(root / "a.log", std::string(LogFile::sizeLimit, 'x'));
  LogFile::compactLogFileIfNeeded(root / "a.log");
  const std::string compacted = readFile(root / "a.log");
  EXPECT_THAT(compacted, HasSubstr("event=log_compacted"));
  EXPECT_EQ(compacted.find('x', compacted.find('\n')), std::string::npos);
}

int countOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

TEST_F(LogFileTest, twoProcessesThatBothSeeTheLimitCompactOnce) {
  const fs::path file = root / "a.log";
  writeFile(file, linesOfSize(LogFile::sizeLimit + 1'000'000));
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i) {
    const pid_t child = fork();
    if (child == 0) _exit(LogFile::compactLogFileIfNeeded(file) ? 1 : 0);
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(countOf(readFile(file), "event=log_compacted"), 1);
}

/// Leads standard error into a file for the length of a test.
class StderrInto {
 public:
  explicit StderrInto(const fs::path& file) : saved_(dup(STDERR_FILENO)) {
    const int target = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(target, STDERR_FILENO);
    close(target);
  }
  ~StderrInto() {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
  }

 private:
  int saved_;
};

TEST_F(LogFileTest, compactionWhileFourThreadsWriteTearsNoLineAndHappensOnce) {
  const fs::path file = root / "a.log";
  writeFile(file, linesOfSize(LogFile::sizeLimit - 64 * 300));
  LogEnvironment loud = TavikComputerUseLogger::environment();
  loud.variable = [](const std::string&) { return std::optional<std::string>("info"); };
  loud.observer = nullptr;
  LogEnvironment previous = TavikComputerUseLogger::install(loud);
  {
    StderrInto redirected(file);
    ThreadScheduler scheduler;
    TaskGroup tasks(scheduler);
    for (int thread = 0; thread < 4; ++thread) {
      tasks.start("writer", [thread] {
        for (int i = 0; i < 300; ++i) {
          TavikComputerUseLogger::info(LogCategory::ipc, "line", {{"thread", thread}, {"number", i}});
        }
      });
    }
    tasks.start("compactor", [&] {
      for (int i = 0; i < 200; ++i) LogFile::compactLogFileIfNeeded(file);
    });
    tasks.joinAll();
  }
  TavikComputerUseLogger::install(std::move(previous));

  LogFile::compactLogFileIfNeeded(file);
  const std::string content = readFile(file);
  EXPECT_EQ(countOf(content, "event=log_compacted"), 1);
  EXPECT_EQ(countOf(content, "event=line"), 1200);
  for (const std::string& line : text::split(content, '\n', false)) {
    const bool isOld = line.size() == 63 && line.ends_with("...");
    const bool isNew = text::matches(line, "^\\d{4}-\\S+ level=\\w+ .*event=(line .*thread=\\d|log_compacted .*)$");
    ASSERT_TRUE(isOld || isNew) << line;
  }
}

/// What a compaction of `oldContent` leaves when it is killed at each of its steps,
/// and what others appended before the next one comes.
struct KilledCompaction {
  const char* step;
  std::string present;
};

TEST_F(LogFileTest, aCompactionThatWasKilledIsFinishedByTheNextOne) {
  const std::string oldContent = linesOfSize(LogFile::sizeLimit);
  const fs::path file = root / "a.log", beside = root / "a.log.compacting";
  writeFile(file, oldContent);
  LogFile::compactLogFileIfNeeded(file);
  const std::string content = readFile(file);
  EXPECT_FALSE(fs::exists(beside));

  const std::string later = "a later line\n";
  const std::string zeros(content.size(), '\0');
  const std::string half = content.substr(0, content.size() / 2) + zeros.substr(content.size() / 2);
  const std::vector<KilledCompaction> kills = {{"truncated", ""},
                                               {"extended", zeros},
                                               {"half written", half},
                                               {"written", content}};
  for (const auto& [step, present] : kills) {
    for (const std::string& appended : {std::string(), later}) {
      writeFile(beside, content);
      writeFile(file, present + appended);
      EXPECT_EQ(LogFile::compactLogFileIfNeeded(file), std::nullopt);
      EXPECT_TRUE(readFile(file) == content + appended) << step;
      EXPECT_FALSE(fs::exists(beside));
    }
  }
}

TEST_F(LogFileTest, aCompactionThatWasKilledBeforeTheOldContentWentBeginsAnew) {
  const std::string oldContent = linesOfSize(LogFile::sizeLimit);
  const fs::path file = root / "a.log", beside = root / "a.log.compacting";
  writeFile(file, oldContent);
  LogFile::compactLogFileIfNeeded(file);
  writeFile(beside, readFile(file));
  writeFile(file, oldContent + "a later line\n");
  EXPECT_EQ(LogFile::compactLogFileIfNeeded(file), std::nullopt);
  EXPECT_THAT(readFile(file), EndsWith("a later line\n"));
  EXPECT_EQ(countOf(readFile(file), "event=log_compacted"), 1);
  EXPECT_FALSE(fs::exists(beside));
}

TEST_F(LogFileTest, aFailedCompactionAnswersTheErrorNumber) {
  writeFile(root / "a.log", linesOfSize(LogFile::sizeLimit));
  const pid_t child = fork();
  if (child == 0) {
    // Without the rights of a superuser a read-only file cannot be opened to write.
    fs::permissions(root, fs::perms::all);
    fs::permissions(root / "a.log", fs::perms::owner_read | fs::perms::others_read);
    if (geteuid() == 0 && setuid(65534) != 0) _exit(200);
    _exit(LogFile::compactLogFileIfNeeded(root / "a.log").value_or(0));
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), EACCES);
}

TEST_F(LogFileTest, aCompactionThatFailedIsLoggedAndTheFileUsedAllTheSame) {
  logsHome = (root / "host").string();
  const fs::path file = root / "host/computer-use-runtime.log";
  writeFile(file, linesOfSize(LogFile::sizeLimit));
  const pid_t child = fork();
  if (child == 0) {
    for (const auto& directory : {root, root / "host"}) fs::permissions(directory, fs::perms::all);
    fs::permissions(file, fs::perms::owner_read | fs::perms::others_read);
    if (geteuid() == 0 && setuid(65534) != 0) _exit(200);
    LogFile::redirectStderrIfNeeded(settings);
    const bool isTold = log.count("log_compaction_failed") == 1 &&
                        log.only("log_compaction_failed").fields.at("logPath") == file.string() &&
                        log.only("log_compaction_failed").fields.contains("error");
    _exit(isTold ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(LogFileTest, aRecordBelowTheLevelDoesNotReachStandardError) {
  std::optional<std::string> level;
  LogEnvironment environment = TavikComputerUseLogger::environment();
  environment.variable = [&](const std::string& name) {
    return name == "TAVIK_COMPUTER_USE_LOG_LEVEL" ? level : std::nullopt;
  };
  const LogEnvironment before = TavikComputerUseLogger::install(environment);
  {
    StderrInto file(root / "out.log");
    TavikComputerUseLogger::debug(LogCategory::ipc, "below_the_default");
    TavikComputerUseLogger::info(LogCategory::ipc, "the_default");
    level = "error";
    TavikComputerUseLogger::warning(LogCategory::ipc, "below_the_level");
    TavikComputerUseLogger::error(LogCategory::ipc, "the_level");
  }
  TavikComputerUseLogger::install(before);
  const std::string written = readFile(root / "out.log");
  for (const char* event : {"the_default", "the_level"}) EXPECT_THAT(written, HasSubstr("event=" + std::string(event)));
  EXPECT_THAT(written, Not(HasSubstr("below")));
}

TEST_F(LogFileTest, aLineThatCannotBeWrittenIsDropped) {
  StderrInto file(root / "out.log");
  const int readOnly = open((root / "out.log").c_str(), O_RDONLY | O_CLOEXEC);
  dup2(readOnly, STDERR_FILENO);
  close(readOnly);
  TavikComputerUseLogger::fault(LogCategory::ipc, "lost");
  EXPECT_EQ(readFile(root / "out.log"), "");
  EXPECT_EQ(log.count("lost"), 1u);
}

TEST_F(LogFileTest, theRedirectionIsInstalledOnceAndFollowsTheHost) {
  logsHome = (root / "host").string();
  StderrInto elsewhere(root / "before.log");
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    SerialQueue queue(scheduler, "log file");
    LogFile::installStderrRedirection(60, settings, queue);
    EXPECT_EQ(log.count("stderr_sink_attached"), 1u);
    logsHome = (root / "later host").string();
    LogFile::installStderrRedirection(60, settings, queue);
    scheduler.sleep(seconds(59));
    EXPECT_EQ(log.count("stderr_sink_attached"), 1u) << "a second call does nothing";
    scheduler.sleep(seconds(2));
    EXPECT_EQ(log.count("stderr_sink_attached"), 2u);
    logsHome = (root / "host").string();
    scheduler.sleep(seconds(60));
    EXPECT_EQ(log.count("stderr_sink_attached"), 3u);
  });
}

TEST_F(LogFileTest, redirectionLeadsStandardErrorIntoTheFileAndSaysSo) {
  logsHome = (root / "host").string();
  StderrInto elsewhere(root / "before.log");
  LogFile::redirectStderrIfNeeded(settings);
  EXPECT_EQ(log.only("stderr_sink_attached").fields.at("logPath"), (root / "host/computer-use-runtime.log").string());
  dprintf(STDERR_FILENO, "hello\n");
  EXPECT_EQ(readFile(root / "host/computer-use-runtime.log"), "hello\n");
  LogFile::redirectStderrIfNeeded(settings);
  EXPECT_EQ(log.count("stderr_sink_attached"), 1u);

  logsHome = (root / "later host").string();
  LogFile::redirectStderrIfNeeded(settings);
  dprintf(STDERR_FILENO, "again\n");
  EXPECT_EQ(readFile(root / "later host/computer-use-runtime.log"), "again\n");
}

TEST_F(LogFileTest, aFileThatCannotBeOpenedLeavesStandardErrorWhereItWas) {
  StderrInto before(root / "before.log");
  fs::create_directories(root / "host" / "computer-use-runtime.log");
  logsHome = (root / "host").string();
  LogFile::redirectStderrIfNeeded(settings);
  const auto record = log.only("log_file_open_failed");
  EXPECT_EQ(record.fields.at("errno"), std::to_string(EISDIR));
  dprintf(STDERR_FILENO, "still here\n");
  EXPECT_EQ(readFile(root / "before.log"), "still here\n");
}

}  // namespace
}  // namespace tavik
