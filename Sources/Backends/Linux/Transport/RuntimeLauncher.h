#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "Backends/Linux/Bus/BusConnection.h"

namespace tavik {

/// Starts the runtime when none has the name on the session bus: by the bus, if it
/// knows how (a service file is installed), else as a program of its own that
/// outlives the caller. Any thread.
class RuntimeLauncher {
 public:
  RuntimeLauncher(BusConnection& bus, std::filesystem::path runtimeExecutable)
      : bus_(bus), runtimeExecutable_(std::move(runtimeExecutable)) {}

  /// "TavikComputerUseRuntime" in the folder of this program.
  static std::filesystem::path siblingRuntime();

  /// Whether a service file for the runtime is installed.
  static bool canBusStart(BusConnection& bus);

  /// Waits until a runtime has the name. Empty on success, else why there is none,
  /// for a person. Callers that come meanwhile wait for the same start.
  std::string ensureRunning(std::chrono::milliseconds timeout);

 private:
  std::string startByBus(std::chrono::milliseconds timeout);
  std::string startProgram();

  BusConnection& bus_;
  const std::filesystem::path runtimeExecutable_;
  std::mutex startMutex_;
};

}  // namespace tavik
