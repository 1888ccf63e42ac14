#pragma once

#include <cstdint>
#include <memory>

#include "Backends/Linux/Windows/X11Session.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// A pointer and a keyboard of the tool's own, beside the user's: the X server's
/// devices of the name `deviceName`. They stand idle in a corner of the screen while
/// they are not used. For the thread that uses the session.
class SecondPointer {
 public:
  static constexpr const char* deviceName = "Tavik";

  /// Makes the devices, or takes those that an earlier run left behind. Null when the
  /// server cannot have a second pair.
  static std::unique_ptr<SecondPointer> make(X11Session& session);
  /// Takes them off the server.
  static void remove(X11Session& session);

  void moveTo(X11Session& session, Point at);
  void button(X11Session& session, std::uint8_t number, bool isPress);

  /// From here keys go to whatever window is under the pointer.
  void focusUnderPointer(X11Session& session);
  /// From here they go nowhere.
  void dropFocus(X11Session& session);
  /// Holds X modifier bits and a group of the keymap until told otherwise.
  void hold(X11Session& session, std::uint8_t modifiers, std::uint8_t group);
  void key(X11Session& session, std::uint8_t keycode, bool isPress);

  /// Out of everybody's way.
  void park(X11Session& session);

 private:
  struct Devices {
    std::uint16_t masterPointer = 0;
    std::uint16_t masterKeyboard = 0;
    std::uint8_t pointer = 0;
    std::uint8_t keyboard = 0;
    bool areComplete() const { return masterPointer && masterKeyboard && pointer && keyboard; }
  };

  SecondPointer(const Devices& devices, std::uint8_t firstEvent) : devices_(devices), firstEvent_(firstEvent) {}
  static Devices find(X11Session& session);
  void fake(X11Session& session, std::uint8_t type, std::uint8_t detail, std::uint8_t device);

  const Devices devices_;
  /// Number of the first event of the input extension.
  const std::uint8_t firstEvent_;
};

}  // namespace tavik
