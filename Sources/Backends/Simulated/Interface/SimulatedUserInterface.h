#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Backends/Simulated/Journal.h"
#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/UserInterfacePort.h"

namespace tavik {

/// What a person would see, and a person who does what a test says. Windows and
/// alerts are in the journal: "open permissions window", "raise permissions window",
/// "close permissions window", "alert ...".
class SimulatedUserInterface : public UserInterfacePort {
 public:
  SimulatedUserInterface(Scheduler& scheduler, Journal& journal)
      : scheduler_(scheduler), journal_(journal), screen_(std::make_shared<Screen>()) {}

  /// From now on this desktop has no permissions window.
  void removePermissionsWindow() { hasPermissionsWindow_ = false; }
  bool isPermissionsWindowOpen() const;
  /// The user closes the window. Main thread only.
  void closePermissionsWindowAsUser();
  /// Whether the window is the user's active one.
  void setPermissionsWindowFront(bool isFront);

  /// The button, counted from 0, that the user presses on each alert from now on, and
  /// how long that takes.
  void answerAlerts(int button, Duration delay = {});
  std::vector<Alert> alerts() const;
  void setPrefersChinese(bool prefersChinese) { prefersChinese_ = prefersChinese; }

  bool hasPermissionsWindow() override { return hasPermissionsWindow_; }
  std::unique_ptr<PermissionsWindow> openPermissionsWindow(std::function<void()> closedByUser) override;
  int runModalAlert(const Alert& alert) override;
  bool prefersChinese() override { return prefersChinese_; }

 private:
  class Window;
  struct Screen {
    Mutex mutex;
    std::function<void()> closedByUser;
    bool isOpen = false;
    bool isFront = false;
  };

  Scheduler& scheduler_;
  Journal& journal_;
  const std::shared_ptr<Screen> screen_;
  bool hasPermissionsWindow_ = true;
  bool prefersChinese_ = false;
  mutable Mutex mutex_;
  int alertButton_ = 0;
  Duration alertDelay_{};
  std::vector<Alert> alerts_;
};

}  // namespace tavik
