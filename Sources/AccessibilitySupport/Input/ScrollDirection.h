#pragma once

namespace tavik {

/// Where the view moves: "down" shows what lies below.
enum class ScrollDirection { up, down, left, right };

inline bool isVertical(ScrollDirection direction) {
  return direction == ScrollDirection::up || direction == ScrollDirection::down;
}

/// Towards the beginning of the content.
inline bool isBackward(ScrollDirection direction) {
  return direction == ScrollDirection::up || direction == ScrollDirection::left;
}

}  // namespace tavik
