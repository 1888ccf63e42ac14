#include "Backends/Simulated/Interface/SimulatedUserInterface.h"

namespace tavik {

class SimulatedUserInterface::Window : public PermissionsWindow {
 public:
  Window(std::shared_ptr<Screen> screen, Journal& journal) : screen_(std::move(screen)), journal_(journal) {
    journal_.note("open", "permissions window");
  }
  ~Window() override {
    journal_.note("close", "permissions window");
    MutexLock lock(screen_->mutex);
    screen_->isOpen = false;
    screen_->isFront = false;
    screen_->closedByUser = nullptr;
  }

  bool isVisible() override {
    MutexLock lock(screen_->mutex);
    return screen_->isOpen;
  }
  bool isKey() override { return isFront(); }
  bool isMain() override { return isFront(); }
  void activateAndRaise() override {
    journal_.note("raise", "permissions window");
    MutexLock lock(screen_->mutex);
    screen_->isFront = true;
  }

 private:
  bool isFront() {
    MutexLock lock(screen_->mutex);
    return screen_->isFront;
  }

  const std::shared_ptr<Screen> screen_;
  Journal& journal_;
};

bool SimulatedUserInterface::isPermissionsWindowOpen() const {
  MutexLock lock(screen_->mutex);
  return screen_->isOpen;
}

void SimulatedUserInterface::closePermissionsWindowAsUser() {
  std::function<void()> closed;
  {
    MutexLock lock(screen_->mutex);
    closed = screen_->closedByUser;
  }
  if (closed) closed();
}

void SimulatedUserInterface::setPermissionsWindowFront(bool isFront) {
  MutexLock lock(screen_->mutex);
  screen_->isFront = isFront;
}

void SimulatedUserInterface::answerAlerts(int button, Duration delay) {
  MutexLock lock(mutex_);
  alertButton_ = button;
  alertDelay_ = delay;
}

std::vector<Alert> SimulatedUserInterface::alerts() const {
  MutexLock lock(mutex_);
  return alerts_;
}

std::unique_ptr<PermissionsWindow> SimulatedUserInterface::openPermissionsWindow(
    std::function<void()> closedByUser) {
  requireNoLockHeld("opening a window");
  {
    MutexLock lock(screen_->mutex);
    screen_->isOpen = true;
    screen_->closedByUser = std::move(closedByUser);
  }
  return std::make_unique<Window>(screen_, journal_);
}

int SimulatedUserInterface::runModalAlert(const Alert& alert) {
  requireNoLockHeld("showing an alert");
  journal_.note("alert", alert.messageText);
  int button;
  Duration delay;
  {
    MutexLock lock(mutex_);
    alerts_.push_back(alert);
    button = alertButton_;
    delay = alertDelay_;
  }
  if (delay > Duration::zero()) scheduler_.sleep(delay);
  return alertFirstButton + button;
}

}  // namespace tavik
