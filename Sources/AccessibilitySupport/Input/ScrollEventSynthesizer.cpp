#include "AccessibilitySupport/Input/ScrollEventSynthesizer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace tavik {

namespace {

constexpr double shortestPage = 100;
constexpr std::int64_t pixelsPerChunk = 50;
constexpr std::int64_t mostChunks = 32;

std::int32_t clampedToWheel(std::int64_t delta) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(delta, Limits::min(), Limits::max()));
}

/// The i-th of `count` shares of a distance; the first shares take the remainder.
std::int64_t share(std::int64_t distance, std::int64_t count, std::int64_t i) {
  const std::int64_t length = std::abs(distance) / count + (i < std::abs(distance) % count ? 1 : 0);
  return distance < 0 ? -length : length;
}

}  // namespace

const char* ScrollEventSynthesizer::Error::what() const noexcept {
  return kind_ == Kind::failedToCreateCGEvent ? "failedToCreateCGEvent" : "invalidDelta";
}

ScrollEventSynthesizer::ScrollEventSynthesizer(EventPostingPort& port, std::int32_t pid,
                                               std::optional<std::uint32_t> windowID,
                                               std::optional<MouseEventTarget::TargetGeometry> geometry)
    : port_(port), pid_(pid), windowID_(windowID), geometry_(geometry) {}

void ScrollEventSynthesizer::scroll(Direction direction, double pages, Point at, double axisLength) {
  const auto sequence = port_.beginSequence(pid_);
  for (const Delta& chunk : scrollEventDeltaChunks(computeDeltas(direction, pages, axisLength))) {
    InputEvent event = createScrollEvent(chunk, at);
    port_.setTimestamp(event, eventTimestamp(port_));
    if (!port_.postToPid(pid_, event)) throw Error(Error::Kind::failedToCreateCGEvent);
  }
}

ScrollEventSynthesizer::Delta ScrollEventSynthesizer::computeDeltas(Direction direction, double pages,
                                                                    double axisLength) {
  const double distance = std::round(pages * std::max(axisLength, shortestPage));
  // The largest double below 2^63.
  constexpr double largest = 9223372036854774784.0;
  if (!std::isfinite(distance) || std::abs(distance) > largest) return {0, 0};
  const auto amount = static_cast<std::int64_t>(distance);
  switch (direction) {
    case Direction::up:
      return {0, amount};
    case Direction::down:
      return {0, -amount};
    case Direction::left:
      return {-amount, 0};
    case Direction::right:
      return {amount, 0};
  }
  return {0, 0};
}

std::vector<ScrollEventSynthesizer::Delta> ScrollEventSynthesizer::scrollEventDeltaChunks(Delta delta) {
  const std::int64_t longest = std::max(std::abs(delta.first), std::abs(delta.second));
  const std::int64_t wanted = longest / pixelsPerChunk + (longest % pixelsPerChunk > 0 ? 1 : 0);
  const std::int64_t count = std::clamp<std::int64_t>(wanted, 1, mostChunks);
  std::vector<Delta> chunks;
  for (std::int64_t i = 0; i < count; ++i) {
    chunks.emplace_back(share(delta.first, count, i), share(delta.second, count, i));
  }
  return chunks;
}

InputEvent ScrollEventSynthesizer::createScrollEvent(Delta delta, Point location) {
  auto event = port_.createScrollWheelEvent(clampedToWheel(delta.second), clampedToWheel(delta.first));
  if (!event) throw Error(Error::Kind::failedToCreateCGEvent);
  port_.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, pid_);
  port_.setLocation(*event, location);
  if (windowID_) {
    port_.setIntegerValueField(*event, InputEventField::windowUnderMousePointer, *windowID_);
    port_.setIntegerValueField(*event, InputEventField::windowUnderMousePointerThatCanHandleThisEvent, *windowID_);
  }
  if (geometry_) port_.setWindowLocation(*event, windowLocalPoint(location, *geometry_));
  return *std::move(event);
}

}  // namespace tavik
