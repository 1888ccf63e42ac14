#pragma once

#include <string>

#include "Backends/Linux/Accessibility/ATSPIAccessibilityPort.h"
#include "Backends/Linux/Bus/BusConnection.h"
#include "Backends/Linux/Identity/FilePreferences.h"
#include "Backends/Linux/Identity/LinuxCodeIdentity.h"
#include "Backends/Linux/Input/X11EventPosting.h"
#include "Backends/Linux/Input/X11Keyboard.h"
#include "Backends/Linux/Platform/LinuxPermissions.h"
#include "Backends/Linux/Platform/NoUserInterface.h"
#include "Backends/Linux/Process/LinuxProcess.h"
#include "Backends/Linux/Process/PosixSignals.h"
#include "Backends/Linux/Process/SyslogSystemLog.h"
#include "Backends/Linux/Transport/BusRequestTransport.h"
#include "Backends/Linux/Transport/UnixSockets.h"
#include "Backends/Linux/Windows/PixmanImageCoding.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Windows/X11EventTaps.h"
#include "Backends/Linux/Windows/X11WindowPlacement.h"
#include "Backends/Linux/Windows/X11WindowServer.h"
#include "Backends/Linux/Workspace/DesktopEntryIndex.h"
#include "Backends/Linux/Workspace/LinuxApplicationIndex.h"
#include "Backends/Linux/Workspace/LinuxWorkspace.h"
#include "PlatformInterfaces/Platform.h"

namespace tavik {

/// The ports of a Linux desktop: X11, AT-SPI2, the session bus and /proc. Nothing
/// of it needs to be there at the start, and what goes away may come back.
class LinuxPlatform {
 public:
  /// The main queue outlives the platform and is not served any more when it ends.
  /// `teamIdentifier` is that of the maker of this program.
  LinuxPlatform(MainQueue& mainQueue, std::string teamIdentifier);
  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;

  /// The ports; they live as long as this object.
  Platform& ports() { return ports_; }

 private:
  BusConnection sessionBus_;
  X11Desktop desktop_;
  X11WindowPlacement placement_;
  DesktopEntryIndex entries_;

  ATSPIAccessibilityPort accessibility_;
  X11WindowServer windowServer_;
  X11EventTaps eventTaps_;
  NoScreenCapture screenCapture_;
  PixmanImageCoding imageCoding_;
  ApplicationLauncher launcher_;
  ActiveWindowKeeper activeWindows_;
  X11Keyboard keyboard_;
  X11EventPosting eventPosting_;
  LinuxWorkspace workspace_;
  LinuxApplicationIndex applicationIndex_;
  BusRequestTransport requestTransport_;
  UnixSockets localSockets_;
  LinuxCodeIdentity codeIdentity_;
  LinuxPermissions permissions_;
  NoUserInterface userInterface_;
  FilePreferences preferences_;
  LinuxProcess process_;
  PosixSignals signals_;
  SyslogSystemLog systemLog_;
  Platform ports_;
};

}  // namespace tavik
