#include "TavikComputerUseRuntime/ComputerUseRuntimeApplicationDelegate.h"

#include <csignal>
#include <optional>
#include <utility>

#include "Base/Encoding/UUID.h"

namespace tavik {

namespace {

RuntimeRequestHandler::Identity identityOf(ProcessPort& process, const BundleIdentifiers& identifiers,
                                           const std::string& generationID) {
  return {.generationID = generationID,
          .runtimePID = process.currentPID(),
          .bundleIdentifier = process.bundleIdentifier().value_or(identifiers.computerUseRuntime()),
          .bundlePath = process.bundlePath()};
}

std::optional<std::string> textProperty(PreferencesPort& preferences, const std::string& key) {
  const auto value = preferences.applicationProperty(key);
  const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
  return text ? std::optional(*text) : std::nullopt;
}

}  // namespace

ComputerUseRuntimeApplicationDelegate::ComputerUseRuntimeApplicationDelegate(
    Scheduler& scheduler, MainQueue& mainQueue, Platform& platform, AXWrapper& access,
    const BundleIdentifiers& identifiers, ToolRequestRoute routeToolRequest, std::function<void()> terminate)
    : platform_(platform),
      access_(access),
      runtimeGenerationID_(UUID::make().string()),
      terminate_(std::move(terminate)),
      lifetime_(scheduler, mainQueue, platform.process, terminate_),
      requestHandler_(scheduler, ipcServer_, lifetime_, std::move(routeToolRequest),
                      identityOf(platform.process, identifiers, runtimeGenerationID_)),
      ipcServer_(scheduler, platform.requestTransport, platform.codeIdentity, identifiers) {
  platform_.signals.ignore(SIGPIPE);
  installTerminationSignalHandlers();
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
  if (!configureIPCHandlers()) return false;
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_started", runtimeIdentityFields());
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
  lifetime_.stop();
  terminate_();
}

void ComputerUseRuntimeApplicationDelegate::applicationWillTerminate() {
  isTerminating_ = true;
  ipcServer_.failPendingRequestsAndUninstall("TavikComputerUseRuntime is terminating");
  lifetime_.stop();
  terminationSignalSources_.clear();
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_terminating");
}

}  // namespace tavik
