#include "Backends/Simulated/SimulatedDesktop.h"

namespace tavik {

SimulatedDesktop::SimulatedDesktop(Scheduler& scheduler, MainQueue& mainQueue)
    : mainQueue_(mainQueue),
      journal_(scheduler),
      model_(scheduler, mainQueue),
      accessibility_(model_, journal_),
      windowServer_(model_, journal_),
      screenCapture_(windowServer_, journal_),
      eventPosting_(scheduler, journal_),
      workspace_(model_, journal_, mainQueue),
      transport_(scheduler, mainQueue),
      sockets_(scheduler),
      permissions_(journal_),
      userInterface_(scheduler, journal_),
      signals_(mainQueue),
      platform_{.accessibility = accessibility_,
                .windowServer = windowServer_,
                .screenCapture = screenCapture_,
                .imageCoding = imageCoding_,
                .eventPosting = eventPosting_,
                .eventTaps = eventTaps_,
                .keyboardLayout = keyboard_,
                .workspace = workspace_,
                .applicationIndex = applicationIndex_,
                .requestTransport = transport_,
                .localSockets = sockets_,
                .codeIdentity = codeIdentity_,
                .permissions = permissions_,
                .userInterface = userInterface_,
                .preferences = preferences_,
                .process = process_,
                .signals = signals_,
                .systemLog = systemLog_} {}

SimulatedApplication SimulatedDesktop::application(const std::string& name,
                                                   const std::string& bundleIdentifier, std::int32_t pid) {
  RunningApplication record;
  record.pid = pid;
  record.localizedName = name;
  record.bundleIdentifier = bundleIdentifier;
  record.bundlePath = "/Applications/" + name + ".app";
  process_.state(
      pid, SimulatedProcess::Record{0, *record.bundlePath + "/Contents/MacOS/" + name, std::nullopt, 0});
  return SimulatedApplication(model_, model_.addApplication(std::move(record)));
}

Fault SimulatedDesktop::on(AXCall call) {
  Fault fault(std::move(call));
  model_.look([&] { model_.addFaultLocked(fault); });
  return fault;
}

}  // namespace tavik
