// Several processes write one log file and compact it, and are killed while they do.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "Base/Text/Text.h"
#include "SlimCore/Logging/TavikComputerUseLogFile.h"

namespace tavik::test {
namespace {

namespace fs = std::filesystem;
using LogFile = TavikComputerUseLogFile;

constexpr int lives = 100;
constexpr int writersAtATime = 2;
constexpr int longestLifeMilliseconds = 60;

/// Shared with the writers: how many lines each has written for sure.
struct Progress {
  std::atomic<int> written[lives];
};

/// Writes numbered lines of some kilobytes, and compacts every now and then, until it is killed.
[[noreturn]] void writeUntilKilled(const fs::path& file, int life, Progress& progress) {
  LogEnvironment loud = LogEnvironment::ofThisProcess();
  loud.variable = [](const std::string&) { return std::optional<std::string>("info"); };
  TavikComputerUseLogger::install(loud);
  const int log = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  dup2(log, STDERR_FILENO);
  const std::string filler(1000, 'x');
  for (int number = 0;; ++number) {
    TavikComputerUseLogger::info(LogCategory::ipc, "line",
                                 {{"a", filler}, {"b", filler}, {"c", filler}, {"d", filler}, {"e", filler},
                                  {"life", life}, {"number", number}});
    progress.written[life] = number + 1;
    if (number % 8 == life % 8) LogFile::compactLogFileIfNeeded(file);
  }
}

std::string contentOf(const fs::path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

int numberAfter(const std::string& line, const std::string& key) {
  return std::stoi(line.substr(line.find(key) + key.size()));
}

TEST(SharedLog, ProcessesThatAreKilledTearNoLineAndLoseNoneButTheDroppedHead) {
  std::string pattern = fs::temp_directory_path() / "tavik-shared-log.XXXXXX";
  const fs::path folder = mkdtemp(pattern.data());
  const fs::path file = folder / "a.log";
  auto* progress = new (mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Progress;

  std::mt19937 random(7);
  std::map<pid_t, int> writers;
  const auto endOne = [&] {
    const auto victim = std::next(writers.begin(), static_cast<std::ptrdiff_t>(random() % writers.size()));
    kill(victim->first, SIGKILL);
    waitpid(victim->first, nullptr, 0);
    writers.erase(victim);
  };
  for (int life = 0; life < lives; ++life) {
    const pid_t writer = fork();
    if (writer == 0) writeUntilKilled(file, life, *progress);
    writers.emplace(writer, life);
    if (writers.size() < writersAtATime) continue;
    usleep(1000 * (1 + random() % longestLifeMilliseconds));
    endOne();
  }
  while (!writers.empty()) endOne();
  LogFile::compactLogFileIfNeeded(file);

  std::map<int, std::vector<int>> numbers;
  int compactions = 0, torn = 0;
  const std::string content = contentOf(file);
  for (const std::string& line : text::split(content, '\n', false)) {
    if (line.find("event=log_compacted") != std::string::npos) {
      ++compactions;
      continue;
    }
    if (!text::matches(line, "^\\d{4}-\\S+ level=info \\S+ \\S+ \\S+ event=line a=x{1000} b=x{1000} c=x{1000} d=x{1000} e=x{1000} life=\\d+ number=\\d+$")) {
      ++torn;
      continue;
    }
    numbers[numberAfter(line, " life=")].push_back(numberAfter(line, " number="));
  }
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(compactions, 1) << "the file was to be compacted many times, and to keep one line of it";
  std::size_t kept = 0;
  for (const auto& [life, found] : numbers) {
    kept += found.size();
    // The writer's own numbers without a gap, to the last that it wrote for sure.
    for (std::size_t i = 1; i < found.size(); ++i) ASSERT_EQ(found[i], found[i - 1] + 1) << "life " << life;
    EXPECT_GE(found.back() + 1, progress->written[life]) << "life " << life;
  }
  int written = 0;
  for (const auto& count : progress->written) written += count;
  EXPECT_GT(written, 3 * static_cast<int>(kept)) << "too little was written to prove anything";
  EXPECT_GT(content.size(), static_cast<std::size_t>(LogFile::tailKept - 100'000));
  fs::remove_all(folder);
}

}  // namespace
}  // namespace tavik::test
