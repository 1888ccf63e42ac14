#include "Backends/Linux/Transport/RuntimeLauncher.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "Backends/Linux/Process/DetachedProgram.h"
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
  int error = startDetached({runtimeExecutable_.string()}, sessionEnvironment(bus_));
  if (error == 0) return {};
  return "Could not start " + runtimeExecutable_.string() + ": " + std::strerror(error) + ".";
}

}  // namespace tavik
