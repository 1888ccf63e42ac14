#include "ChildProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace tavik::test {

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  if (posix_spawnp(&pid_, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) pid_ = 0;
}

ChildProcess::~ChildProcess() {
  end(SIGKILL);
}

void ChildProcess::end(int signal) {
  if (pid_ == 0) return;
  kill(pid_, signal);
  kill(pid_, SIGCONT);
  waitpid(pid_, nullptr, 0);
  pid_ = 0;
}

bool eventually(const std::function<bool()>& question) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!question()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace tavik::test
