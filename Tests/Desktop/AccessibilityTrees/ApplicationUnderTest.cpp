#include "ApplicationUnderTest.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace tavik {

ApplicationUnderTest::ApplicationUnderTest(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("cannot start " + command.front());
  if (pid_ > 0) return;
  int nowhere = open("/dev/null", O_RDWR);
  for (int descriptor : {0, 1, 2}) dup2(nowhere, descriptor);
  execvp(arguments.front(), arguments.data());
  _exit(127);
}

ApplicationUnderTest::~ApplicationUnderTest() {
  kill();
}

void ApplicationUnderTest::kill() {
  if (pid_ == 0) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = 0;
}

void ApplicationUnderTest::freeze() {
  ::kill(pid_, SIGSTOP);
}
void ApplicationUnderTest::thaw() {
  ::kill(pid_, SIGCONT);
}

}  // namespace tavik
