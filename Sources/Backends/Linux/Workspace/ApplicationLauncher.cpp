#include "Backends/Linux/Workspace/ApplicationLauncher.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Backends/Linux/Process/DetachedProgram.h"
#include "Backends/Linux/Transport/SessionEnvironment.h"
#include "Backends/Linux/Workspace/LaunchedWindowGuard.h"

namespace tavik {

namespace {

constexpr auto busActivationTimeout = std::chrono::seconds(3);

/// A name for this launch that ends in the time of the user's action which caused
/// it: none, so that the window manager does not put the window before the user's.
std::string startupIDWithoutUserAction() {
  static std::atomic<int> count = 0;
  return "tavik-" + std::to_string(getpid()) + "-" + std::to_string(++count) + "_TIME0";
}

std::string objectPathOf(const std::string& identifier) {
  std::string path = "/" + identifier;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

bool setsVariable(const std::string& assignment, const char* name) {
  return assignment.starts_with(std::string(name) + "=");
}

std::string valueOf(const std::vector<std::string>& environment, const char* name) {
  for (const std::string& assignment : environment) {
    if (setsVariable(assignment, name)) return assignment.substr(std::strlen(name) + 1);
  }
  return {};
}

}  // namespace

ApplicationLauncher::~ApplicationLauncher() {
  isEnding_ = true;
  std::lock_guard lock(mutex_);
  launches_.clear();
}

void ApplicationLauncher::launch(DesktopEntry entry, bool activates, Completion completion) {
  auto work = [this, entry = std::move(entry), activates, completion = std::move(completion)] {
    const std::string startupID = startupIDWithoutUserAction();
    // Before the start, to know which windows are new.
    std::optional<LaunchedWindowGuard> guard;
    if (!activates) guard.emplace(desktop_, entries_, entry.id, startupID);
    const auto error = start(entry, activates ? std::string() : startupID);
    completion(error);
    if (guard && !error) guard->run(isEnding_);
  };
  std::lock_guard lock(mutex_);
  std::erase_if(launches_, [](const std::future<void>& launch) {
    return launch.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  launches_.push_back(std::async(std::launch::async, std::move(work)));
}

std::optional<std::string> ApplicationLauncher::start(const DesktopEntry& entry,
                                                      const std::string& startupID) {
  if (entry.isForTerminal) return "It runs inside a terminal only.";
  if (entry.isDBusActivatable && activateOverBus(entry, startupID)) return std::nullopt;
  return startProgram(entry, startupID);
}

/// The identifier of such an entry is the application's name on the session bus.
bool ApplicationLauncher::activateOverBus(const DesktopEntry& entry, const std::string& startupID) {
  if (!dbus_validate_bus_name(entry.id.c_str(), nullptr)) return false;
  const std::string path = objectPathOf(entry.id);
  if (!dbus_validate_path(path.c_str(), nullptr)) return false;
  BusMessage activate = BusMessage::methodCall(entry.id, path, "org.freedesktop.Application", "Activate");
  BusWriter(activate).array("{sv}", [&](BusWriter& platformData) {
    if (startupID.empty()) return;
    platformData.dictionaryEntry([&](BusWriter& item) {
      item.string("desktop-startup-id").variant("s", [&](BusWriter& value) { value.string(startupID); });
    });
  });
  // An application that takes its time has been started all the same; a second start
  // would give two.
  const BusReply reply = bus_.call(activate, busActivationTimeout);
  return reply.ok() || reply.status == BusReply::Status::timedOut;
}

std::optional<std::string> ApplicationLauncher::startProgram(const DesktopEntry& entry,
                                                             const std::string& startupID) {
  std::vector<std::string> words = commandOf(entry);
  if (words.empty()) return "Its desktop entry names no program.";
  std::vector<std::string> environment = sessionEnvironment(bus_);
  std::erase_if(environment, [](const std::string& assignment) {
    return setsVariable(assignment, "DESKTOP_STARTUP_ID") || setsVariable(assignment, "XDG_ACTIVATION_TOKEN");
  });
  if (!startupID.empty()) environment.push_back("DESKTOP_STARTUP_ID=" + startupID);

  std::string program = findProgram(words[0], valueOf(environment, "PATH"));
  if (program.empty()) return "There is no program \"" + words[0] + "\".";
  words[0] = std::move(program);
  std::string folder = entry.workingFolder.empty() ? valueOf(environment, "HOME") : entry.workingFolder;
  const int error = startDetached(std::move(words), std::move(environment), folder);
  if (error != 0) return std::strerror(error);
  return std::nullopt;
}

}  // namespace tavik
