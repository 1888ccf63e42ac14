#pragma once

#include <string>

namespace tavik {

/// A place on the desktop. Unless a declaration says otherwise, coordinates are
/// global: points, origin at the top left of the primary display, y downwards.
struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

/// A rectangle whose width and height are not negative, the null rectangle, or
/// the infinite one.
struct Rect {
  Point origin;
  Size size;

  bool operator==(const Rect&) const = default;

  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  Point center() const { return {origin.x + size.width * 0.5, origin.y + size.height * 0.5}; }
  double area() const;

  /// The rectangle that intersects nothing; the result of an empty intersection.
  static Rect null();
  /// The rectangle that contains every point.
  static Rect infinite();

  bool isNull() const;
  bool isInfinite() const;
  /// True without width or height, and for the null rectangle.
  bool isEmpty() const;

  /// The left and top edges belong to the rectangle, the right and bottom do not.
  bool contains(Point point) const;
  bool contains(const Rect& other) const;
  bool intersects(const Rect& other) const;
  Rect intersection(const Rect& other) const;
  Rect unionWith(const Rect& other) const;
  /// Moves each vertical edge inwards by dx and each horizontal edge by dy;
  /// null when nothing is left.
  Rect inset(double dx, double dy) const;
};

/// A run of UTF-16 units in a text, as accessibility interfaces count them.
struct TextRange {
  long location = 0;
  long length = 0;
  bool operator==(const TextRange&) const = default;
};

}  // namespace tavik
