#pragma once

#include <chrono>
#include <cstdint>

namespace tavik {

using Duration = std::chrono::nanoseconds;

/// A point of the scheduler's clock, which starts at an arbitrary moment and never
/// goes back. Only differences mean something.
struct MonotonicTime {
  Duration sinceStart{0};

  auto operator<=>(const MonotonicTime&) const = default;
  /// Stays at the end of time when the duration reaches past it.
  friend MonotonicTime operator+(MonotonicTime time, Duration duration) {
    if (duration > Duration::zero() && time.sinceStart > Duration::max() - duration) return {Duration::max()};
    return {time.sinceStart + duration};
  }
  friend MonotonicTime operator-(MonotonicTime time, Duration duration) { return {time.sinceStart - duration}; }
  friend Duration operator-(MonotonicTime a, MonotonicTime b) { return a.sinceStart - b.sinceStart; }
};

/// A date, for logs and records.
using WallTime = std::chrono::sys_time<std::chrono::nanoseconds>;

/// `value` seconds; anything outside what a Duration holds is clamped.
constexpr Duration seconds(double value) {
  constexpr double limit = 9.2e9;
  if (!(value > -limit)) return Duration::min();
  if (value > limit) return Duration::max();
  return Duration(static_cast<std::int64_t>(value * 1e9));
}

constexpr Duration milliseconds(std::int64_t value) { return std::chrono::milliseconds(value); }

inline double inSeconds(Duration duration) { return static_cast<double>(duration.count()) / 1e9; }

/// Rounded to the nearest whole millisecond, as log fields want it.
inline std::int64_t roundedMilliseconds(Duration duration) {
  return std::chrono::round<std::chrono::milliseconds>(duration).count();
}

}  // namespace tavik
