#pragma once

#include "Backends/Linux/Accessibility/ATSPIAccessibilityPort.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "PlatformInterfaces/PermissionPort.h"

namespace tavik {

/// A Linux desktop asks nobody for these permissions: either it offers its elements
/// and its windows' pictures or it does not.
class LinuxPermissions : public PermissionPort {
 public:
  /// Both must outlive this.
  LinuxPermissions(ATSPIAccessibilityPort& accessibility, X11Desktop& desktop)
      : accessibility_(accessibility), desktop_(desktop) {}

  /// Whether the accessibility bus answers.
  bool isAccessibilityTrusted() override { return accessibility_.isBusConnected(); }
  /// Whether the display lets windows be captured.
  bool preflightScreenCaptureAccess() override;
  bool requestScreenCaptureAccess() override { return preflightScreenCaptureAccess(); }
  std::string missingGrantAdvice() override;

 private:
  ATSPIAccessibilityPort& accessibility_;
  X11Desktop& desktop_;
};

}  // namespace tavik
