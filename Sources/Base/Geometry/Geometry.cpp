#include "Base/Geometry/Geometry.h"

#include <algorithm>
#include <limits>

namespace tavik {

namespace {
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest = std::numeric_limits<double>::max();
}  // namespace

Rect Rect::null() { return {{infinity, infinity}, {0, 0}}; }

Rect Rect::infinite() { return {{-largest / 2, -largest / 2}, {largest, largest}}; }

bool Rect::isNull() const { return origin.x == infinity || origin.y == infinity; }

bool Rect::isInfinite() const { return *this == infinite(); }

bool Rect::isEmpty() const { return isNull() || size.width <= 0 || size.height <= 0; }

double Rect::area() const { return isEmpty() ? 0 : size.width * size.height; }

bool Rect::contains(Point point) const {
  return !isEmpty() && point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

bool Rect::contains(const Rect& other) const {
  if (isNull() || other.isNull()) return false;
  return other.minX() >= minX() && other.maxX() <= maxX() && other.minY() >= minY() && other.maxY() <= maxY();
}

bool Rect::intersects(const Rect& other) const { return !intersection(other).isNull(); }

Rect Rect::intersection(const Rect& other) const {
  if (isNull() || other.isNull()) return null();
  double left = std::max(minX(), other.minX());
  double top = std::max(minY(), other.minY());
  double right = std::min(maxX(), other.maxX());
  double bottom = std::min(maxY(), other.maxY());
  if (right <= left || bottom <= top) return null();
  return {{left, top}, {right - left, bottom - top}};
}

Rect Rect::unionWith(const Rect& other) const {
  if (isNull()) return other;
  if (other.isNull()) return *this;
  double left = std::min(minX(), other.minX());
  double top = std::min(minY(), other.minY());
  double right = std::max(maxX(), other.maxX());
  double bottom = std::max(maxY(), other.maxY());
  return {{left, top}, {right - left, bottom - top}};
}

Rect Rect::inset(double dx, double dy) const {
  if (isNull()) return null();
  Rect result{{origin.x + dx, origin.y + dy}, {size.width - 2 * dx, size.height - 2 * dy}};
  return result.size.width < 0 || result.size.height < 0 ? null() : result;
}

}  // namespace tavik
