#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ActionMatrix.h"
#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "PostingWitness.h"
#include "Tests/Desktop/ApplicationStates/StateDesk.h"
#include "Tests/Desktop/LinuxWindows/PaintedWindow.h"

namespace tavik {

/// An application that is wholly covered by the window in which the user works, the
/// tools, and what they do to both.
class ActionDesk : public StateDesk {
 protected:
  struct UsersWorld {
    std::optional<xcb_window_t> active;
    xcb_window_t focus = XCB_NONE;
    Point pointer;
    bool operator==(const UsersWorld&) const = default;
  };

  /// Waits for the application's state to hold the text, and covers the application.
  void openBehind(const std::vector<std::string>& command, const std::string& app, const std::string& wanted,
                  const std::string& toolkit);
  /// Looks again, and answers the element of the first line that holds the text.
  std::int64_t find(const std::string& text);
  AXElement element(std::int64_t index);

  /// Performs the action; the user must notice nothing, and the effect must show.
  void act(const std::string& name, const ComputerUseIPCAction& action, const std::function<bool()>& hasEffect);
  /// Clicks the title of a menu, which must stay closed, and answers the state that
  /// follows, whose elements can be acted on.
  std::string readMenu(const std::string& title);
  /// The same of an action that is refused, with its words.
  std::string refusal(const ComputerUseIPCAction& action);

  /// The pixel of the picture of the last state where a global point is.
  Point pixel(Point point);
  Rect frame(std::int64_t index);
  std::string value(const AXElement& element);
  double number(const AXElement& element, const std::string& attribute = "AXValue");
  /// How much of the application's window looks other than the picture, from 0 to 1.
  double changed(const Image& since);
  Image picture();

  static bool eventually(const std::function<bool()>& condition);
  UsersWorld usersWorld();

  std::string app;
  std::string toolkit;
  std::string state;
  X11Desktop desktop;
  PostingWitness witness{ports.eventPosting};
  Platform watched{.accessibility = ports.accessibility,
                   .windowServer = ports.windowServer,
                   .screenCapture = ports.screenCapture,
                   .imageCoding = ports.imageCoding,
                   .eventPosting = witness,
                   .eventTaps = ports.eventTaps,
                   .keyboardLayout = ports.keyboardLayout,
                   .workspace = ports.workspace,
                   .applicationIndex = ports.applicationIndex,
                   .requestTransport = ports.requestTransport,
                   .localSockets = ports.localSockets,
                   .codeIdentity = ports.codeIdentity,
                   .permissions = ports.permissions,
                   .userInterface = ports.userInterface,
                   .preferences = ports.preferences,
                   .process = ports.process,
                   .signals = ports.signals,
                   .systemLog = ports.systemLog};
  ComputerUseToolService tools{watched, access, search, mainQueue, scheduler};
  LiveElementReader reader{access};
  std::unique_ptr<test::PaintedWindow> usersWindow;
};

}  // namespace tavik
