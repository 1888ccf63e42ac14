#include "Backends/Linux/Process/DetachedProgram.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>

namespace tavik {

namespace {

/// The descriptor on which the child reports; the first above the standard three.
constexpr int reportDescriptor = 3;

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void reportFailure(int report) {
  int error = errno;
  [[maybe_unused]] ssize_t written = write(report, &error, sizeof error);
  _exit(127);
}

/// In the child, between fork and exec: only calls that are safe there.
[[noreturn]] void becomeProgram(char* const* words, char* const* environment, const char* folder,
                                int report) {
  setsid();
  // Nobody waits for a grandchild; the system's first process inherits it.
  pid_t grandchild = fork();
  if (grandchild < 0) reportFailure(report);
  if (grandchild > 0) _exit(0);
  if (report != reportDescriptor) dup2(report, reportDescriptor);
  fcntl(reportDescriptor, F_SETFD, FD_CLOEXEC);
  syscall(SYS_close_range, reportDescriptor + 1, ~0U, 0);
  int nowhere = open("/dev/null", O_RDWR);
  for (int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nowhere, standard);
  if (nowhere > reportDescriptor) close(nowhere);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (*folder == '\0' || chdir(folder) == 0) execve(words[0], words, environment);
  reportFailure(reportDescriptor);
}

}  // namespace

std::string findProgram(const std::string& name, const std::string& searchPath) {
  if (name.empty()) return {};
  if (name.find('/') != std::string::npos) return access(name.c_str(), X_OK) == 0 ? name : "";
  std::istringstream folders(searchPath);
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string path = (folder.empty() ? "." : folder) + "/" + name;
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

int startDetached(std::vector<std::string> words, std::vector<std::string> environment,
                  const std::string& workingFolder) {
  const std::vector<char*> wordPointers = pointersTo(words);
  const std::vector<char*> environmentPointers = pointersTo(environment);
  int pipe[2];
  if (pipe2(pipe, O_CLOEXEC) != 0) return errno;
  pid_t child = fork();
  if (child == 0)
    becomeProgram(wordPointers.data(), environmentPointers.data(), workingFolder.c_str(), pipe[1]);
  int forkError = child < 0 ? errno : 0;
  close(pipe[1]);
  int execError = 0;
  // The pipe ends without a word when the program has taken the child's place.
  if (child > 0 && read(pipe[0], &execError, sizeof execError) != sizeof execError) execError = 0;
  close(pipe[0]);
  if (child > 0) waitpid(child, nullptr, 0);
  return forkError != 0 ? forkError : execError;
}

}  // namespace tavik
