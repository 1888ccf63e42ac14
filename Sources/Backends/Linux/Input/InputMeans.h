#pragma once

#include "Backends/Linux/Accessibility/Toolkit.h"

namespace tavik {

/// How input reaches a window that is not in front, without the user's pointer and
/// focus. Toolkits differ in what they believe.
enum class InputMeans {
  /// Events sent to the window alone, in the belief that it has the focus.
  sentEvents,
  /// Presses of a second pointer and keyboard, which only the window under that
  /// pointer hears.
  secondPointer,
};

inline InputMeans meansOfButtons(Toolkit toolkit) {
  const bool believesSentEvents = toolkit == Toolkit::qt || toolkit == Toolkit::chromium;
  return believesSentEvents ? InputMeans::sentEvents : InputMeans::secondPointer;
}
inline InputMeans meansOfKeys(Toolkit toolkit) { return meansOfButtons(toolkit); }
inline InputMeans meansOfWheel(Toolkit toolkit) {
  return toolkit == Toolkit::chromium ? InputMeans::sentEvents : InputMeans::secondPointer;
}

}  // namespace tavik
