#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"
#include "HostCoordination/Router/HostCoordinationRouterClient.h"
#include "PlatformInterfaces/Platform.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"
#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionGate.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionState.h"
#include "TavikComputerUseRuntime/Permissions/PermissionFlow.h"
#include "TavikComputerUseRuntime/Recording/EndedRecordings.h"
#include "TavikComputerUseRuntime/Recording/RecordReplayContinuation.h"
#include "TavikComputerUseRuntime/Requests/RuntimeRequestHandler.h"
#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleCoordinator.h"
#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleObserver.h"

namespace tavik {

/// What the process can do, as the delegate hands requests on to it.
struct RuntimeServices {
  ToolRequests::Route routeToolRequest;
  TurnPresentation presentation;
  /// Null while the process records nothing, or hands no windows over.
  EventStreamControl* eventStream = nullptr;
  AppshotCaptures* appshots = nullptr;
  /// Finds the proof of a granted screen capture in the system's settings; may be empty.
  ScreenRecordingEvidenceSource screenRecordingEvidence = nullptr;
};

/// The life of the runtime from the first request to the last: owns what lives as long
/// as the process, receives requests and hands them on, follows the host's turns, and
/// ends the process when nobody needs it or a signal says so. Belongs to the main
/// thread; the requests run on tasks of their own.
class ComputerUseRuntimeApplicationDelegate {
 public:
  /// `terminate` ends the application; it is called on the main queue, and whoever
  /// serves it calls `applicationWillTerminate` on the way out. All that is given
  /// outlives the delegate.
  ComputerUseRuntimeApplicationDelegate(Scheduler& scheduler, MainQueue& mainQueue, Platform& platform,
                                        AXWrapper& access, const BundleIdentifiers& identifiers,
                                        RuntimeServices services, std::function<void()> terminate);
  ~ComputerUseRuntimeApplicationDelegate();

  /// Begins to serve requests. False when another runtime serves them already.
  bool applicationDidFinishLaunching();
  /// Answers what still waits and lets go of everything.
  void applicationWillTerminate();

 private:
  void installTerminationSignalHandlers();
  void terminateFromSignal(int signal);
  bool configureIPCHandlers();
  void cancelAppshotCapturesForShutdown();
  LogFields runtimeIdentityFields() const;

  MainQueue& mainQueue_;
  Platform& platform_;
  AXWrapper& access_;
  const RuntimeServices services_;
  const std::string runtimeGenerationID_;
  const std::function<void()> terminate_;
  bool isTerminating_ = false;

  ComputerUseRuntimePermissionState permissionState_;
  PermissionFlow permissionFlow_;
  ComputerUseRuntimePermissionGate permissionGate_;
  RuntimeLifetime lifetime_;

  ComputerUseTurnLifecycleCoordinator turnLifecycleCoordinator_;
  HostCoordinationRouterClient hostCoordinationRouterClient_;
  ComputerUseTurnLifecycleObserver computerUseTurnLifecycleObserver_;
  RecordReplayContinuation recordReplayContinuation_;
  EndedRecordings endedRecordings_;

  PermissionCheck permissionCheck_;
  ToolRequests toolRequests_;
  RecordingRequests recordingRequests_;
  AppshotRequests appshotRequests_;
  RuntimeRequestHandler requestHandler_;
  TaskGroup shutdownTasks_;
  /// Goes first, and with it the tasks that use all of the above.
  ComputerUseIPCServerHandler ipcServer_;
  std::vector<std::unique_ptr<SignalSource>> terminationSignalSources_;
};

}  // namespace tavik
