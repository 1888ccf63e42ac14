#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"
#include "PlatformInterfaces/Platform.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"
#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"
#include "TavikComputerUseRuntime/Requests/RuntimeRequestHandler.h"

namespace tavik {

/// The life of the runtime from the first request to the last: receives requests
/// and hands them on, and ends the process when nobody needs it or a signal says
/// so. Belongs to the main thread; the requests run on tasks of their own.
class ComputerUseRuntimeApplicationDelegate {
 public:
  using ToolRequestRoute = RuntimeRequestHandler::ToolRequestRoute;

  /// `terminate` ends the application; it is called on the main queue, and whoever
  /// serves it calls `applicationWillTerminate` on the way out.
  ComputerUseRuntimeApplicationDelegate(Scheduler& scheduler, MainQueue& mainQueue, Platform& platform,
                                        AXWrapper& access, const BundleIdentifiers& identifiers,
                                        ToolRequestRoute routeToolRequest, std::function<void()> terminate);

  /// Begins to serve requests. False when another runtime serves them already.
  bool applicationDidFinishLaunching();
  /// Answers what still waits and lets go of everything.
  void applicationWillTerminate();

 private:
  void installTerminationSignalHandlers();
  void terminateFromSignal(int signal);
  bool configureIPCHandlers();
  LogFields runtimeIdentityFields() const;

  Platform& platform_;
  AXWrapper& access_;
  const std::string runtimeGenerationID_;
  const std::function<void()> terminate_;
  bool isTerminating_ = false;
  RuntimeLifetime lifetime_;
  RuntimeRequestHandler requestHandler_;
  /// Goes first, and with it the tasks that use the two above.
  ComputerUseIPCServerHandler ipcServer_;
  std::vector<std::unique_ptr<SignalSource>> terminationSignalSources_;
};

}  // namespace tavik
