#pragma once

#include "PlatformInterfaces/UserInterfacePort.h"

namespace tavik {

/// A desktop on which this program shows nothing of its own.
class NoUserInterface : public UserInterfacePort {
 public:
  bool hasPermissionsWindow() override { return false; }
  std::unique_ptr<PermissionsWindow> openPermissionsWindow(std::function<void()>) override { return nullptr; }
  int runModalAlert(const Alert&) override { return 0; }
  bool prefersChinese() override { return false; }
};

}  // namespace tavik
