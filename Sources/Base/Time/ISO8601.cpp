#include "Base/Time/ISO8601.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ctime>

namespace tavik {

namespace {

std::tm localTime(WallTime time) {
  const auto wholeSeconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  const std::time_t value = static_cast<std::time_t>(wholeSeconds);
  std::tm parts{};
  localtime_r(&value, &parts);
  return parts;
}

std::string date(const std::tm& parts) {
  return fmt::format("{:04}-{:02}-{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
}

std::string clock(const std::tm& parts) {
  return fmt::format("{:02}:{:02}:{:02}", parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::string zone(long offsetSeconds) {
  if (offsetSeconds == 0) return "Z";
  const long minutes = std::labs(offsetSeconds) / 60;
  return fmt::format("{}{:02}:{:02}", offsetSeconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

}  // namespace

std::string iso8601LocalMilliseconds(WallTime time) {
  const std::tm parts = localTime(time);
  const auto fraction = time - std::chrono::floor<std::chrono::seconds>(time);
  const auto millisecondsPart = std::chrono::floor<std::chrono::milliseconds>(fraction).count();
  return fmt::format("{}T{}.{:03}{}", date(parts), clock(parts), millisecondsPart, zone(parts.tm_gmtoff));
}

std::string iso8601UTC(WallTime time) {
  const auto wholeSeconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  const std::time_t value = static_cast<std::time_t>(wholeSeconds);
  std::tm parts{};
  gmtime_r(&value, &parts);
  return fmt::format("{}T{}Z", date(parts), clock(parts));
}

std::string isoDateLocal(WallTime time) { return date(localTime(time)); }

}  // namespace tavik
