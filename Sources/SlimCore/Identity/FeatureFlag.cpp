#include "SlimCore/Identity/FeatureFlag.h"

#include <fmt/format.h>

#include <cstdlib>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

/// As the platform reads a preference as a switch: numbers other than zero, and
/// texts that begin as a yes or as such a number.
bool readsAsTrue(const PropertyValue& value) {
  if (const bool* flag = std::get_if<bool>(&value)) return *flag;
  if (const auto* integer = std::get_if<std::int64_t>(&value)) return *integer != 0;
  if (const double* number = std::get_if<double>(&value)) return *number != 0;
  const auto* string = std::get_if<std::string>(&value);
  if (!string) return false;
  const std::string word = text::lowercased(text::trimmed(*string));
  if (word.starts_with('y') || word.starts_with('t')) return true;
  return std::strtol(word.c_str(), nullptr, 10) != 0;
}

}  // namespace

bool FeatureFlag::isEnabled(const std::string& key) const { return isEnabled(key, false); }

bool FeatureFlag::isEnabled(const std::string& key, bool defaultValue) const {
  const auto value = defaults_.object(key);
  return value ? readsAsTrue(*value) : defaultValue;
}

std::optional<std::string> FeatureFlag::stringValue(const std::string& key) const {
  const auto value = defaults_.object(key);
  if (!value) return std::nullopt;
  if (const auto* string = std::get_if<std::string>(&*value)) return *string;
  if (const auto* integer = std::get_if<std::int64_t>(&*value)) return std::to_string(*integer);
  if (const double* number = std::get_if<double>(&*value)) return fmt::format("{}", *number);
  if (const bool* flag = std::get_if<bool>(&*value)) return *flag ? "1" : "0";
  return std::nullopt;
}

}  // namespace tavik
