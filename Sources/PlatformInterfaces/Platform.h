#pragma once

#include <memory>

#include "PlatformInterfaces/AccessibilityPort.h"
#include "PlatformInterfaces/ApplicationIndexPort.h"
#include "PlatformInterfaces/CodeIdentityPort.h"
#include "PlatformInterfaces/EventPostingPort.h"
#include "PlatformInterfaces/EventTapPort.h"
#include "PlatformInterfaces/ImageCodingPort.h"
#include "PlatformInterfaces/KeyboardLayoutPort.h"
#include "PlatformInterfaces/LocalSocketPort.h"
#include "PlatformInterfaces/PermissionPort.h"
#include "PlatformInterfaces/PreferencesPort.h"
#include "PlatformInterfaces/ProcessPort.h"
#include "PlatformInterfaces/RequestTransportPort.h"
#include "PlatformInterfaces/ScreenCapturePort.h"
#include "PlatformInterfaces/SignalPort.h"
#include "PlatformInterfaces/SystemLogPort.h"
#include "PlatformInterfaces/UserInterfacePort.h"
#include "PlatformInterfaces/WindowServerPort.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// All ports of one backend. The backend owns them; they live as long as it.
struct Platform {
  AccessibilityPort& accessibility;
  WindowServerPort& windowServer;
  ScreenCapturePort& screenCapture;
  ImageCodingPort& imageCoding;
  EventPostingPort& eventPosting;
  EventTapPort& eventTaps;
  KeyboardLayoutPort& keyboardLayout;
  WorkspacePort& workspace;
  ApplicationIndexPort& applicationIndex;
  RequestTransportPort& requestTransport;
  LocalSocketPort& localSockets;
  CodeIdentityPort& codeIdentity;
  PermissionPort& permissions;
  UserInterfacePort& userInterface;
  PreferencesPort& preferences;
  ProcessPort& process;
  SignalPort& signals;
  SystemLogPort& systemLog;
};

}  // namespace tavik
