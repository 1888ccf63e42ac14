#include "RouterProcess.h"

#include <signal.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tavik::test {

RouterProcess::RouterProcess() {
  std::string pattern = std::filesystem::temp_directory_path() / "tavik-router.XXXXXX";
  home_ = mkdtemp(pattern.data());

  int toRouter[2], fromRouter[2];
  if (pipe2(toRouter, O_CLOEXEC) != 0 || pipe2(fromRouter, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toRouter[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromRouter[1], STDOUT_FILENO);
  std::string program = "python3", script = TAVIK_ROUTER, socket = socketPath();
  std::array<char*, 4> arguments = {program.data(), script.data(), socket.data(), nullptr};
  const int failure = posix_spawnp(&pid_, "python3", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(toRouter[0]);
  close(fromRouter[1]);
  input_ = toRouter[1];
  output_ = fromRouter[0];
  if (failure != 0 || readLine() != "listening") throw std::runtime_error("the Router did not start");
}

RouterProcess::~RouterProcess() {
  close(input_);
  close(output_);
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  std::filesystem::remove_all(home_);
}

std::string RouterProcess::tell(const std::string& command) {
  const std::string line = command + "\n";
  if (write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) throw std::runtime_error("the Router has gone");
  return readLine();
}

std::string RouterProcess::readLine() {
  std::string line;
  for (char character; read(output_, &character, 1) == 1 && character != '\n';) line += character;
  return line;
}

}  // namespace tavik::test
