#include "Support/PrivateBus.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace tavik {

PrivateBus::PrivateBus() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tavik-bus-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary directory");
  directory_ = pattern;
  address_ = "unix:path=" + directory_ + "/bus";
  start();
}

PrivateBus::~PrivateBus() {
  stop();
  std::filesystem::remove_all(directory_);
}

void PrivateBus::start() {
  std::filesystem::remove(directory_ + "/bus");
  int ready[2];
  if (pipe(ready) != 0) throw std::runtime_error("no pipe");
  std::string listen = "--address=" + address_;
  std::string announce = "--print-address=" + std::to_string(ready[1]);
  pid_ = fork();
  if (pid_ == 0) {
    close(ready[0]);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", listen.c_str(),
           announce.c_str(), nullptr);
    _exit(127);
  }
  close(ready[1]);
  std::array<char, 512> line{};
  ssize_t count = read(ready[0], line.data(), line.size());
  close(ready[0]);
  if (count <= 0) throw std::runtime_error("dbus-daemon did not start");
}

void PrivateBus::stop() {
  if (pid_ == 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = 0;
}

}  // namespace tavik
