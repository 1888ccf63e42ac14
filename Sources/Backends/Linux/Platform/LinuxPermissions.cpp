#include "Backends/Linux/Platform/LinuxPermissions.h"

namespace tavik {

bool LinuxPermissions::preflightScreenCaptureAccess() {
  return desktop_.with([](X11Session& session) { return session.extensions().composite; }).value_or(false);
}

std::string LinuxPermissions::missingGrantAdvice() {
  std::string advice;
  if (!isAccessibilityTrusted()) {
    advice += "The accessibility bus of this desktop does not answer; the user can install at-spi2-core and log in again. ";
  }
  if (!preflightScreenCaptureAccess()) {
    advice += "The X display does not let windows be captured; the user can start the host in a graphical session "
              "whose X server has the Composite extension. ";
  }
  if (advice.empty()) return advice;
  return advice + "\"TavikComputerUseBridge doctor\" tells the user more.";
}

}  // namespace tavik
