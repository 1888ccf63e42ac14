#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tavik {

/// The window that tells the user which permissions are missing. Destroying it closes
/// it. Main thread only.
class PermissionsWindow {
 public:
  virtual ~PermissionsWindow() = default;
  virtual bool isVisible() = 0;
  /// Whether the user's typing goes to it, and whether it is the application's
  /// foremost one.
  virtual bool isKey() = 0;
  virtual bool isMain() = 0;
  /// Makes it the user's active window.
  virtual void activateAndRaise() = 0;
};

/// A question that stops the application until the user has answered it.
struct Alert {
  enum class Style { informational, warning };
  Style style = Style::informational;
  std::string messageText;
  std::string informativeText;
  /// From the default one on.
  std::vector<std::string> buttons;
};

/// What a person sees of this program. Main thread only.
class UserInterfacePort {
 public:
  /// What the first button of an alert answers; each further one answers one more.
  static constexpr int alertFirstButton = 1000;

  virtual ~UserInterfacePort() = default;

  /// Whether this desktop has a window that leads the user to the permissions.
  virtual bool hasPermissionsWindow() = 0;
  /// Opens that window; `closedByUser` is called when the user closes it. Never null
  /// where there is one.
  virtual std::unique_ptr<PermissionsWindow> openPermissionsWindow(std::function<void()> closedByUser) = 0;

  /// Waits for the user's answer; 0 where nobody can be asked.
  virtual int runModalAlert(const Alert& alert) = 0;

  /// Whether the user reads Chinese rather than English.
  virtual bool prefersChinese() = 0;
};

}  // namespace tavik
