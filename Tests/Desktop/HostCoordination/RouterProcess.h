#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace tavik::test {

/// The Router program of this folder, with a home of its own; both end with the object.
class RouterProcess {
 public:
  RouterProcess();
  ~RouterProcess();
  RouterProcess(const RouterProcess&) = delete;
  RouterProcess& operator=(const RouterProcess&) = delete;

  /// The directory for TAVIK_HOME.
  const std::filesystem::path& home() const { return home_; }
  std::string socketPath() const { return home_ / "ipc" / "ipc.sock"; }

  /// Gives the program a command and waits for its answer.
  std::string tell(const std::string& command);
  int count(const std::string& question) { return std::stoi(tell(question)); }

 private:
  std::string readLine();

  std::filesystem::path home_;
  pid_t pid_ = 0;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace tavik::test
