#include "TavikComputerUseBridge/Tools/ToolArguments.h"

#include <charconv>
#include <cmath>

#include "ComputerUseContracts/ToolError.h"

namespace tavik {
namespace {

/// Beyond this a double no longer tells neighbouring integers apart.
constexpr double largestExactInteger = 9007199254740992.0;

std::optional<double> numberWrittenAs(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::string> ToolArguments::text(const std::string& name) const {
  const ParsedJSON* value = find(name);
  if (!value) return std::nullopt;
  if (!value->is_string()) throw ToolError::missingExpectedArgument(name);
  return value->get<std::string>();
}

std::string ToolArguments::requiredText(const std::string& name) const {
  auto value = text(name);
  if (!value || value->empty()) throw ToolError::missingRequiredArgument(name);
  return *value;
}

std::optional<double> ToolArguments::number(const std::string& name) const {
  const ParsedJSON* value = find(name);
  if (!value) return std::nullopt;
  if (value->is_number()) return value->get<double>();
  if (value->is_string()) {
    if (auto number = numberWrittenAs(value->get<std::string>())) return number;
  }
  throw ToolError::missingExpectedArgument(name);
}

double ToolArguments::requiredNumber(const std::string& name) const {
  auto value = number(name);
  if (!value) throw ToolError::missingRequiredArgument(name);
  return *value;
}

std::optional<std::int64_t> ToolArguments::integer(const std::string& name) const {
  auto value = number(name);
  if (!value) return std::nullopt;
  if (std::trunc(*value) != *value || std::abs(*value) > largestExactInteger) {
    throw ToolError::missingExpectedArgument(name);
  }
  return static_cast<std::int64_t>(*value);
}

std::int64_t ToolArguments::requiredInteger(const std::string& name) const {
  auto value = integer(name);
  if (!value) throw ToolError::missingRequiredArgument(name);
  return *value;
}

const ParsedJSON* ToolArguments::find(const std::string& name) const {
  const auto value = object_.find(name);
  return value == object_.end() || value->is_null() ? nullptr : &*value;
}

}  // namespace tavik
