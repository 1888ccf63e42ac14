#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Backends/Simulated/Accessibility/ElementBuilder.h"
#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Accessibility/SimulatedAccessibility.h"
#include "Backends/Simulated/Interface/SimulatedUserInterface.h"
#include "Backends/Simulated/Journal.h"
#include "Backends/Simulated/Screen/SimulatedImageCoding.h"
#include "Backends/Simulated/Screen/SimulatedScreenCapture.h"
#include "Backends/Simulated/Screen/SimulatedWindowServer.h"
#include "Backends/Simulated/Screen/SimulatedWorkspace.h"
#include "Backends/Simulated/SimulatedApplication.h"
#include "Backends/Simulated/System/SimulatedApplicationIndex.h"
#include "Backends/Simulated/System/SimulatedCodeIdentity.h"
#include "Backends/Simulated/System/SimulatedEventPosting.h"
#include "Backends/Simulated/System/SimulatedEventTaps.h"
#include "Backends/Simulated/System/SimulatedKeyboard.h"
#include "Backends/Simulated/System/SimulatedPermissions.h"
#include "Backends/Simulated/System/SimulatedPreferences.h"
#include "Backends/Simulated/System/SimulatedProcess.h"
#include "Backends/Simulated/System/SimulatedRequestTransport.h"
#include "Backends/Simulated/System/SimulatedSignals.h"
#include "Backends/Simulated/System/SimulatedSockets.h"
#include "Backends/Simulated/System/SimulatedSystemLog.h"
#include "PlatformInterfaces/Platform.h"

namespace tavik {

/// A desktop in memory that speaks every port. Applications behave: a press flips a
/// check box and tells its observers, focus moves, menus open; and they misbehave
/// where a test scripts it.
///
///     SimulatedDesktop desktop(scheduler, mainQueue);
///     auto notes = desktop.application("Notes", "com.example.notes", 42);
///     auto window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
///     auto save = window.add(simulated::button("Save").identifier("saveButton"));
///     save.on(AXCall::perform()).answers(AXError::cannotComplete);
///     desktop.after(milliseconds(700), [=] { window.add(simulated::textField("Ada")); });
///
/// The journal holds what was done to it, in order.
class SimulatedDesktop {
 public:
  SimulatedDesktop(Scheduler& scheduler, MainQueue& mainQueue);
  SimulatedDesktop(const SimulatedDesktop&) = delete;
  SimulatedDesktop& operator=(const SimulatedDesktop&) = delete;

  /// Starts an application, behind those that run.
  SimulatedApplication application(const std::string& name, const std::string& bundleIdentifier,
                                   std::int32_t pid);
  /// Runs the work on the main queue when the delay is over.
  void after(Duration delay, std::function<void()> body) { mainQueue_.asyncAfter(delay, std::move(body)); }
  /// Scripts the calls on every element of the desktop.
  Fault on(AXCall call);

  Journal& journal() { return journal_; }
  SimulatedWindowServer& windowServer() { return windowServer_; }
  SimulatedScreenCapture& screenCapture() { return screenCapture_; }
  SimulatedWorkspace& workspace() { return workspace_; }
  SimulatedApplicationIndex& applicationIndex() { return applicationIndex_; }
  SimulatedEventPosting& eventPosting() { return eventPosting_; }
  SimulatedEventTaps& eventTaps() { return eventTaps_; }
  SimulatedKeyboard& keyboard() { return keyboard_; }
  SimulatedRequestTransport& transport() { return transport_; }
  SimulatedSockets& sockets() { return sockets_; }
  SimulatedCodeIdentity& codeIdentity() { return codeIdentity_; }
  SimulatedPermissions& permissions() { return permissions_; }
  SimulatedUserInterface& userInterface() { return userInterface_; }
  SimulatedPreferences& preferences() { return preferences_; }
  SimulatedProcess& process() { return process_; }
  SimulatedSignals& signals() { return signals_; }
  SimulatedSystemLog& systemLog() { return systemLog_; }

  /// The ports; they live as long as the desktop.
  Platform& platform() { return platform_; }

 private:
  MainQueue& mainQueue_;
  Journal journal_;
  ElementModel model_;
  SimulatedAccessibility accessibility_;
  SimulatedWindowServer windowServer_;
  SimulatedScreenCapture screenCapture_;
  SimulatedImageCoding imageCoding_;
  SimulatedEventPosting eventPosting_;
  SimulatedEventTaps eventTaps_;
  SimulatedKeyboard keyboard_;
  SimulatedWorkspace workspace_;
  SimulatedApplicationIndex applicationIndex_;
  SimulatedRequestTransport transport_;
  SimulatedSockets sockets_;
  SimulatedCodeIdentity codeIdentity_;
  SimulatedPermissions permissions_;
  SimulatedUserInterface userInterface_;
  SimulatedPreferences preferences_;
  SimulatedProcess process_;
  SimulatedSignals signals_;
  SimulatedSystemLog systemLog_;
  Platform platform_;
};

}  // namespace tavik
