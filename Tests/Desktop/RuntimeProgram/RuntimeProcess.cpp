#include "RuntimeProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Backends/Linux/Transport/RuntimeLauncher.h"

namespace tavik::test {

namespace {

namespace fs = std::filesystem;

class TrustingInstallation {
 public:
  TrustingInstallation() {
    std::string pattern = fs::temp_directory_path() / "tavik-runtime.XXXXXX";
    folder_ = mkdtemp(pattern.data());
    fs::copy_file(RuntimeLauncher::siblingRuntime(), runtime());
    std::ofstream(folder_ / "TavikComputerUse.json")
        << R"({"TavikComputerUseEnforceSenderAuthorization": false})";
  }
  ~TrustingInstallation() { fs::remove_all(folder_); }
  TrustingInstallation(const TrustingInstallation&) = delete;
  TrustingInstallation& operator=(const TrustingInstallation&) = delete;

  fs::path runtime() const { return folder_ / "TavikComputerUseRuntime"; }

 private:
  fs::path folder_;
};

}  // namespace

const fs::path& trustingRuntime() {
  static const TrustingInstallation installation;
  static const fs::path program = installation.runtime();
  return program;
}

RuntimeProcess::RuntimeProcess(const fs::path& program, const std::vector<std::string>& environmentChanges) {
  std::vector<std::string> command{"env"};
  command.insert(command.end(), environmentChanges.begin(), environmentChanges.end());
  command.push_back(program);
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  if (posix_spawnp(&pid_, "env", nullptr, nullptr, arguments.data(), environ) != 0) pid_ = 0;
}

RuntimeProcess::~RuntimeProcess() {
  if (pid_ == 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void RuntimeProcess::signal(int number) const {
  kill(pid_, number);
}

std::optional<int> RuntimeProcess::exitCode() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = 0;
  return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

}  // namespace tavik::test
