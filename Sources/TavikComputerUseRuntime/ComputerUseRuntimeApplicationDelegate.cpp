#include "TavikComputerUseRuntime/ComputerUseRuntimeApplicationDelegate.h"

#include <csignal>
#include <optional>
#include <utility>

#include "Base/Encoding/UUID.h"
#include "HostCoordination/Wire/HostCoordinationEndpoint.h"

namespace tavik {

namespace {

constexpr const char* routerClientType = "computer-use-runtime";

RuntimeRequestHandler::Identity identityOf(ProcessPort& process, const BundleIdentifiers& identifiers,
                                           const std::string& generationID) {
  return {.generationID = generationID,
          .runtimePID = process.currentPID(),
          .bundleIdentifier = process.bundleIdentifier().value_or(identifiers.computerUseRuntime()),
          .bundlePath = process.bundlePath()};
}

std::string routerSocketPath(ProcessPort& process) {
  return HostCoordinationEndpoint::defaultSocketPath(
      [&](const std::string& name) { return process.environment(name); }, process.homeDirectory(),
      process.bundleIdentifier().value_or(""));
}

std::optional<std::string> textProperty(PreferencesPort& preferences, const std::string& key) {
  const auto value = preferences.applicationProperty(key);
  const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
  return text ? std::optional(*text) : std::nullopt;
}

}  // namespace

ComputerUseRuntimeApplicationDelegate::ComputerUseRuntimeApplicationDelegate(
    Scheduler& scheduler, MainQueue& mainQueue, Platform& platform, AXWrapper& access,
    const BundleIdentifiers& identifiers, RuntimeServices services, std::function<void()> terminate)
    : mainQueue_(mainQueue),
      platform_(platform),
      access_(access),
      services_(std::move(services)),
      runtimeGenerationID_(UUID::make().string()),
      terminate_(std::move(terminate)),
      permissionState_(scheduler, platform.permissions, platform.windowServer, platform.process,
                       services_.screenRecordingEvidence),
      permissionFlow_(scheduler, platform.userInterface, permissionState_,
                      [this] { permissionGate_.cancelPendingWaits(); }),
      permissionGate_(scheduler, mainQueue, permissionState_,
                      [this] { return permissionFlow_.showPermissionsWindow("permissionGate"); }),
      lifetime_(scheduler, mainQueue, platform.process,
                {.shouldDeferForPermissionFlow =
                     [this](const std::string& trigger) { return permissionFlow_.shouldDeferShutdown(trigger); },
                 .isRecording =
                     [this] { return services_.eventStream && services_.eventStream->status().isRecording; }},
                terminate_),
      turnLifecycleCoordinator_(scheduler, services_.presentation),
      hostCoordinationRouterClient_(scheduler, platform.localSockets, routerSocketPath(platform.process),
                                    {.clientType = routerClientType}),
      computerUseTurnLifecycleObserver_(hostCoordinationRouterClient_,
                                        [this](const HostConversationActivityChange& change) {
                                          turnLifecycleCoordinator_.hostConversationStateChanged(change);
                                        }),
      recordReplayContinuation_(scheduler, hostCoordinationRouterClient_),
      endedRecordings_(recordReplayContinuation_),
      permissionCheck_(mainQueue, platform.permissions, platform.userInterface, permissionState_, permissionGate_,
                       permissionFlow_),
      toolRequests_(services_.routeToolRequest, &turnLifecycleCoordinator_),
      recordingRequests_(scheduler, mainQueue, platform.userInterface, services_.eventStream),
      appshotRequests_(services_.appshots),
      requestHandler_(scheduler, ipcServer_, lifetime_,
                      {.permissions = permissionCheck_,
                       .tools = toolRequests_,
                       .recording = recordingRequests_,
                       .appshots = appshotRequests_},
                      identityOf(platform.process, identifiers, runtimeGenerationID_)),
      shutdownTasks_(scheduler),
      ipcServer_(scheduler, platform.requestTransport, platform.codeIdentity, identifiers) {
  if (services_.eventStream) {
    services_.eventStream->setStatusChangeHandler(
        [this](const EventStreamControl::Status& status) { endedRecordings_.statusChanged(status); });
  }
  platform_.signals.ignore(SIGPIPE);
  installTerminationSignalHandlers();
}

ComputerUseRuntimeApplicationDelegate::~ComputerUseRuntimeApplicationDelegate() {
  if (services_.eventStream) services_.eventStream->setStatusChangeHandler(nullptr);
  // What waits for the host's answer is woken before its task is waited for.
  hostCoordinationRouterClient_.stop();
}

void ComputerUseRuntimeApplicationDelegate::installTerminationSignalHandlers() {
  for (int signal : {SIGTERM, SIGINT}) {
    // Ignored without its source, so that a second one cannot kill the process while it ends.
    platform_.signals.ignore(signal);
    terminationSignalSources_.push_back(
        platform_.signals.makeSource(signal, [this, signal] { terminateFromSignal(signal); }));
  }
}

bool ComputerUseRuntimeApplicationDelegate::applicationDidFinishLaunching() {
  access_.configureProcessWideMessagingTimeout();
  TavikComputerUseLogger::info(LogCategory::lifecycle, "screens_enumerated",
                               {{"screenCount", platform_.windowServer.screens().size()}});
  permissionState_.refreshNow("runtimeLaunch");
  LogFields fields = runtimeIdentityFields();
  fields.emplace("permissionSummary", permissionState_.diagnosticSummary());
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_started", fields);
  permissionState_.setChangeHandler([this](const auto& before, const auto& after) {
    mainQueue_.async([this, before, after] { permissionFlow_.permissionsChanged(before, after); });
  });
  if (!configureIPCHandlers()) {
    TavikComputerUseLogger::warning(LogCategory::lifecycle, "runtime_not_serving");
    return false;
  }
  computerUseTurnLifecycleObserver_.start();
  hostCoordinationRouterClient_.start();
  lifetime_.scheduleIdleTimeout();
  return true;
}

bool ComputerUseRuntimeApplicationDelegate::configureIPCHandlers() {
  // Without a time-out of the server's own: the handler sets one for the part of a
  // request in which nobody waits for the user.
  return ipcServer_.install(
      std::nullopt, [this](const std::string& requestType, const Bytes& requestData, std::int32_t senderPID) {
        return requestHandler_.handle(requestType, requestData, senderPID);
      });
}

LogFields ComputerUseRuntimeApplicationDelegate::runtimeIdentityFields() const {
  return {{"appBundleID", platform_.process.bundleIdentifier().value_or("<missing>")},
          {"bundlePath", platform_.process.bundlePath()},
          {"bundleVersion", textProperty(platform_.preferences, "CFBundleVersion")},
          {"shortVersion", textProperty(platform_.preferences, "CFBundleShortVersionString")},
          {"macOSVersion", platform_.process.operatingSystemVersion()},
          {"runtimeGeneration", runtimeGenerationID_}};
}

void ComputerUseRuntimeApplicationDelegate::terminateFromSignal(int signal) {
  if (std::exchange(isTerminating_, true)) return;
  TavikComputerUseLogger::info(LogCategory::lifecycle, "signal_received",
                               {{"signal", signal}, {"outcome", "terminating"}});
  ipcServer_.failPendingRequestsAndUninstall("TavikComputerUseRuntime received signal " +
                                             std::to_string(signal));
  cancelAppshotCapturesForShutdown();
  lifetime_.stop();
  terminate_();
}

void ComputerUseRuntimeApplicationDelegate::applicationWillTerminate() {
  isTerminating_ = true;
  if (services_.eventStream && services_.eventStream->status().isRecording) {
    services_.eventStream->stop(ComputerUseIPCEventStreamEndReason::error);
  }
  ipcServer_.failPendingRequestsAndUninstall("TavikComputerUseRuntime is terminating");
  cancelAppshotCapturesForShutdown();
  lifetime_.stop();
  computerUseTurnLifecycleObserver_.stop();
  hostCoordinationRouterClient_.stop();
  turnLifecycleCoordinator_.stop();
  permissionFlow_.stop();
  permissionGate_.cancelPendingWaits();
  terminationSignalSources_.clear();
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_terminating");
}

void ComputerUseRuntimeApplicationDelegate::cancelAppshotCapturesForShutdown() {
  if (!services_.appshots) return;
  shutdownTasks_.start("cancel appshots", [appshots = services_.appshots] { appshots->cancelAll(); });
}

}  // namespace tavik
