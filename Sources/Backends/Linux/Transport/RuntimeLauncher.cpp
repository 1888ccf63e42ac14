#include "Backends/Linux/Transport/RuntimeLauncher.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "Backends/Linux/Process/ProcessFiles.h"
#include "Backends/Linux/Transport/RequestBusAddress.h"
#include "Backends/Linux/Transport/SessionEnvironment.h"

namespace tavik {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto nameCheckInterval = std::chrono::milliseconds(10);

BusMessage busCall(const char* member) {
  return BusMessage::methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, member);
}

/// In the child, between fork and exec: only calls that are safe there.
[[noreturn]] void becomeProgram(const char* path, char* const* environment, int failurePipe) {
  setsid();
  // Nobody waits for a grandchild; the system's first process inherits it.
  if (fork() != 0) _exit(0);
  int nowhere = open("/dev/null", O_RDWR);
  for (int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nowhere, standard);
  if (nowhere > STDERR_FILENO) close(nowhere);
  char* const arguments[] = {const_cast<char*>(path), nullptr};
  execve(path, arguments, environment);
  int error = errno;
  [[maybe_unused]] ssize_t written = write(failurePipe, &error, sizeof error);
  _exit(127);
}

/// The error number of a start that failed, 0 when the program runs.
int startDetached(const std::string& path, std::vector<std::string> variables) {
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  int pipe[2];
  if (pipe2(pipe, O_CLOEXEC) != 0) return errno;
  pid_t child = fork();
  if (child == 0) becomeProgram(path.c_str(), environment.data(), pipe[1]);
  int forkError = child < 0 ? errno : 0;
  close(pipe[1]);
  int execError = 0;
  // The pipe ends without a word when the program has taken the child's place.
  if (child > 0 && read(pipe[0], &execError, sizeof execError) != sizeof execError) execError = 0;
  close(pipe[0]);
  if (child > 0) waitpid(child, nullptr, 0);
  return forkError != 0 ? forkError : execError;
}

}  // namespace

std::filesystem::path RuntimeLauncher::siblingRuntime() {
  return std::filesystem::path(ownExecutablePath()).parent_path() / "TavikComputerUseRuntime";
}

std::string RuntimeLauncher::ensureRunning(std::chrono::milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  std::lock_guard lock(startMutex_);
  if (bus_.hasOwner(requestBus::name)) return {};
  if (std::string failure = canBusStart(bus_) ? startByBus(timeout) : startProgram(); !failure.empty()) {
    return failure;
  }
  while (!bus_.hasOwner(requestBus::name)) {
    if (Clock::now() >= deadline) return "The runtime was started but does not answer on the session bus.";
    std::this_thread::sleep_for(nameCheckInterval);
  }
  return {};
}

bool RuntimeLauncher::canBusStart(BusConnection& bus) {
  BusReply reply = bus.call(busCall("ListActivatableNames"), std::chrono::seconds(5));
  std::vector<std::string> names = reply.read().strings();
  return std::find(names.begin(), names.end(), requestBus::name) != names.end();
}

std::string RuntimeLauncher::startByBus(std::chrono::milliseconds timeout) {
  BusMessage request = busCall("StartServiceByName");
  BusWriter(request).string(requestBus::name).uint32(0);
  BusReply reply = bus_.call(request, timeout);
  if (reply.ok()) return {};
  return "The session bus could not start the runtime: " +
         (reply.status == BusReply::Status::failed ? reply.message.read().string()
                                                   : std::string("no answer")) +
         ".";
}

std::string RuntimeLauncher::startProgram() {
  int error = startDetached(runtimeExecutable_.string(), sessionEnvironment(bus_));
  if (error == 0) return {};
  return "Could not start " + runtimeExecutable_.string() + ": " + std::strerror(error) + ".";
}

}  // namespace tavik
