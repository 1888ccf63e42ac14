#include "Backends/Linux/Process/LinuxProcess.h"

#include <pwd.h>
#include <signal.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "Backends/Linux/Identity/ProgramIdentity.h"
#include "Backends/Linux/Process/ProcessFiles.h"

namespace tavik {

namespace {

constexpr std::int32_t permitted = 0;
/// What the platform of the vocabulary says of a process that does not exist.
constexpr std::int32_t noSuchProcess = -600;

/// The value of PRETTY_NAME in the file that names the distribution.
std::string distributionName() {
  std::ifstream file("/etc/os-release");
  constexpr std::string_view key = "PRETTY_NAME=";
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(key)) continue;
    std::string value = line.substr(key.size());
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    return value;
  }
  return "Linux";
}

}  // namespace

std::int32_t LinuxProcess::currentPID() {
  return getpid();
}

std::int32_t LinuxProcess::parentPID() {
  return getppid();
}

int LinuxProcess::probe(std::int32_t pid) {
  return kill(pid, 0) == 0 ? 0 : errno;
}

std::optional<std::string> LinuxProcess::executablePath(std::int32_t pid) {
  return executablePathOf(pid);
}

std::optional<std::int32_t> LinuxProcess::responsiblePID(std::int32_t) {
  return std::nullopt;
}

std::int32_t LinuxProcess::determinePermissionToAutomate(std::int32_t pid, bool) {
  int status = pid > 0 ? probe(pid) : ESRCH;
  return status == ESRCH ? noSuchProcess : permitted;
}

std::optional<std::string> LinuxProcess::environment(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::string LinuxProcess::homeDirectory() {
  if (auto home = environment("HOME"); home && !home->empty()) return *home;
  std::vector<char> buffer(16 * 1024);
  passwd user{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &user, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
    return user.pw_dir;
  return "/";
}

std::optional<std::string> LinuxProcess::bundleIdentifier() {
  return ownProgramIdentifier(ownExecutablePath());
}

std::string LinuxProcess::bundlePath() {
  return std::filesystem::path(ownExecutablePath()).parent_path().string();
}

std::string LinuxProcess::applicationSupportDirectory() {
  const auto data = environment("XDG_DATA_HOME");
  return data && data->starts_with('/') ? *data + "/Tavik" : homeDirectory() + "/.local/share/Tavik";
}

std::string LinuxProcess::operatingSystemVersion() {
  utsname kernel{};
  uname(&kernel);
  return distributionName() + " (" + kernel.sysname + " " + kernel.release + ")";
}

}  // namespace tavik
